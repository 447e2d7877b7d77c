// How the stages of a pass grow: with the users of a configuration, with the tokens of a condition,
// with the rules of a table. Each benchmark fits its times to a growth and prints it.
#include <benchmark/benchmark.h>

#include <sstream>
#include <string>
#include <utility>

#include "ipt_compiler/chain_generation.h"
#include "ipt_compiler/export/ipt_lang.h"
#include "ipt_compiler/restore_text.h"

namespace tavrix {
namespace {

IptCond matches(const std::string& text) {
  return makeMatches(text, "bench", 1);
}
IptProg target(const std::string& text) {
  return makeTarget(text, "bench", 1);
}

// The shape of one user's program: nested conditions, an ELSE branch and a shared way out.
IptProg userProgram(int user) {
  const std::string label = std::to_string(user);
  IptCond blocked = makeConstCond(false);
  for (const char* trafficClass : {"1", "2", "3"}) {
    IptCond isOfClass = matches(std::string("-m class --class ") + trafficClass);
    IptCond notExempt = matches("-m class --invert --subclass " + label);
    blocked = blocked || (isOfClass && notExempt);
  }
  IptIfBlock whenBlocked = If(blocked);
  whenBlocked = whenBlocked.then({target("-m counter --inc " + label), target("-j REJECT")});
  IptIfBlock whenHost = If(matches("-m hostset --set-name " + label));
  IptProg otherwise = whenHost.then({target("-j REJECT")});
  IptIfBlock whenLabelled = If(matches("-m label --label " + label));
  return whenLabelled.then({whenBlocked.orElse({otherwise})});
}

IptProg users(std::int64_t count) {
  IptProg all = makeEmptyProg();
  for (int user = 0; user < count; ++user) all = sequence({all, userProgram(user)});
  return all;
}

void buildProgram(benchmark::State& state) {
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(users(state.range(0)));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(buildProgram)->RangeMultiplier(4)->Range(16, 4096)->Complexity();

void compileProgram(benchmark::State& state) {
  for ([[maybe_unused]] auto _ : state) {
    state.PauseTiming();
    IptProg program = users(state.range(0));
    std::uint32_t counter = 0;
    std::ostringstream out;
    state.ResumeTiming();
    compileHook(counter, out, program, "FORWARD", false);
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(compileProgram)->RangeMultiplier(4)->Range(16, 4096)->Complexity();

// Conditions of `range` texts, alternately AND and OR, as one expression and nested to that depth.
void readCondition(benchmark::State& state, bool nested) {
  std::vector<std::string_view> tokens;
  for (int i = 0; i < state.range(0); ++i) {
    tokens.insert(tokens.end(), {"-p udp", i % 2 == 0 ? "AND" : "OR"});
    if (nested) tokens.emplace_back("(");
  }
  tokens.emplace_back("-p tcp");
  if (nested) tokens.insert(tokens.end(), static_cast<std::size_t>(state.range(0)), ")");
  for ([[maybe_unused]] auto _ : state) {
    auto position = tokens.cbegin();
    benchmark::DoNotOptimize(parseSerializedMatches(position, tokens.cend()));
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK_CAPTURE(readCondition, flat, false)->RangeMultiplier(4)->Range(64, 16384)->Complexity();
BENCHMARK_CAPTURE(readCondition, nested, true)->RangeMultiplier(4)->Range(64, 16384)->Complexity();

// A condition of `range` texts in a row, and IF blocks nested to that depth, compiled.
void compileTokens(benchmark::State& state, bool nested) {
  std::vector<std::string_view> tokens = {"IF", "-p udp"};
  for (int i = 0; i < state.range(0); ++i) {
    if (nested) {
      tokens.insert(tokens.end(), {"THEN", "IF", "-p tcp"});
    } else {
      tokens.insert(tokens.end(), {"OR", "-p tcp"});
    }
  }
  tokens.insert(tokens.end(), {"THEN", "-j ACCEPT", "FI"});
  if (nested) tokens.insert(tokens.end(), static_cast<std::size_t>(state.range(0)), "FI");
  for ([[maybe_unused]] auto _ : state) {
    auto position = tokens.cbegin();
    IptProg program = parseSerializedTargets(position, tokens.cend());
    std::uint32_t counter = 0;
    std::ostringstream out;
    compileHook(counter, out, program, "FORWARD", false);
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK_CAPTURE(compileTokens, row, false)->RangeMultiplier(4)->Range(64, 16384)->Complexity();
BENCHMARK_CAPTURE(compileTokens, nested, true)->RangeMultiplier(4)->Range(64, 16384)->Complexity();

// A table of foreign rules with as many generated ones, which are dropped and written anew.
void mergeTable(benchmark::State& state) {
  std::string saved = "*filter\n:INPUT ACCEPT [0:0]\n:FORWARD ACCEPT [0:0]\n";
  for (int i = 0; i < state.range(0); ++i) {
    saved += "-A FORWARD -s 10.0.0.1/32 -p tcp -m tcp --dport 80 -j ACCEPT\n";
    saved += "-A FORWARD -p tcp -m comment --comment ipt_compiler -j ACCEPT\n";
  }
  saved += "COMMIT\n";
  for ([[maybe_unused]] auto _ : state) {
    HookMap hooks;
    hooks["FORWARD"].push_back({"FORWARD", kHookAtEnd, false, target("-j ACCEPT")});
    std::ostringstream out;
    writeRestoreText(out, saved, hooks);
    benchmark::DoNotOptimize(out.str());
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(mergeTable)->RangeMultiplier(4)->Range(64, 65536)->Complexity();

}  // namespace
}  // namespace tavrix
