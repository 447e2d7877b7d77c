// bus_socket.h says what this stands in for.
#include "testbed/libubus/bus_socket.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace testbed {

sockaddr_un busAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof(address.sun_path)) {
    throw std::runtime_error("not a usable socket path: \"" + path + "\"");
  }
  path.copy(address.sun_path, path.size());
  return address;
}

int connectBus(const std::string& path) {
  const sockaddr_un address = busAddress(path);
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) return fd;
  close(fd);
  return -1;
}

bool receiveAll(int fd, std::span<char> bytes) {
  while (!bytes.empty()) {
    const ssize_t got = recv(fd, bytes.data(), bytes.size(), 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(got));
  }
  return true;
}

bool sendAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

}  // namespace testbed
