#include "testbed/busd/uci_service.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <system_error>

#include "testbed/libubox/blob_buffer.h"
#include "testbed/libubox/blob_types.h"
#include "testbed/uci/uci_parser.h"
#include "testbed/uci/uci_reply.h"

namespace testbed {
namespace {

constexpr const char* methodGet = "get";
constexpr const char* argumentConfig = "config";

// Far above what fits into a reply, far below what would trouble the machine.
constexpr std::size_t maximumFileSize = std::size_t{16} * 1024 * 1024;

void report(const std::string& message) {
  std::fprintf(stderr, "ubusd: %s\n", message.c_str());
}

// The value of the one argument. Nullopt for malformed, missing, unknown or ill-typed arguments.
std::optional<std::string_view> findConfig(std::span<char> arguments) {
  std::optional<std::string_view> config;
  while (!arguments.empty()) {
    if (arguments.size() < sizeof(blob_attr)) return std::nullopt;
    const auto* attr = reinterpret_cast<const blob_attr*>(arguments.data());
    if (blob_pad_len(attr) > arguments.size() || !blobmsg_check_attr(attr, true)) {
      return std::nullopt;
    }
    if (config || blobmsg_type(attr) != blobString ||
        std::string_view(blobmsg_name(attr)) != argumentConfig) {
      return std::nullopt;
    }
    config = static_cast<const char*>(blobmsg_data(attr));
    arguments = arguments.subspan(blob_pad_len(attr));
  }
  return config;
}

bool isPlainFileName(std::string_view name) {
  return !name.empty() && name.front() != '.' && name.find('/') == std::string_view::npos;
}

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

[[noreturn]] void failWithErrno(const std::string& fileName) {
  throw std::system_error(errno, std::generic_category(), fileName);
}

// Whole content of a regular file, nullopt when there is none of that name. Throws
// std::system_error.
std::optional<std::string> readConfig(const std::string& fileName) {
  // Without O_NONBLOCK, a named pipe in the directory would stop the daemon for all clients.
  const Descriptor file(open(fileName.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.get() < 0) {
    if (errno == ENOENT) return std::nullopt;
    failWithErrno(fileName);
  }
  struct stat status {};
  if (fstat(file.get(), &status) != 0) failWithErrno(fileName);
  if (!S_ISREG(status.st_mode)) {
    throw std::system_error(EINVAL, std::generic_category(), fileName + ": not a regular file");
  }
  std::string content;
  std::array<char, 65536> buffer{};
  while (true) {
    const ssize_t got = read(file.get(), buffer.data(), buffer.size());
    if (got == 0) return content;
    if (got < 0 && errno != EINTR) failWithErrno(fileName);
    if (got > 0) content.append(buffer.data(), static_cast<std::size_t>(got));
    if (content.size() > maximumFileSize) {
      throw std::system_error(EFBIG, std::generic_category(), fileName);
    }
  }
}

}  // namespace

UciService::Reply UciService::call(std::string_view method, std::span<char> arguments) const {
  if (method != methodGet) return {.status = BusStatus::MethodNotFound, .members = {}};
  const std::optional<std::string_view> config = findConfig(arguments);
  if (!config || !isPlainFileName(*config)) {
    return {.status = BusStatus::InvalidArgument, .members = {}};
  }
  return get(*config);
}

UciService::Reply UciService::get(std::string_view package) const {
  const std::string fileName = configDir_ / package;
  try {
    const std::optional<std::string> text = readConfig(fileName);
    if (!text) return {.status = BusStatus::NotFound, .members = {}};
    BlobBuffer reply;
    if (writeReply(parseUci(*text, fileName), reply.get()) &&
        reply.members().size() <= maximumReplySize) {
      return {.status = BusStatus::Ok,
              .members = std::string(reply.members().data(), reply.members().size())};
    }
    report(fileName + ": too long for a bus message");
  } catch (const std::exception& error) {
    report(error.what());
  }
  return {.status = BusStatus::UnknownError, .members = {}};
}

std::string UciService::signature() {
  BlobBuffer methods;
  void* const method = blobmsg_open_nested(methods.get(), methodGet, false);
  const std::uint32_t argumentType = htobe32(blobString);
  if (method == nullptr || blobmsg_add_field(methods.get(), blobInt32, argumentConfig,
                                             &argumentType, sizeof(argumentType)) != 0) {
    throw std::bad_alloc();
  }
  blob_nest_end(methods.get(), method);
  return std::string(methods.members().data(), methods.members().size());
}

}  // namespace testbed
