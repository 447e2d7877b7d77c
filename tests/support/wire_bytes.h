// Messages written byte for byte from the layout's description, without the code under test.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct blob_attr;

namespace wire {

inline std::string big16(std::uint32_t value) {
  return {static_cast<char>(value >> 8 & 0xff), static_cast<char>(value & 0xff)};
}

inline std::string big32(std::uint32_t value) {
  return big16(value >> 16) + big16(value & 0xffff);
}

inline std::string padded(std::string bytes) {
  while (bytes.size() % 4 != 0) bytes += '\0';
  return bytes;
}

// An attribute without a name, with its padding.
inline std::string plain(std::uint32_t id, std::string_view payload) {
  const auto length = static_cast<std::uint32_t>(payload.size() + 4);
  return padded(big32(id << 24 | length) + std::string(payload));
}

inline std::string named(std::uint32_t type, std::string_view name, std::string_view data) {
  const std::string header =
      padded(big16(static_cast<std::uint32_t>(name.size())) + std::string(name) + '\0');
  return plain(0x80 | type, header + std::string(data));
}

inline std::string array(std::string_view name, std::string_view items) {
  return named(1, name, items);
}
inline std::string table(std::string_view name, std::string_view members) {
  return named(2, name, members);
}
inline std::string text(std::string_view name, std::string_view value) {
  return named(3, name, std::string(value) + '\0');
}
inline std::string int32(std::string_view name, std::uint32_t value) {
  return named(5, name, big32(value));
}
inline std::string int8(std::string_view name, std::uint8_t value) {
  return named(7, name, std::string(1, static_cast<char>(value)));
}

// A whole message of the bus around attributes.
inline std::string message(std::uint32_t type, std::uint32_t sequence, std::uint32_t peer,
                           std::string_view attributes) {
  return big32(type << 16 | sequence) + big32(peer) + plain(0, attributes);
}

inline std::string hello(std::uint32_t clientId) {
  return message(0, 0, clientId, "");
}

// What a client says.
inline std::string lookup(std::uint32_t sequence, std::string_view path) {
  return message(4, sequence, 0, plain(2, std::string(path) + '\0'));
}
inline std::string invoke(std::uint32_t sequence, std::uint32_t object, std::string_view method,
                          std::string_view arguments) {
  return message(
      5, sequence, object,
      plain(3, big32(object)) + plain(4, std::string(method) + '\0') + plain(7, arguments));
}

// What a daemon says.
inline std::string status(std::uint32_t sequence, std::uint32_t peer, std::uint32_t number) {
  return message(1, sequence, peer, plain(1, big32(number)));
}
inline std::string objectStatus(std::uint32_t sequence, std::uint32_t object,
                                std::uint32_t number) {
  return message(1, sequence, object, plain(1, big32(number)) + plain(3, big32(object)));
}
inline std::string data(std::uint32_t sequence, std::uint32_t object, std::string_view members) {
  return message(2, sequence, object, plain(3, big32(object)) + plain(7, members));
}

// What answers a lookup before its status. No client looks at the object's type and signature.
inline std::string found(std::uint32_t sequence, std::string_view path, std::uint32_t object) {
  return message(2, sequence, 0,
                 plain(2, std::string(path) + '\0') + plain(3, big32(object)) + plain(5, big32(7)) +
                     plain(6, ""));
}

// Bytes in memory that ends where they end: the sanitizer sees any read after them.
class Block {
 public:
  explicit Block(std::string_view bytes) : bytes_(std::make_unique<char[]>(bytes.size())) {
    bytes.copy(bytes_.get(), bytes.size());
  }
  blob_attr* attribute() { return reinterpret_cast<blob_attr*>(bytes_.get()); }

 private:
  std::unique_ptr<char[]> bytes_;
};

}  // namespace wire
