#include "tests/support/configuration.h"

#include <memory>

#include "tests/support/fake_bus.h"
#include "wrt_cppwrap/uci_config.h"

namespace test_support {

// The store can only be loaded when it is constructed.
void setConfiguration(std::string_view uciText) {
  fakeBus() = {.calls = {}, .replies = {uciReply(uciText)}};
  std::destroy_at(&tavrix::params);
  std::construct_at(&tavrix::params, "firewall_cpp");
}

}  // namespace test_support
