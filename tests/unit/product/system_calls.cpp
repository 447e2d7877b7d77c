#include "tests/unit/product/system_calls.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <sstream>
#include <string_view>

namespace test_support {
namespace {

int lockDescriptor = -1;

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

// The names are the linker's. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_flock(int descriptor, int operation);
int __real_close(int descriptor);
FILE* __real_popen(const char* command, const char* mode);

int __wrap_open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (std::string_view(path) != "/var/run/xtables.lock") return __real_open(path, flags, mode);
  logCall("open ", path, ' ', flags, ' ', mode);
  if (systemCalls().lockFile.empty()) {
    errno = EACCES;
    return -1;
  }
  lockDescriptor = __real_open(systemCalls().lockFile.c_str(), flags, mode);
  return lockDescriptor;
}

int __wrap_flock(int descriptor, int operation) {
  if (descriptor != lockDescriptor) return __real_flock(descriptor, operation);
  logCall("flock ", operation);
  if (systemCalls().flockFails) {
    errno = EINTR;
    return -1;
  }
  return __real_flock(descriptor, operation);
}

int __wrap_close(int descriptor) {
  if (descriptor == lockDescriptor) {
    logCall("close");
    lockDescriptor = -1;
  }
  return __real_close(descriptor);
}

FILE* __wrap_popen(const char* command, const char* mode) {
  return systemCalls().popenFails ? nullptr : __real_popen(command, mode);
}

int __wrap_system(const char* command) {
  if (systemCalls().onSystem) systemCalls().onSystem(command);
  return systemCalls().systemResult;
}
}
// NOLINTEND(bugprone-reserved-identifier)

}  // namespace test_support
