// Serves any number of clients in one thread. No client can hold up another: sockets never block,
// and a client whose answer is not taken is not read from until it is.
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "testbed/busd/uci_service.h"
#include "testbed/libubus/message.h"

namespace testbed {

class BusServer {
 public:
  // `listener` is a listening, non-blocking socket that stays the caller's.
  BusServer(int listener, const UciService& uci) : listener_(listener), uci_(uci) {}
  ~BusServer();
  BusServer(const BusServer&) = delete;
  BusServer& operator=(const BusServer&) = delete;

  // Serves until `stop` becomes readable. Throws std::system_error when polling fails.
  void run(int stop);

 private:
  struct Client {
    int fd;
    MessageReader reader;
    std::string output;        // not yet taken by the socket
    std::size_t sent = 0;      // of output
    bool mayHaveMore = false;  // the reader may hold another whole message
  };

  void acceptClients();
  // One round for one client; false when it is to be dropped.
  bool serve(Client& client);
  static bool receive(Client& client);
  static bool flush(Client& client);

  int listener_;
  const UciService& uci_;
  std::list<Client> clients_;
  std::uint32_t lastClientId_ = 0;
  bool outOfDescriptors_ = false;
};

}  // namespace testbed
