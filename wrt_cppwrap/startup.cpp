// The objects that exist before main. They stand in this one file because the order of definition
// is their order of construction: each needs the ones above it. Only the program links this file.
#include "wrt_cppwrap/uci_config.h"

namespace tavrix {

const std::vector<std::string_view> UciConfigTypes::defaultVec;
const UciConfigTypes::Section UciConfigTypes::defaultMap;
wrt_cppwrap::Uloop uloop(true);
wrt_cppwrap::Ubus ubus(uloop);
UciConfig params("firewall_cpp");

}  // namespace tavrix
