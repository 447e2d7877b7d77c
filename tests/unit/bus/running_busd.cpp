#include "tests/unit/bus/running_busd.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "testbed/libubox/blob_buffer.h"
#include "tests/support/wire_bytes.h"

namespace bus_test {

RunningBusd::RunningBusd(unsigned int descriptorLimit) {
  std::filesystem::create_directory(dir_.path() / "config");
  std::vector<std::string> command = {UBUSD_PATH, "--socket=" + socketPath(),
                                      "--config-dir=" + (dir_ / "config"), "--ready-fd=1"};
  if (descriptorLimit != 0) {
    const std::string limit = "ulimit -n " + std::to_string(descriptorLimit);
    command.insert(command.begin(), {"sh", "-c", limit + "; exec \"$@\"", "sh"});
  }
  process_ = std::make_unique<test_support::BackgroundProcess>(command);
  std::string line;
  if (!process_->readLine(line) || !line.empty()) {
    throw std::runtime_error("the daemon did not start: " + line + process_->wait().err);
  }
}

void RunningBusd::writeConfig(const std::string& name, const std::string& text) const {
  test_support::writeFile(configPath(name), text);
}

GetResult RunningBusd::get(const std::string& package) const {
  const std::unique_ptr<ubus_context, decltype(&ubus_free)> context(
      ubus_connect(socketPath().c_str()), ubus_free);
  if (context == nullptr) throw std::runtime_error("no connection");
  std::uint32_t id = 0;
  GetResult result;
  result.status = ubus_lookup_id(context.get(), "uci", &id);
  if (result.status != 0) throw std::runtime_error("no object uci");
  testbed::BlobBuffer arguments;
  blobmsg_add_field(arguments.get(), 3, "config", package.c_str(),
                    static_cast<unsigned int>(package.size() + 1));
  const auto collect = [](ubus_request* request, int, blob_attr* msg) {
    static_cast<std::string*>(request->priv)
        ->append(static_cast<const char*>(blob_data(msg)), blob_len(msg));
  };
  result.status = ubus_invoke_fd(context.get(), id, "get", arguments.get()->head, collect,
                                 &result.members, 0, -1);
  return result;
}

test_support::ProcessResult RunningBusd::stop(int signal) {
  process_->sendSignal(signal);
  return process_->wait();
}

RawClient::RawClient(const RunningBusd& busd, Greeting greeting)
    : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  busd.socketPath().copy(address.sun_path, sizeof(address.sun_path) - 1);
  if (connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
    throw std::system_error(errno, std::generic_category(), busd.socketPath());
  }
  if (greeting == Greeting::Ignore) return;
  const std::string hello = read(wire::hello(0).size());
  for (const char c : hello.substr(4, 4)) id_ = id_ << 8 | static_cast<unsigned char>(c);
  if (hello != wire::hello(id_)) throw std::runtime_error("no hello");
}

RawClient::~RawClient() {
  close(fd_);
}

bool RawClient::send(const std::string& bytes) const {
  std::size_t position = 0;
  while (position < bytes.size()) {
    const ssize_t sent =
        ::send(fd_, bytes.data() + position, bytes.size() - position, MSG_NOSIGNAL);
    if (sent < 0) return false;
    position += static_cast<std::size_t>(sent);
  }
  return true;
}

std::size_t RawClient::sendSome(const std::string& bytes) const {
  const ssize_t sent = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  return sent < 0 ? 0 : static_cast<std::size_t>(sent);
}

void RawClient::finish() const {
  shutdown(fd_, SHUT_WR);
}

std::string RawClient::read(std::size_t size) const {
  std::string bytes;
  std::array<char, 65536> buffer;
  while (bytes.size() < size) {
    const ssize_t got = recv(fd_, buffer.data(), std::min(buffer.size(), size - bytes.size()), 0);
    if (got <= 0) break;
    bytes.append(buffer.data(), static_cast<std::size_t>(got));
  }
  return bytes;
}

}  // namespace bus_test
