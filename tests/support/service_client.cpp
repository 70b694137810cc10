#include "support/service_client.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

namespace kestrel::testing {

using nlohmann::json;

ServiceClient::ServiceClient(const std::vector<std::string>& command) {
  std::signal(SIGPIPE, SIG_IGN);
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  std::array<int, 2> to{};
  std::array<int, 2> from{};
  EXPECT_EQ(::pipe2(to.data(), O_CLOEXEC), 0);
  EXPECT_EQ(::pipe2(from.data(), O_CLOEXEC), 0);
  child_ = ::fork();
  if (child_ == 0) {
    ::dup2(to[0], STDIN_FILENO);
    ::dup2(from[1], STDOUT_FILENO);
    ::execv(arguments[0], arguments.data());
    ::_exit(127);
  }
  ::close(to[0]);
  ::close(from[1]);
  to_ = to[1];
  from_ = from[0];
}

ServiceClient::~ServiceClient() {
  if (child_ > 0) {
    ::kill(child_, SIGKILL);
    Close();
  }
  ::close(from_);
}

void ServiceClient::Write(const std::string& bytes) {
  for (std::size_t written = 0; written < bytes.size();) {
    const ssize_t count = ::write(to_, bytes.data() + written, bytes.size() - written);
    // It may have ended already.
    if (count <= 0) return;
    written += static_cast<std::size_t>(count);
  }
}

void ServiceClient::SendBody(const std::string& body) {
  Write("Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
}

void ServiceClient::Send(const json& message) { SendBody(message.dump()); }

bool ServiceClient::Fill() {
  std::array<char, 4096> bytes{};
  const ssize_t got = ::read(from_, bytes.data(), bytes.size());
  if (got <= 0) return false;
  read_.append(bytes.data(), static_cast<std::size_t>(got));
  return true;
}

std::optional<json> ServiceClient::Receive() {
  const std::string begin = "Content-Length: ";
  std::size_t header_end = 0;
  while ((header_end = read_.find("\r\n\r\n")) == std::string::npos) {
    if (Fill()) continue;
    EXPECT_EQ(read_, "") << "no frame";
    return std::nullopt;
  }
  EXPECT_EQ(read_.substr(0, begin.size()), begin);
  const std::size_t length = std::stoul(read_.substr(begin.size(), header_end - begin.size()));
  read_.erase(0, header_end + 4);
  while (read_.size() < length) {
    if (Fill()) continue;
    ADD_FAILURE() << "a frame that ends early";
    return std::nullopt;
  }
  const json message = json::parse(read_.substr(0, length));
  read_.erase(0, length);
  EXPECT_EQ(message.value("jsonrpc", ""), "2.0");
  return message;
}

json ServiceClient::AwaitAnswer(const json& id) {
  while (const std::optional<json> message = Receive()) {
    if (!message->contains("method")) {
      EXPECT_EQ((*message)["id"], id) << *message;
      return *message;
    }
    notifications.push_back(*message);
  }
  ADD_FAILURE() << "no answer to " << id;
  return json::object();
}

json ServiceClient::AwaitNotification(const std::string& method) {
  while (const std::optional<json> message = Receive()) {
    if (message->value("method", "") == method) return *message;
  }
  ADD_FAILURE() << "no " << method;
  return json::object();
}

json ServiceClient::Call(int id, const std::string& method, const json& params) {
  Send({{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", params}});
  return AwaitAnswer(id);
}

int ServiceClient::Close() {
  ::close(to_);
  to_ = -1;
  int status = 0;
  ::waitpid(child_, &status, 0);
  child_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace kestrel::testing
