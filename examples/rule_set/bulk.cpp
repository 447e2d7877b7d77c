// IF the connection uses a bulk port OR is large THEN mark it as bulk ELSE as interactive FI.
#include "examples/rule_set/bulk.h"

#include <string>

#include "wrt_cppwrap/uci_config.h"

namespace tavrix::bulk {
namespace {

// Every rule text, once, under the name of what it means. Errors name a text by file and number.
constexpr const char* kFile = "examples/rule_set/bulk";

IptCond usesPort(std::string_view port) {
  return makeMatches("-p tcp -m multiport --ports " + std::string(port), kFile, 1);
}

IptCond hasCarried(std::string_view bytes) {
  return makeMatches("-m connbytes --connbytes " + std::string(bytes) +
                         " --connbytes-dir both --connbytes-mode bytes",
                     kFile, 2);
}

IptProg markBulk() {
  return makeTarget("-j MARK --set-xmark 0x40/0xc0", kFile, 3);
}

IptProg markInteractive() {
  return makeTarget("-j MARK --set-xmark 0x80/0xc0", kFile, 4);
}

// What the settings make of the texts. A setting that is absent reads as an empty list.
IptCond usesBulkPort(const UciConfig::Section& section) {
  IptCond any = makeConstCond(false);
  for (const std::string_view port : section["port"]) any = any || usesPort(port);
  return any;
}

IptCond isLarge(const UciConfig::Section& section) {
  const auto& limit = section["limit"];
  return limit.empty() ? makeConstCond(false) : hasCarried(limit.front());
}

}  // namespace

// Without settings there is nothing to tell apart, and no packet is marked.
IptProg bulkProgram() {
  const UciConfig::Section& section = params["bulk"];
  if (section["port"].empty() && section["limit"].empty()) return makeEmptyProg();
  return If(usesBulkPort(section) || isLarge(section))
      .then({markBulk()})
      .orElse({markInteractive()});
}

}  // namespace tavrix::bulk
