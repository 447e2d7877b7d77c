#include "testbed/busd/bus_server.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>
#include <system_error>
#include <vector>

#include "testbed/busd/message_answer.h"
#include "testbed/libubus/socket_errors.h"

namespace testbed {
BusServer::~BusServer() {
  for (const Client& client : clients_) close(client.fd);
}

void BusServer::run(int stop) {
  std::vector<pollfd> polled;
  while (true) {
    polled.assign({{stop, POLLIN, 0}, {listener_, POLLIN, 0}});
    // A descriptor below 0 is passed over. Without descriptors, accepting waits for a client to go.
    if (outOfDescriptors_ && !clients_.empty()) polled[1].fd = -1;
    bool busy = false;
    for (const Client& client : clients_) {
      polled.push_back(
          {client.fd, static_cast<short>(client.output.empty() ? POLLIN : POLLOUT), 0});
      busy = busy || (client.mayHaveMore && client.output.empty());
    }
    if (poll(polled.data(), polled.size(), busy ? 0 : -1) < 0) {
      if (errno == EINTR) continue;
      throw std::system_error(errno, std::generic_category(), "poll");
    }
    if (polled[0].revents != 0) return;
    std::size_t index = 2;
    for (auto client = clients_.begin(); client != clients_.end(); ++index) {
      const bool ready = polled[index].revents != 0 || client->mayHaveMore;
      if (!ready || serve(*client)) {
        ++client;
        continue;
      }
      close(client->fd);
      client = clients_.erase(client);
      outOfDescriptors_ = false;
    }
    // Last, so that the clients still are those that were polled.
    if (polled[1].revents != 0) acceptClients();
  }
}

void BusServer::acceptClients() {
  while (true) {
    const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) {
      outOfDescriptors_ = errno == EMFILE || errno == ENFILE;
      return;
    }
    clients_.push_back({.fd = fd, .reader = {}, .output = makeHello(++lastClientId_)});
  }
}

// At most one message for each round, so that a client that sends many gets no more than its share.
// It is read from only when nothing waits to be answered or taken: that bounds what is kept for it,
// and the end of its stream is not seen before all its messages are answered.
bool BusServer::serve(Client& client) {
  if (!flush(client)) return false;
  if (!client.output.empty()) return true;
  if (!client.mayHaveMore) return receive(client);
  if (std::optional<Message> message = client.reader.next()) {
    client.output = answerMessage(*message, uci_);
    return flush(client);
  }
  client.mayHaveMore = false;
  return !client.reader.isBroken();
}

bool BusServer::receive(Client& client) {
  std::array<char, 65536> buffer{};
  const ssize_t got = recv(client.fd, buffer.data(), buffer.size(), 0);
  if (got < 0) return isTemporary(errno);
  if (got == 0) return false;
  client.reader.append({buffer.data(), static_cast<std::size_t>(got)});
  client.mayHaveMore = true;
  return true;
}

bool BusServer::flush(Client& client) {
  while (client.sent < client.output.size()) {
    const ssize_t sent = send(client.fd, client.output.data() + client.sent,
                              client.output.size() - client.sent, MSG_NOSIGNAL);
    if (sent < 0) return isTemporary(errno);
    client.sent += static_cast<std::size_t>(sent);
  }
  client.output.clear();
  client.sent = 0;
  return true;
}

}  // namespace testbed
