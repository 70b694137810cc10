// Answers questions about an address list from a thread of its own, so that the window never waits for the database.
//
//  1. There is one question at a time: a new one ends the one before, whose answers are not heard of any more.
//  2. The thread has a connection of its own, opened with the first question and again after an error, and keeps the list
//     in memory that it has read over it (AddressMemory), for as long as nothing is written.
//  3. A silent server keeps it opening one for as long as the driver waits; so nobody waits for a thread that is opening,
//     and what a thread uses is its own.
//  4. Without a way to open one, questions are answered by the window's connection before Ask returns.
#pragma once

#include <QObject>
#include <QTimer>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "app/address_search.h"
#include "kestrel/runtime_error.h"
#include "wizard/event_guard.h"

namespace kestrel::host {

// Opens one more connection to the host's database, from any thread. Owns what it needs, as a copy of it may outlive the
// reader. Raises what opening raises.
using AnotherConnection = std::function<ConnectionPtr()>;

class AddressReader final : public QObject {
  Q_OBJECT
 public:
  // Calls, in the thread of the window: `show` with what there is, more than once while a long table is read;
  // `tell` with an error, which ends the question.
  AddressReader(ConnectionPtr connection, AnotherConnection another, QObject* parent,
                std::function<void(const AddressAnswer&)> show, std::function<void(const RuntimeError&)> tell);
  // Ends a question that is under way.
  ~AddressReader() override;

  void Ask(AddressQuestion question);
  bool IsBusy() const { return look_.isActive(); }

 private:
  // What window and thread share.
  struct Desk {
    std::mutex mutex;
    std::condition_variable asked;
    std::optional<AddressQuestion> question;
    std::int64_t number = 0;  // of the last question
    bool is_closing = false;
    bool is_opening = false;
    std::optional<AddressAnswer> answer;
    std::optional<RuntimeError> error;
  };

  void AnswerHere(AddressQuestion question);
  void Look();
  static void Work(Desk& desk, const AnotherConnection& another);
  static bool EndsOpening(Desk& desk);
  static void AnswerThere(Desk& desk, std::int64_t number, Connection& connection, AddressMemory& memory,
                          AddressQuestion question);

  ConnectionPtr connection_;
  AnotherConnection another_;
  std::function<void(const AddressAnswer&)> show_;
  std::function<void(const RuntimeError&)> tell_;
  EventGuard guard_;
  QTimer look_;  // while a question is under way
  const std::shared_ptr<Desk> desk_ = std::make_shared<Desk>();
  std::thread thread_;
};

}  // namespace kestrel::host
