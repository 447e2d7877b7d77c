#include "tests/unit/product/system_calls.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <sstream>

namespace test_support {
namespace {

template <class... Parts>
void logCall(const Parts&... parts) {
  std::ostringstream text;
  (text << ... << parts);
  systemCalls().log.push_back(text.str());
}

}  // namespace

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
  logCall("open ", path, ' ', flags, ' ', mode);
  if (systemCalls().lockFile.empty()) {
    errno = EACCES;
    return -1;
  }
  return open(systemCalls().lockFile.c_str(), flags, mode);
}

int redirected_flock(int descriptor, int operation) {
  logCall("flock ", operation);
  if (systemCalls().flockFails) {
    errno = EINTR;
    return -1;
  }
  return flock(descriptor, operation);
}

int redirected_close(int descriptor) {
  logCall("close");
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
