// The UCI package with the program's settings, read once over the bus and then only looked up: a
// section by name, in it an option by name. What is missing reads as empty.
#pragma once

#include <functional>
#include <map>
#include <string_view>
#include <vector>

#include "wrt_cppwrap/blob_msg.h"
#include "wrt_cppwrap/ubus.h"
#include "wrt_cppwrap/uloop.h"

struct ubus_request;

namespace tavrix {

// The types and the empty defaults of UciConfig, which derives from one of these types as well.
class UciConfigTypes {
 public:
  // A map whose lookup returns the object Default for a missing key.
  template <const auto& Default, class Key, class Value, class Compare>
  class MapConstAccess : public std::map<Key, Value, Compare> {
   public:
    const Value& operator[](const Key& key) const {
      const auto found = this->find(key);
      return found == this->end() ? Default : found->second;
    }
  };

  static const std::vector<std::string_view> defaultVec;
  // Option name to values; an option that is no list has one.
  using Section =
      MapConstAccess<defaultVec, std::string_view, std::vector<std::string_view>, std::less<void>>;
  static const Section defaultMap;
};

// Section name to section. Every name and value is a view of the store's own copy of the reply and
// valid as long as the store.
class UciConfig
    : public UciConfigTypes,
      public UciConfigTypes::MapConstAccess<UciConfigTypes::defaultMap, std::string_view,
                                            UciConfigTypes::Section, std::less<void>> {
 public:
  // Reads the package through the global bus connection. Throws std::runtime_error if the bus
  // refuses the call. A malformed reply ends the process, since it is read inside a callback of the
  // bus library.
  explicit UciConfig(std::string_view package);

 protected:
  // Takes the sections of one reply of the service. Throws std::invalid_argument if it is
  // malformed, std::runtime_error if there is no memory for it; the store must not be used after
  // either.
  void readReply(blob_attr* message);

 private:
  // NOLINTNEXTLINE(bugprone-exception-escape): it ends the process
  static void UciReplyHandler(ubus_request* request, int type, blob_attr* message) noexcept;
  void readSection(blob_attr* section);

  wrt_cppwrap::BlobMsg storage;
};

// The objects that exist before main, constructed in this order and after the defaults above, and
// destroyed in reverse. Defined in startup.cpp, which only programs link.
extern wrt_cppwrap::Uloop uloop;
extern wrt_cppwrap::Ubus ubus;
extern UciConfig params;  // package "firewall_cpp"

}  // namespace tavrix
