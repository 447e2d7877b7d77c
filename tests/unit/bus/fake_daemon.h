// A daemon that says what the test wrote down, to one client, whatever the client asks.
#pragma once

#include <string>
#include <thread>

#include "tests/support/temp_dir.h"

namespace bus_test {

class FakeDaemon {
 public:
  enum class End {
    Close,   // say no more: the client sees the end of the stream
    HangUp,  // close the connection without reading
    Silent,  // keep the connection open
  };

  // Listens at once; sends `bytes` in pieces of `pieceSize` to the first client.
  explicit FakeDaemon(std::string bytes, End end = End::Close, std::size_t pieceSize = 1 << 20);
  // Waits until the client has gone. Works without any client, too.
  ~FakeDaemon();
  FakeDaemon(const FakeDaemon&) = delete;
  FakeDaemon& operator=(const FakeDaemon&) = delete;

  const std::string& path() const { return path_; }
  // Everything that was read from the client; waits until it has gone.
  std::string received();

 private:
  void serve(const std::string& bytes, End end, std::size_t pieceSize);

  test_support::TempDir dir_;
  std::string path_ = dir_ / "ubus.sock";
  int listener_ = -1;
  std::string received_;
  std::thread thread_;
};

}  // namespace bus_test
