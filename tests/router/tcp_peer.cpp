// `tcp_peer`: both ends of a TCP conversation, for scripts that look at what becomes of
// connections.
//
//   tcp_peer listen PORT NAME   prints "listening"; greets every connection with the line NAME,
//   then
//                               answers each line with itself
//   tcp_peer ask ADDRESS PORT   prints the greeting, then sends each line of standard input and
//                               prints the answer; ends with the first failure, which it prints
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>
#include <string_view>

namespace {

int fail(const char* what) {
  perror(what);
  return 1;
}

bool sendAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t sent = send(fd, text.data(), text.size(), MSG_NOSIGNAL);
    if (sent < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

// The next line with its newline. False at the end of the connection (errno 0) or on a failure.
bool receiveLine(int fd, std::string& line) {
  line.clear();
  while (!line.ends_with('\n')) {
    char character = 0;
    errno = 0;
    if (recv(fd, &character, 1, 0) <= 0) return false;
    line += character;
  }
  return true;
}

void serve(int fd, const std::string& name) {
  std::string line = name + "\n";
  while (sendAll(fd, line) && receiveLine(fd, line)) {
  }
}

// A socket that `use` (bind or connect) has given this address; -1 and errno otherwise.
int openSocket(int (*use)(int, const sockaddr*, socklen_t), const char* address, const char* port) {
  addrinfo hints = {};
  hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(address, port, &hints, &found) != 0) {
    errno = EADDRNOTAVAIL;
    return -1;
  }
  const int fd = socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int status = use(fd, found->ai_addr, found->ai_addrlen);
  const int error = errno;
  freeaddrinfo(found);
  errno = error;
  return status == 0 ? fd : -1;
}

// One process per connection: a connection that hangs keeps no other waiting. The address of all
// IPv6 interfaces takes IPv4 connections too.
int listenOn(const char* port, const std::string& name) {
  if (signal(SIGCHLD, SIG_IGN) == SIG_ERR) return fail("signal");
  const int listener = openSocket(bind, "::", port);
  if (listener < 0 || listen(listener, SOMAXCONN) != 0) return fail("listen");
  std::cout << "listening" << std::endl;
  for (;;) {
    const int connection = accept(listener, nullptr, nullptr);
    if (connection < 0) return fail("accept");
    if (fork() == 0) {
      serve(connection, name);
      _exit(0);
    }
    close(connection);
  }
}

int ask(const char* address, const char* port) {
  const int fd = openSocket(connect, address, port);
  std::string line;
  bool good = fd >= 0;
  while (good && receiveLine(fd, line)) {
    std::cout << line << std::flush;
    if (!std::getline(std::cin, line)) return 0;
    good = sendAll(fd, line + "\n");
  }
  std::cout << (errno == 0 ? "closed" : strerror(errno)) << std::endl;
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view mode = argc == 4 ? argv[1] : "";
  if (mode == "listen") return listenOn(argv[2], argv[3]);
  if (mode == "ask") return ask(argv[2], argv[3]);
  std::cerr << "usage: tcp_peer listen PORT NAME | tcp_peer ask ADDRESS PORT\n";
  return 1;
}
