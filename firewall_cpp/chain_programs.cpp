// Which rule sets the program of each chain consists of.
#include "firewall_cpp/chain_programs.h"

#include "firewall_cpp/kovsel/kovsel.h"
#include "firewall_cpp/nfnlq/nfnlq.h"

namespace tavrix {

// Access control first: its marks are there when the queue decision is made.
IptProg manglePreroutingProgram() {
  return sequence({kovsel::mangleProgram(), nfnlq::queueProgram()});
}

IptProg mangleOutputProgram() {
  return nfnlq::queueProgram();
}
IptProg natPreroutingProgram() {
  return kovsel::natPreroutingProgram();
}
IptProg filterInputProgram() {
  return kovsel::filterInputProgram();
}
IptProg filterForwardProgram() {
  return kovsel::filterForwardProgram();
}

}  // namespace tavrix
