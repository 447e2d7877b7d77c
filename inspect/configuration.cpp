// The start-up objects as memory that has their names, filled when the configuration is asked for.
// An object that is defined as usual would be constructed before main.
#include "inspect/configuration.h"

#include <cstddef>
#include <memory>

#include "wrt_cppwrap/uci_config.h"

extern "C" {
alignas(wrt_cppwrap::Uloop) std::byte memoryOfUloop[sizeof(wrt_cppwrap::Uloop)];
alignas(wrt_cppwrap::Ubus) std::byte memoryOfUbus[sizeof(wrt_cppwrap::Ubus)];
alignas(tavrix::UciConfig) std::byte memoryOfParams[sizeof(tavrix::UciConfig)];
}

namespace tavrix {

const std::vector<std::string_view> UciConfigTypes::defaultVec;
const UciConfigTypes::Section UciConfigTypes::defaultMap;
extern wrt_cppwrap::Uloop uloop [[gnu::alias("memoryOfUloop")]];
extern wrt_cppwrap::Ubus ubus [[gnu::alias("memoryOfUbus")]];
extern UciConfig params [[gnu::alias("memoryOfParams")]];

namespace inspect {

// If one of them throws, the program ends, and what those before it hold ends with it.
Configuration::Configuration() {
  std::construct_at(&uloop, true);
  std::construct_at(&ubus, uloop);
  std::construct_at(&params, "firewall_cpp");
}

Configuration::~Configuration() {
  std::destroy_at(&params);
  std::destroy_at(&ubus);
  std::destroy_at(&uloop);
}

}  // namespace inspect
}  // namespace tavrix
