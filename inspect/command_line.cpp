// The table of commands, and the reading of arguments with the C library's getopt_long. The
// libraries that promise more for this are larger than all commands together.
#include "inspect/command_line.h"

#include <getopt.h>

#include <algorithm>
#include <array>
#include <span>
#include <stdexcept>

#include "inspect/commands.h"

namespace tavrix::inspect {
namespace {

constexpr std::array kCommands = {
    Command{
        "print", "[--table=TABLE] [--family=FAMILY]", 0, false, "table family ",
        R"(    Prints what a run would hand to the restore tools now, table by table. The text of a
    single table is printed as it is; before each of several stands a line with its name.
)",
        print},
    Command{
        "diff", "[--table=TABLE] [--family=FAMILY]", 0, false, "table family ",
        R"(    Shows what a run would change in the tables: the rules that would go (-) and come (+),
    each below the rules that lead to its chain. Generated chains are compared by what they
    hold; how many only get another number is said in one line. Counters do not matter.
    Exit status 1 if anything would change.
)",
        diff},
    Command{
        "check", "[--table=TABLE] [--family=FAMILY]", 0, false, "table family ",
        R"(    Shows everything that is wrong with the configuration, in the order of the file: the
    option, the place in its list, the text with a mark, and what a run would do about it. A
    run stops at some faults; others the restore tool refuses, asked in its test mode; the rest
    is ignored or accepted without a word. Exit status 1 if there is anything.
)",
        check},
    Command{
        "explain", "[--chains] [--family=FAMILY] TABLE CHAIN WORD...", 2, true, "chains family ",
        R"(    Shows what becomes of a packet in a chain to which a run adds rules: the statements that it
    meets, each with the option that it comes from and the generated rule, and what happens.
    With --chains rule by rule instead. The words say what holds for the packet: match texts,
    such as "-p tcp", or proto=, in=, out=, src=, dst=, sport=, dport=, mac=, mark=, label=,
    class=, subclass=, set=, family= with a value. label=5/0x1 has the mark bit beside the
    label, label=5/0x0 has not. What nothing is said about counts as not holding, and is listed.
    Exit status 1 if program and chains do different things.
)",
        explain},
    Command{
        "graph", "[--simplified] TABLE CHAIN", 2, false, "simplified ",
        R"(    Prints the rule program of such a chain as a graph in the language DOT, for Graphviz:
    boxes for targets, diamonds for conditions, beside them the options that they come from. As
    the rule sets have written it, or, with --simplified, as chains are generated from it.
)",
        graph},
};

constexpr std::array<std::string_view, 3> kTables = {"mangle", "nat", "filter"};
constexpr std::array<std::string_view, 2> kFamilies = {"ipv4", "ipv6"};

[[noreturn]] void failUse(const std::string& problem) {
  throw std::invalid_argument(problem + "; try --help");
}

std::string_view oneOf(std::span<const std::string_view> known, const char* option,
                       std::string_view value) {
  if (std::ranges::find(known, value) != known.end()) return value;
  std::string choice;
  for (const std::string_view name : known) choice.append(choice.empty() ? "" : ", ").append(name);
  failUse(std::string("--") + option + " is one of " + choice + ", and not \"" +
          std::string(value) + "\"");
}

const Command& commandNamed(std::string_view name) {
  const auto* const found = std::ranges::find(kCommands, name, &Command::name);
  if (found == kCommands.end()) failUse("there is no command \"" + std::string(name) + "\"");
  return *found;
}

}  // namespace

std::string manual() {
  std::string text = R"(Usage: firewall_cpp-inspect COMMAND [OPTION]... [WORD]...

Shows what firewall_cpp would do and why. Reads the configuration over the bus and the tables
through their save tools, as a run does, and changes nothing.
)";
  for (const Command& command : kCommands) {
    text.append("\n").append(command.name).append(" ").append(command.usage).append("\n");
    text.append(command.manual);
  }
  return text + R"(
TABLE is mangle, nat or filter, FAMILY is ipv4 or ipv6; without them all are meant.
On a terminal the output has colours, unless NO_COLOR is set, and its width. There, diff and
check say in a line if they have nothing to show; elsewhere they print nothing.

Exit status: 0 fine or no difference, 1 a difference or a finding, 2 an error.
)";
}

CommandLine readCommandLine(int argc, char** argv) {
  if (argc < 2) failUse("no command is given");
  if (std::string_view(argv[1]) == "--help") return {};
  CommandLine result{.command = &commandNamed(argv[1]), .request = {}};

  constexpr std::array<option, 6> kOptions = {{{"help", no_argument, nullptr, 0},
                                               {"table", required_argument, nullptr, 0},
                                               {"family", required_argument, nullptr, 0},
                                               {"simplified", no_argument, nullptr, 0},
                                               {"chains", no_argument, nullptr, 0},
                                               {}}};
  const Command& command = *result.command;
  Request& request = result.request;
  const int count = argc - 1;  // the name of the command takes the place of the program's
  char** const arguments = argv + 1;
  opterr = 0;
  optind = 1;
  for (;;) {
    int index = 0;
    const int found =
        getopt_long(count, arguments, command.takesMoreWords ? "+" : "", kOptions.data(), &index);
    if (found == -1) break;
    if (found == '?') {
      const std::string letter = {'-', static_cast<char>(optopt)};
      failUse((optopt == 0 ? arguments[optind - 1] : letter) + " is unknown or lacks a value");
    }
    const std::string name = kOptions[static_cast<std::size_t>(index)].name;
    if (name == "help") return {};
    if (command.options.find(name + " ") == std::string_view::npos) {
      failUse(std::string(command.name) + " does not know --" + name);
    }
    if (name == "table") request.table = oneOf(kTables, "table", optarg);
    if (name == "family") request.family = oneOf(kFamilies, "family", optarg);
    if (name == "simplified") request.simplified = true;
    if (name == "chains") request.chains = true;
  }
  request.words.assign(arguments + optind, arguments + count);
  if (request.words.size() < command.words ||
      (request.words.size() > command.words && !command.takesMoreWords)) {
    failUse("the use is: " + std::string(command.name) + " " + std::string(command.usage));
  }
  return result;
}

}  // namespace tavrix::inspect
