// The bus's socket. Stands in for how libubus and ubusd read and write theirs, and leaves out their
// buffers and time limits: all calls block.
#pragma once

#include <sys/un.h>

#include <span>
#include <string>
#include <string_view>

namespace testbed {

inline constexpr const char* defaultBusSocket = "/var/run/ubus/ubus.sock";

// The address of a socket file. Throws std::runtime_error for a path that is empty or too long.
sockaddr_un busAddress(const std::string& path);
// A connected socket, -1 if nobody listens there. Throws as busAddress does.
int connectBus(const std::string& path);

// False if the other side has closed the connection before all bytes went through.
bool receiveAll(int fd, std::span<char> bytes);
bool sendAll(int fd, std::string_view bytes);

}  // namespace testbed
