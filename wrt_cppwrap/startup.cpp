// The objects that exist before main. They stand in one file because there the order of definition
// is the order of construction, and each needs those above it. Only programs link this file.
#include "wrt_cppwrap/uci_config.h"

namespace tavrix {

const std::vector<std::string_view> UciConfigTypes::defaultVec;
const UciConfigTypes::Section UciConfigTypes::defaultMap;
wrt_cppwrap::Uloop uloop(true);
wrt_cppwrap::Ubus ubus(uloop);
UciConfig params("firewall_cpp");

}  // namespace tavrix
