// The other side of 'kestrel-import serve --stdio': a real process, spoken to as a client does.
#pragma once

#include <sys/types.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::testing {

class ServiceClient {
 public:
  // `command` is the program's path followed by its arguments.
  explicit ServiceClient(const std::vector<std::string>& command);
  // Ends what still runs.
  ~ServiceClient();
  ServiceClient(const ServiceClient&) = delete;
  ServiceClient& operator=(const ServiceClient&) = delete;

  // Bytes as they are.
  void Write(const std::string& bytes);
  // A message, in its frame.
  void Send(const nlohmann::json& message);
  void SendBody(const std::string& body);
  // The next message; none at the end of what it sends. A frame that is none fails the test.
  std::optional<nlohmann::json> Receive();
  // Sends a request and gives its answer; notifications before it are kept in `notifications`.
  nlohmann::json Call(int id, const std::string& method, const nlohmann::json& params = nullptr);
  // The first notification of this method; the test fails where there is none before the end.
  nlohmann::json AwaitNotification(const std::string& method);
  // The answer to this request.
  nlohmann::json AwaitAnswer(const nlohmann::json& id);
  // Ends what it is sent and waits for its end; as ProgramResult::status.
  int Close();

  std::vector<nlohmann::json> notifications;

 private:
  bool Fill();

  pid_t child_ = -1;
  int to_ = -1;
  int from_ = -1;
  std::string read_;
};

}  // namespace kestrel::testing
