// Messages byte by byte, right and wrong ones, in memory that ends where the message ends.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "wrt_cppwrap/platform_headers.h"

namespace test_support {

// A 4-byte word, big-endian.
inline std::string bigEndian(unsigned long value) {
  std::string bytes;
  for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>(value >> shift & 0xff);
  return bytes;
}

inline std::string padded(std::string bytes) {
  bytes.resize((bytes.size() + 3) / 4 * 4, '\0');
  return bytes;
}

// An attribute without a name header, padded.
inline std::string plainAttribute(unsigned type, const std::string& payload) {
  return padded(bigEndian((type & 0x7fUL) << 24 | (payload.size() + 4)) + payload);
}

// An attribute with a name header, padded.
inline std::string attribute(unsigned type, std::string_view name, const std::string& data) {
  std::string header;
  header += static_cast<char>(name.size() >> 8);
  header += static_cast<char>(name.size() & 0xff);
  header += name;
  header += '\0';
  const std::string payload = padded(header) + data;
  return padded(bigEndian(0x80000000UL | (type & 0x7fUL) << 24 | (payload.size() + 4)) + payload);
}

inline std::string stringAttribute(std::string_view name, const std::string& value) {
  return attribute(3, name, value + '\0');
}

// The bytes as a message. Reads behind the last byte are errors that the sanitizer reports.
class Message {
 public:
  explicit Message(const std::string& bytes) : bytes_(std::make_unique<char[]>(bytes.size())) {
    std::memcpy(bytes_.get(), bytes.data(), bytes.size());
  }

  blob_attr* head() { return reinterpret_cast<blob_attr*>(bytes_.get()); }

 private:
  std::unique_ptr<char[]> bytes_;
};

}  // namespace test_support
