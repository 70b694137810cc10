// A server that takes connections and never says a word.
#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace kestrel::testing {

class SilentServer {
 public:
  SilentServer() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address_;
    const bool listens = ::bind(socket_, reinterpret_cast<const sockaddr*>(&address_), size) == 0 &&
                         ::listen(socket_, 5) == 0 &&
                         ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address_), &size) == 0;
    if (!listens) throw std::runtime_error("no port to listen at");
  }
  ~SilentServer() { HangUp(); }
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;

  std::string port() const { return std::to_string(ntohs(address_.sin_port)); }
  std::string DataSource() const { return "127.0.0.1," + port(); }
  // Waits for a client, takes in what he says, and returns once he has hung up.
  void ListenToTheEnd() const {
    const int client = ::accept(socket_, nullptr, nullptr);
    for (char said = 0; ::read(client, &said, 1) > 0;) {
    }
    ::close(client);
  }
  // Refuses those who wait, and everybody from now on.
  void HangUp() {
    if (socket_ >= 0) ::close(socket_);
    socket_ = -1;
  }

 private:
  int socket_;
  sockaddr_in address_{};
};

}  // namespace kestrel::testing
