// A bus daemon at the wire: it says what a test wrote down, whatever the client asks. As an object
// for tests with a client in their own process, and as the program scripted_bus for whole runs.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/wire_bytes.h"

namespace test_support {

// What the daemon says to one client: the first segment on connecting, each further one when a
// whole request of the client has arrived. Then it ends its side of the connection. A segment may
// hold several messages, even all of them: answers carry the number of their request, and requests
// are numbered from 1.
using Conversation = std::vector<std::string>;

// As the last segment: the daemon says no more, and when the request before has arrived and the
// client sleeps, the client's process is killed.
inline constexpr std::string_view kSilence = "silence";

// How the lookup of "uci" is answered, with this object.
inline constexpr std::uint32_t kScriptedObject = 0x55667788;
inline std::string objectFound() {
  return wire::found(1, "uci", kScriptedObject) + wire::status(1, 0, 0);
}

// Conversations as a text for the program, a line each.
//
//     scripted_bus FILE DESCRIPTOR
//
// listens on the bus's default socket, writes a newline to the descriptor and closes it, and has
// the conversations in the file, each with one client.
std::string conversationLines(const std::vector<Conversation>& conversations);
std::vector<Conversation> parseConversations(const std::string& lines);

class ScriptedBus {
 public:
  // Listens at once. Throws std::system_error.
  explicit ScriptedBus(std::string path);
  ~ScriptedBus();
  ScriptedBus(const ScriptedBus&) = delete;
  ScriptedBus& operator=(const ScriptedBus&) = delete;

  // Has the conversations, each with one client. The socket's name is gone when the last one has
  // connected. Returns what each client has said. Throws std::system_error.
  std::vector<std::string> serve(const std::vector<Conversation>& conversations);

 private:
  std::string path_;
  int listener_ = -1;
};

}  // namespace test_support
