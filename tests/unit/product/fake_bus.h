// Takes the place of the event loop and of the bus client at link time: the test program defines
// the functions that the platform's libraries would. Messages are the libraries' own.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

struct blob_buf;

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

// The bus of this process. The first use happens before main, when a program with start-up objects
// is tested; in that case it is set up by the environment variable FAKE_BUS:
//   absent      there is no daemon
//   no-object   the lookup gives status 4
//   no-package  the call gives status 4
//   rubbish     the reply has no "values"
//   trace       all is well, and every call is printed as it happens
FakeBus& fakeBus();

// ---- replies of the configuration service

struct UciOption {
  std::string name;
  // A string option or a list.
  std::variant<std::string, std::vector<std::string>> value;
};

struct UciSection {
  std::string name;
  std::vector<UciOption> options;
};

// A reply as the service gives it for these sections.
std::string uciReply(const std::vector<UciSection>& sections);

// The bytes of a message that `fill` builds with the platform's functions.
std::string messageBytes(const std::function<void(blob_buf&)>& fill);

// Adds a string.
void addString(blob_buf& buffer, const char* name, const std::string& value);

}  // namespace test_support
