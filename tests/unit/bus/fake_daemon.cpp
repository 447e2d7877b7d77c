#include "tests/unit/bus/fake_daemon.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace bus_test {

FakeDaemon::FakeDaemon(std::string bytes, End end, std::size_t pieceSize) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path_.copy(address.sun_path, sizeof(address.sun_path) - 1);
  listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listener_ < 0 ||
      bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
      listen(listener_, 1) != 0) {
    throw std::system_error(errno, std::generic_category(), path_);
  }
  thread_ =
      std::thread([this, text = std::move(bytes), end, pieceSize] { serve(text, end, pieceSize); });
}

FakeDaemon::~FakeDaemon() {
  // Wakes an accept that nobody has come to.
  shutdown(listener_, SHUT_RDWR);
  if (thread_.joinable()) thread_.join();
  close(listener_);
}

std::string FakeDaemon::received() {
  if (thread_.joinable()) thread_.join();
  return received_;
}

void FakeDaemon::serve(const std::string& bytes, End end, std::size_t pieceSize) {
  const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
  if (client < 0) return;
  std::size_t position = 0;
  while (position < bytes.size()) {
    const std::size_t size = std::min(pieceSize, bytes.size() - position);
    const ssize_t sent = send(client, bytes.data() + position, size, MSG_NOSIGNAL);
    if (sent < 0) break;  // the client has gone
    position += static_cast<std::size_t>(sent);
  }
  if (end == End::Close) shutdown(client, SHUT_WR);
  std::array<char, 4096> buffer;
  ssize_t got = 0;
  while (end != End::HangUp && (got = recv(client, buffer.data(), buffer.size(), 0)) > 0) {
    received_.append(buffer.data(), static_cast<std::size_t>(got));
  }
  close(client);
}

}  // namespace bus_test
