// What a client of the service sends, read by a thread of its own, so that it can end an import that works.
//
// Invariants
//  1. Requests are performed one after the other, in the order in which they came, by the thread that takes them; that
//     thread alone writes. So what is wrong with a message is queued, too, and answered in its turn.
//  2. A cancellation reaches the request under way at once, and one that waits when its turn comes.
//  3. A message is kept until it is taken; beyond kMostWaiting, or kMostBytesWaiting, only that it was refused, and
//     beyond twice kMostWaiting nothing.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>

#include "cli/message_frames.h"
#include "cli/stop_signals.h"

namespace kestrel::cli {

// The codes of JSON-RPC 2.0, and those of language servers.
enum RpcCode : int {
  kParseError = -32700,
  kInvalidRequest = -32600,
  kMethodNotFound = -32601,
  kInvalidParams = -32602,
  kNotInitialized = -32002,
  kRequestCancelled = -32800,
  kRequestFailed = -32803,
};

struct RpcFault {
  int code;
  std::string message;  // German
};

// NOLINTNEXTLINE(bugprone-exception-escape): moving it moves its values, and only a null value is made with it.
struct Incoming {
  std::optional<RpcFault> fault;  // what is wrong with the message
  nlohmann::json id;              // null: a notification, or one that could not be read
  bool is_request = false;        // it has an id, and gets an answer
  std::string method = {};
  nlohmann::json params = nullptr;
  bool is_cancelled = false;
  std::size_t bytes = 0;  // of the message, whose reading takes many times of that
};

class ServiceInbox {
 public:
  static constexpr std::size_t kMostWaiting = 1000;
  static constexpr std::size_t kMostBytesWaiting = 4 * kLongestMessage;

  // Reads from `descriptor`, which outlives it, as `signals` do.
  ServiceInbox(int descriptor, StopSignals& signals);
  ServiceInbox(const ServiceInbox&) = delete;
  ServiceInbox& operator=(const ServiceInbox&) = delete;
  // Waits for no further message.
  ~ServiceInbox();

  // Waits for the next one; none at the end of what the client sends. It is under way until the next call.
  std::optional<Incoming> Take();

 private:
  void Read();
  void Add(const MessageFrame& frame);
  void Add(Incoming incoming);
  // Of a request that is neither under way nor waits, the client is told so.
  void Cancel(const nlohmann::json& id);

  const int descriptor_;
  StopSignals& signals_;
  int wake_up_;
  FrameReader frames_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Incoming> waiting_;
  std::size_t bytes_waiting_ = 0;
  nlohmann::json under_way_;  // its id
  bool is_at_end_ = false;
  std::thread reader_;
};

}  // namespace kestrel::cli
