// The bus daemon as a process, with a socket and a configuration directory of the test's own, and a
// client that sends and reads plain bytes.
#pragma once

#include <libubus.h>

#include <memory>
#include <string>

#include "tests/support/process.h"
#include "tests/support/temp_dir.h"

namespace bus_test {

// What a `get` of a package led to: the status and the members of all replies.
struct GetResult {
  int status = -1;
  std::string members;
};

class RunningBusd {
 public:
  // Returns when the daemon listens. A limit other than 0 is the number of descriptors that the
  // daemon may have.
  explicit RunningBusd(unsigned int descriptorLimit = 0);

  std::string socketPath() const { return dir_ / "run/ubus/ubus.sock"; }
  std::string configPath(const std::string& name) const { return dir_ / ("config/" + name); }
  void writeConfig(const std::string& name, const std::string& text) const;
  // One call over a connection of its own.
  GetResult get(const std::string& package) const;
  // Ends the daemon with a signal and gives back what it printed.
  test_support::ProcessResult stop(int signal);
  const test_support::TempDir& dir() const { return dir_; }

 private:
  test_support::TempDir dir_;
  std::unique_ptr<test_support::BackgroundProcess> process_;
};

class RawClient {
 public:
  enum class Greeting { Await, Ignore };

  // Connects, and reads the hello, which must be a whole one, unless it is to be ignored.
  explicit RawClient(const RunningBusd& busd, Greeting greeting = Greeting::Await);
  ~RawClient();
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  std::uint32_t id() const { return id_; }
  // False when the daemon has closed the connection.
  bool send(const std::string& bytes) const;
  // Sends as much as goes without waiting; the number of bytes, 0 when none goes.
  std::size_t sendSome(const std::string& bytes) const;
  // Says that no more will be sent.
  void finish() const;
  // Reads this many bytes, fewer at the end of the stream.
  std::string read(std::size_t size) const;
  std::string readToEnd() const { return read(std::string::npos); }

 private:
  int fd_;
  std::uint32_t id_ = 0;
};

}  // namespace bus_test
