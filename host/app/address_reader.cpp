#include "app/address_reader.h"

#include <chrono>
#include <utility>

namespace kestrel::host {

namespace {

// How often it is looked for answers.
constexpr int kLookMs = 30;
// When a question that takes long shows what there is for the first time, and how often from then on; making that costs
// a look into the table.
constexpr std::chrono::milliseconds kShowAfter{80};
constexpr std::chrono::milliseconds kShowEvery{400};

}  // namespace

AddressReader::AddressReader(ConnectionPtr connection, AnotherConnection another, QObject* parent,
                             std::function<void(const AddressAnswer&)> show,
                             std::function<void(const RuntimeError&)> tell)
    : QObject(parent),
      connection_(std::move(connection)),
      another_(std::move(another)),
      show_(std::move(show)),
      tell_(std::move(tell)),
      guard_(this, tell_) {
  look_.setInterval(kLookMs);
  guard_.On(&look_, &QTimer::timeout, &AddressReader::Look);
}

AddressReader::~AddressReader() {
  bool is_opening = false;
  {
    const std::lock_guard lock(desk_->mutex);
    desk_->is_closing = true;
    ++desk_->number;
    is_opening = desk_->is_opening;
  }
  desk_->asked.notify_one();
  if (!thread_.joinable()) return;
  if (is_opening) {
    thread_.detach();
  } else {
    thread_.join();
  }
}

void AddressReader::Ask(AddressQuestion question) {
  if (!another_) {
    AnswerHere(std::move(question));
    return;
  }
  {
    const std::lock_guard lock(desk_->mutex);
    desk_->question = std::move(question);
    ++desk_->number;
    desk_->answer.reset();
    desk_->error.reset();
  }
  desk_->asked.notify_one();
  if (!thread_.joinable()) {
    thread_ = std::thread([desk = desk_, another = another_] { Work(*desk, another); });
  }
  look_.start();
}

void AddressReader::AnswerHere(AddressQuestion question) {
  Trap(
      [&] {
        AddressMemory memory;
        AddressSearch search(*connection_, memory, std::move(question));
        while (search.Next()) {
        }
        show_(search.Answer());
      },
      tell_);
}

void AddressReader::Look() {
  std::optional<AddressAnswer> answer;
  std::optional<RuntimeError> error;
  {
    const std::lock_guard lock(desk_->mutex);
    answer = std::exchange(desk_->answer, std::nullopt);
    error = std::exchange(desk_->error, std::nullopt);
  }
  if (error || (answer && answer->is_complete)) look_.stop();
  if (answer) show_(*answer);
  if (error) tell_(*error);
}

namespace {

// Ends waits for a lock or a silent server with the question.
class EndsWithQuestion final : public WaitWatch {
 public:
  explicit EndsWithQuestion(std::function<bool()> is_wanted) : is_wanted_(std::move(is_wanted)) {}
  bool KeepWaiting(std::string_view) override { return is_wanted_(); }

 private:
  std::function<bool()> is_wanted_;
};

}  // namespace

void AddressReader::Work(Desk& desk, const AnotherConnection& another) {
  ConnectionPtr connection;
  AddressMemory memory;
  std::unique_lock lock(desk.mutex);
  while (true) {
    desk.asked.wait(lock, [&] { return desk.is_closing || desk.question; });
    if (desk.is_closing) return;
    AddressQuestion question = std::move(*std::exchange(desk.question, std::nullopt));
    const std::int64_t number = desk.number;
    desk.is_opening = connection == nullptr;
    lock.unlock();
    Trap(
        [&] {
          if (connection == nullptr) connection = another();
          if (!EndsOpening(desk)) AnswerThere(desk, number, *connection, memory, std::move(question));
        },
        [&](const RuntimeError& error) {
          connection.reset();
          memory = {};
          const std::lock_guard telling(desk.mutex);
          if (desk.number == number) desk.error = error;
        });
    lock.lock();
    desk.is_opening = false;
  }
}

// Whether nobody waits for the answer any more.
bool AddressReader::EndsOpening(Desk& desk) {
  const std::lock_guard lock(desk.mutex);
  desk.is_opening = false;
  return desk.is_closing;
}

void AddressReader::AnswerThere(Desk& desk, std::int64_t number, Connection& connection, AddressMemory& memory,
                                AddressQuestion question) {
  const auto is_wanted = [&] {
    const std::lock_guard lock(desk.mutex);
    return desk.number == number;
  };
  EndsWithQuestion watch(is_wanted);
  struct Watching {
    Connection& connection;
    ~Watching() { connection.WatchWaits(nullptr); }
  };
  connection.WatchWaits(&watch);
  const Watching watching{connection};
  AddressSearch search(connection, memory, std::move(question));
  auto show_at = std::chrono::steady_clock::now() + kShowAfter;
  bool has_shown_older = false;
  bool is_more = true;
  while (is_more) {
    is_more = search.Next();
    if (!is_wanted()) return;
    const bool is_older = search.IsFromOlderState();
    // Behind what was there at once, a list that begins anew would only flicker.
    if (is_more && !is_older && (has_shown_older || std::chrono::steady_clock::now() < show_at)) continue;
    has_shown_older = has_shown_older || is_older;
    AddressAnswer answer = search.Answer();
    const std::lock_guard lock(desk.mutex);
    if (desk.number != number) return;
    desk.answer = std::move(answer);
    show_at = std::chrono::steady_clock::now() + kShowEvery;
  }
}

}  // namespace kestrel::host
