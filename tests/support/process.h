// Runs programs as a user would start them and keeps what they printed and how they ended.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace test_support {

struct ProcessResult {
  int exitStatus = -1;  // -1 if a signal ended the process
  int signal = 0;       // 0 if the process exited by itself
  std::string out;
  std::string err;
};

struct ProcessOptions {
  std::string input;                                           // standard input, then end of file
  std::vector<std::pair<std::string, std::string>> variables;  // added to the environment
};

// Starts arguments[0] (looked up in PATH), waits for its end. Throws std::system_error if it cannot
// be started.
ProcessResult runProcess(const std::vector<std::string>& arguments,
                         const ProcessOptions& options = {});

// What GCC's C++ runtime prints when an exception ends a program.
std::string uncaught(std::string_view type, std::string_view what);

// An error text in these words when another runtime has printed it, and without what an emulator
// says of a program that aborts. What runProcess returns is such a text.
std::string plainError(const std::string& err);

// A program that runs beside the test. The destructor kills it if it still runs.
class BackgroundProcess {
 public:
  explicit BackgroundProcess(const std::vector<std::string>& arguments,
                             const ProcessOptions& options = {});
  ~BackgroundProcess();
  BackgroundProcess(const BackgroundProcess&) = delete;
  BackgroundProcess& operator=(const BackgroundProcess&) = delete;

  pid_t pid() const { return pid_; }
  void sendSignal(int signal) const;
  // Waits for the next whole line of standard output, without its newline; false at its end.
  bool readLine(std::string& line);
  // Waits for the end and returns all output that readLine has not consumed.
  ProcessResult wait();

 private:
  pid_t pid_ = -1;
  int out_ = -1;
  int err_ = -1;
  std::string outBuffer_;
};

}  // namespace test_support
