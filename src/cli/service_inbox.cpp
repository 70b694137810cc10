#include "cli/service_inbox.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <utility>

namespace kestrel::cli {

namespace {

using nlohmann::json;

constexpr std::size_t kLongestId = 256;

bool IsId(const json& id) {
  return id.is_number_integer() || (id.is_string() && id.get_ref<const std::string&>().size() <= kLongestId);
}

Incoming Faulty(int code, std::string message, json id = nullptr) {
  Incoming incoming;
  incoming.fault = RpcFault{code, std::move(message)};
  incoming.is_request = true;
  incoming.id = std::move(id);
  return incoming;
}

Incoming ReadMessage(const MessageFrame& frame) {
  if (frame.kind == MessageFrame::Kind::kTooLong) {
    return Faulty(kInvalidRequest,
                  "Die Nachricht ist länger als " + std::to_string(kLongestMessage) + " Bytes.");
  }
  if (frame.kind == MessageFrame::Kind::kLost) {
    return Faulty(
        kParseError,
        "Vor der Nachricht steht keine lesbare Länge (\"Content-Length: N\"); der Dienst endet, da niemand "
        "weiß, wo die nächste beginnt.");
  }
  if (IsTooDeep(frame.body)) {
    return Faulty(kInvalidRequest,
                  "Die Nachricht ist tiefer als " + std::to_string(kDeepestMessage) + " Ebenen verschachtelt.");
  }
  const json message = json::parse(frame.body, nullptr, /*allow_exceptions=*/false);
  if (message.is_discarded()) return Faulty(kParseError, "Die Nachricht ist kein JSON in UTF-8.");
  if (!message.is_object()) {
    return Faulty(kInvalidRequest, "Die Nachricht ist kein Objekt; mehrere auf einmal sind nicht möglich.");
  }
  Incoming incoming;
  incoming.is_request = message.contains("id");
  if (incoming.is_request && !IsId(message["id"])) {
    return Faulty(kInvalidRequest, "Die Kennung (id) ist weder eine ganze Zahl noch ein kurzer Text.");
  }
  if (incoming.is_request) incoming.id = message["id"];
  const auto method = message.find("method");
  if (message.value("jsonrpc", json()) != "2.0" || method == message.end() || !method->is_string()) {
    return Faulty(kInvalidRequest, "Es fehlt \"jsonrpc\": \"2.0\" oder die Methode (method).", incoming.id);
  }
  incoming.method = method->get<std::string>();
  incoming.params = message.value("params", json());
  if (!incoming.params.is_null() && !incoming.params.is_object()) {
    return Faulty(kInvalidParams, "Die Angaben (params) sind kein Objekt.", incoming.id);
  }
  return incoming;
}

}  // namespace

ServiceInbox::ServiceInbox(int descriptor, StopSignals& signals)
    : descriptor_(descriptor),
      signals_(signals),
      wake_up_(::eventfd(0, EFD_CLOEXEC)),
      reader_([this] { Read(); }) {}

ServiceInbox::~ServiceInbox() {
  const std::uint64_t once = 1;
  while (::write(wake_up_, &once, sizeof once) < 0 && errno == EINTR) {
  }
  reader_.join();
  ::close(wake_up_);
}

std::optional<Incoming> ServiceInbox::Take() {
  std::unique_lock lock(mutex_);
  under_way_ = nullptr;
  changed_.wait(lock, [&] { return !waiting_.empty() || is_at_end_; });
  if (waiting_.empty()) return std::nullopt;
  Incoming taken = std::move(waiting_.front());
  waiting_.pop_front();
  bytes_waiting_ -= taken.bytes;
  under_way_ = taken.id;
  signals_.ForgetCancelled();
  return taken;
}

void ServiceInbox::Read() {
  std::array<char, 1 << 16> bytes{};
  bool is_at_end = false;
  for (;;) {
    std::array<pollfd, 2> ready = {{{descriptor_, POLLIN, 0}, {wake_up_, POLLIN, 0}}};
    if (::poll(ready.data(), ready.size(), -1) < 0 && errno != EINTR) break;
    if (ready[1].revents != 0) break;
    if (ready[0].revents == 0) continue;
    const ssize_t got = ::read(descriptor_, bytes.data(), bytes.size());
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    is_at_end = got <= 0;
    if (is_at_end) break;
    frames_.Feed({bytes.data(), static_cast<std::size_t>(got)});
    bool is_lost = false;
    while (const std::optional<MessageFrame> frame = frames_.Next()) {
      Add(*frame);
      is_lost = frame->kind == MessageFrame::Kind::kLost;
    }
    if (is_lost) break;
  }
  if (is_at_end && frames_.IsWithinMessage())
    Add(Faulty(kParseError, "Die Eingabe endet mitten in einer Nachricht."));
  const std::lock_guard lock(mutex_);
  is_at_end_ = true;
  changed_.notify_all();
}

void ServiceInbox::Add(const MessageFrame& frame) {
  Incoming incoming = ReadMessage(frame);
  // As a request it is none that there is, and is told so.
  if (!incoming.fault && !incoming.is_request && incoming.method == "$/cancelRequest") {
    const json id = incoming.params.is_object() ? incoming.params.value("id", json()) : json();
    Cancel(id);
  } else {
    if (!incoming.fault) incoming.bytes = frame.body.size();
    Add(std::move(incoming));
  }
}

void ServiceInbox::Add(Incoming incoming) {
  const std::lock_guard lock(mutex_);
  // What ends the service is never refused.
  const bool is_too_much =
      waiting_.size() >= kMostWaiting || bytes_waiting_ + incoming.bytes > kMostBytesWaiting;
  if (is_too_much && incoming.method != "exit") {
    if (!incoming.is_request || waiting_.size() >= 2 * kMostWaiting) return;
    incoming = Faulty(kInvalidRequest, "Es warten schon zu viele Anfragen.", incoming.id);
  }
  bytes_waiting_ += incoming.bytes;
  waiting_.push_back(std::move(incoming));
  changed_.notify_all();
}

void ServiceInbox::Cancel(const json& id) {
  std::unique_lock lock(mutex_);
  if (!id.is_null() && id == under_way_) {
    signals_.Cancel();
    return;
  }
  for (Incoming& waiting : waiting_) {
    if (id.is_null() || !waiting.is_request || waiting.id != id) continue;
    waiting.is_cancelled = true;
    return;
  }
  lock.unlock();
  // A notification gets no answer, so this one is told as a message.
  Incoming unknown;
  unknown.method = "$/unknownRequest";
  unknown.params = {{"id", id}};
  Add(std::move(unknown));
}

}  // namespace kestrel::cli
