#include "tests/unit/product/system_calls.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

namespace test_support {

SystemCalls& systemCalls() {
  static SystemCalls calls;
  return calls;
}

void resetSystemCalls(const std::string& lockFile) {
  systemCalls() = {};
  systemCalls().lockFile = lockFile;
}

extern "C" {
int redirected_open(const char* path, int flags, mode_t mode) {
  systemCalls().log.push_back(std::string("open ") + path + " " + std::to_string(flags) + " " +
                              std::to_string(mode));
  if (systemCalls().lockFile.empty()) {
    errno = EACCES;
    return -1;
  }
  return open(systemCalls().lockFile.c_str(), flags, mode);
}

int redirected_flock(int descriptor, int operation) {
  systemCalls().log.push_back("flock " + std::to_string(operation));
  if (systemCalls().flockFails) {
    errno = EINTR;
    return -1;
  }
  return flock(descriptor, operation);
}

int redirected_close(int descriptor) {
  systemCalls().log.emplace_back("close");
  return close(descriptor);
}

FILE* redirected_popen(const char* command, const char* mode) {
  return systemCalls().popenFails ? nullptr : popen(command, mode);
}

int redirected_system(const char* command) {
  if (systemCalls().onSystem) systemCalls().onSystem(command);
  return systemCalls().systemResult;
}
}

}  // namespace test_support
