// The bus at link level: defines the functions of the event loop and of the bus client that the
// platform's libraries would. Messages are the libraries' own.
//
// Link it only into a test that calls fakeBus() or setConfiguration(): then the linker has these
// functions before it looks into the libraries.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace test_support {

struct FakeBus {
  std::vector<std::string> calls;  // every call with its arguments, in order

  int loopResult = 0;      // of uloop_init
  bool daemonRuns = true;  // else ubus_connect gives null
  int lookupStatus = 0;
  int invokeStatus = 0;
  // One per reply: the bytes of the message that the handler gets, an unnamed attribute. They are
  // overwritten and freed after the call, as the library does with its receive buffer.
  std::vector<std::string> replies;
};

// The bus of this process. The first use may be before main, by the start-up objects: it then
// replies with a package without sections.
FakeBus& fakeBus();

// The reply of the configuration service for the text of a configuration file. Throws
// testbed::UciSyntaxError.
std::string uciReply(std::string_view uciText);

}  // namespace test_support
