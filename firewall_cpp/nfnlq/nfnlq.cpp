// IF the queue is configured THEN the statements of "pre_targets", IF "matches" THEN queue FI FI.
#include "firewall_cpp/nfnlq/nfnlq.h"

#include <string>

#include "wrt_cppwrap/uci_config.h"

namespace tavrix::nfnlq {
namespace {

// Errors name the queue target by these. The number is not a line of this file.
constexpr const char* kFile = "firewall_cpp/nfnlq/nfnlq";
constexpr int kQueueTargetLine = 30;

const UciConfig::Section& section() {
  return params["nfnlq"];
}

bool isQueueConfigured() {
  return !section()["queue_first"].empty() && !section()["queue_last"].empty();
}

IptProg preStatements() {
  const IptTokens& tokens = section()["pre_targets"];
  IptProg statements = makeEmptyProg();
  for (auto position = tokens.begin(); position != tokens.end();) {
    statements = sequence({statements, parseSerializedTargets(position, tokens.end())});
  }
  return statements;
}

IptCond queueCondition() {
  const IptTokens& tokens = section()["matches"];
  auto position = tokens.begin();
  return parseSerializedMatches(position, tokens.end());
}

// Built even if the outer IF never holds; without queue numbers there is nothing to write. They are
// compared as texts and not checked: the restore tool judges them.
IptProg queueTarget() {
  if (!isQueueConfigured()) return makeEmptyProg();
  const std::string first(section()["queue_first"].front());
  const std::string last(section()["queue_last"].front());
  const std::string queues =
      first == last ? " --queue-num " + first : " --queue-balance " + first + ":" + last;
  // The bypass lets packets pass while no inspector listens.
  return makeTarget("-j NFQUEUE --queue-bypass" + queues, kFile, kQueueTargetLine);
}

}  // namespace

IptProg queueProgram() {
  return If(makeConstCond(isQueueConfigured()))
      .then({preStatements(), If(queueCondition()).then({queueTarget()})});
}

}  // namespace tavrix::nfnlq
