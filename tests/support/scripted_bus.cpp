#include "tests/support/scripted_bus.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/algorithm/hex.hpp>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <sstream>
#include <system_error>

namespace test_support {
namespace {

constexpr std::size_t kMessageHeaderSize = 8;

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// Appends up to `size` bytes of what the client says; false when it has gone.
bool receive(int client, std::size_t size, std::string& said) {
  std::array<char, 4096> buffer{};
  while (size > 0) {
    const ssize_t got = recv(client, buffer.data(), std::min(size, buffer.size()), 0);
    if (got <= 0) return false;
    said.append(buffer.data(), static_cast<std::size_t>(got));
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

bool receiveRequest(int client, std::string& said) {
  const std::size_t start = said.size();
  if (!receive(client, kMessageHeaderSize + 4, said)) return false;
  std::size_t length = 0;  // of the attribute, with the four bytes that are read already
  for (std::size_t i = kMessageHeaderSize + 1; i < kMessageHeaderSize + 4; ++i) {
    length = length << 8 | static_cast<unsigned char>(said[start + i]);
  }
  return length >= 4 && receive(client, length - 4, said);
}

void sendAll(int client, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0) return;  // the client has gone
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

// Between a request and its answer a client sleeps in that call only.
void killWhenAsleep(int client) {
  ucred peer{};
  socklen_t size = sizeof(peer);
  if (getsockopt(client, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) fail("SO_PEERCRED");
  const std::string path = "/proc/" + std::to_string(peer.pid) + "/stat";
  std::string state;
  while (state != "S") {
    std::ifstream stat(path);
    std::string pid;
    std::string name;
    if (!(stat >> pid >> name >> state)) fail(path);
  }
  kill(peer.pid, SIGKILL);
}

std::string converse(int client, const Conversation& conversation) {
  std::string said;
  for (std::size_t i = 0; i < conversation.size(); ++i) {
    if (i > 0 && !receiveRequest(client, said)) return said;
    if (conversation[i] == kSilence) {
      killWhenAsleep(client);
      return said;
    }
    sendAll(client, conversation[i]);
  }
  // The client may still send what will not be answered.
  shutdown(client, SHUT_WR);
  receive(client, std::string::npos, said);
  return said;
}

// With a letter first, so that an empty segment is a word too.
std::string toWord(const std::string& segment) {
  return segment == kSilence ? segment : 'x' + boost::algorithm::hex(segment);
}

std::string toSegment(const std::string& word) {
  return word == kSilence ? word : boost::algorithm::unhex(word.substr(1));
}

}  // namespace

std::string conversationLines(const std::vector<Conversation>& conversations) {
  std::string lines;
  for (const Conversation& conversation : conversations) {
    for (const std::string& segment : conversation) lines += toWord(segment) + " ";
    lines += "\n";
  }
  return lines;
}

std::vector<Conversation> parseConversations(const std::string& lines) {
  std::vector<Conversation> conversations;
  std::istringstream stream(lines);
  for (std::string line; std::getline(stream, line);) {
    std::istringstream words(line);
    Conversation& conversation = conversations.emplace_back();
    for (std::string word; words >> word;) conversation.push_back(toSegment(word));
  }
  return conversations;
}

ScriptedBus::ScriptedBus(std::string path)
    : path_(std::move(path)), listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path_.copy(address.sun_path, sizeof(address.sun_path) - 1);
  const void* const generic = &address;
  if (listener_ < 0 ||
      bind(listener_, static_cast<const sockaddr*>(generic), sizeof(address)) != 0 ||
      listen(listener_, 1) != 0) {
    fail(path_);
  }
}

ScriptedBus::~ScriptedBus() {
  close(listener_);
}

std::vector<std::string> ScriptedBus::serve(const std::vector<Conversation>& conversations) {
  std::vector<std::string> said;
  for (const Conversation& conversation : conversations) {
    const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) fail("accept");
    if (said.size() + 1 == conversations.size()) unlink(path_.c_str());
    said.push_back(converse(client, conversation));
    close(client);
  }
  return said;
}

}  // namespace test_support
