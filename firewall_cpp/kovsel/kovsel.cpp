#include "firewall_cpp/kovsel/kovsel.h"

namespace tavrix::kovsel {

IptProg mangleProgram() {
  return makeEmptyProg();
}
IptProg natPreroutingProgram() {
  return makeEmptyProg();
}
IptProg filterInputProgram() {
  return makeEmptyProg();
}
IptProg filterForwardProgram() {
  return makeEmptyProg();
}

}  // namespace tavrix::kovsel
