#include "storage/free_numbers.h"

#include <algorithm>
#include <deque>
#include <optional>
#include <utility>

#include "kestrel/runtime_error.h"
#include "platform/base/text.h"
#include "schema/destination.h"
#include "schema/host_schema.h"
#include "schema/number_sequence.h"
#include "storage/grouped_writes.h"
#include "storage/pipelined_records.h"

namespace kestrel::host {

namespace {

// More numbers than records wait for their answers.
constexpr std::size_t kMostAtOnce = 2 * PipelinedRecords::kMost;

// The upper half of the numbers of the locks of sequences.
const std::string kLockClass = "1263747667::bigint";

std::int64_t GreatestIn(Connection& connection, const std::string& table, const std::string& column) {
  if (table.empty()) return 0;
  const RecordsetPtr found = connection.OpenRecordset("SELECT max(" + column + ") FROM " + table);
  return found->IsNull(0) ? 0 : std::max<std::int64_t>(found->ValueAt(0).ToInteger(), 0);
}

class NumbersBehindTheGreatest final : public FreeNumbers {
 public:
  NumbersBehindTheGreatest(Connection& connection, std::string table, std::string column, std::string trial_of)
      : connection_(connection),
        group_(GroupedWrites::Of(connection)),
        table_(std::move(table)),
        column_(std::move(column)),
        trial_of_(std::move(trial_of)) {}

  std::int64_t Next() override {
    // Within one group nobody else can have added a record.
    if (known_in_ != group_.Generation()) {
      Know(std::max(GreatestIn(connection_, table_, column_), GreatestIn(connection_, trial_of_, column_)));
    }
    return next_;
  }
  void Take(std::int64_t number) override {
    if (number >= next_ && number < INT64_MAX) next_ = number + 1;
  }
  void PassOver(std::int64_t number) override {
    Know(std::max(
        {GreatestIn(connection_, table_, column_), GreatestIn(connection_, trial_of_, column_), number}));
  }
  void Undo(std::int64_t) override { known_in_.reset(); }

 private:
  void Know(std::int64_t greatest) {
    if (greatest == INT64_MAX) throw RuntimeError(ErrorNumber::kOverflow, "Es ist keine Nummer mehr frei.");
    next_ = greatest + 1;
    known_in_ = group_.Generation();
  }

  Connection& connection_;
  GroupedWrites& group_;
  const std::string table_;
  const std::string column_;
  const std::string trial_of_;
  std::int64_t next_ = 1;
  std::optional<std::uint64_t> known_in_;  // the group whose greatest number is known
};

// Nobody may draw numbers between a look at the sequence and its setting, or they would be given twice. So whoever draws
// shares a lock with the others, and whoever sets has it alone; one statement takes it and gives it up, so that nobody waits
// for more than a statement. What is nested in CASE is evaluated in that order.
class NumbersOfASequence final : public FreeNumbers {
 public:
  NumbersOfASequence(Connection& connection, const std::string& table, const std::string& column)
      : connection_(connection),
        table_(table),
        column_(column),
        sequence_(SequenceOf(connection, table, column)),
        literal_("'" + ReplaceAll(sequence_, "'", "''") + "'"),
        lock_("(" + kLockClass + " << 32 | " + literal_ + "::regclass::oid::bigint)") {}

  ~NumbersOfASequence() override {
    const auto leave = [this] {
      BeforeCommit();
      // Where nobody has asked for others meanwhile, the next import goes on without a gap. Another application, which draws
      // from its sequence itself, takes no lock.
      if (!drawn_.empty() && !IsQuoted(table_)) GiveBack();
    };
    if (connection_.IsOpen()) Trap(leave, [](const RuntimeError&) {});
  }

  std::int64_t Next() override {
    if (greatest_taken_ > reached_) MoveOn(greatest_taken_);
    if (drawn_.empty()) Draw();
    return drawn_.front();
  }
  void Take(std::int64_t number) override {
    if (!drawn_.empty() && drawn_.front() == number) {
      drawn_.pop_front();
      given_.push_back(number);
      if (given_.size() > kMostAtOnce) given_.pop_front();
    }
    // Behind the last of all numbers there is no going on: those before it stay free.
    if (number < INT64_MAX) greatest_taken_ = std::max(greatest_taken_, number);
  }
  void PassOver(std::int64_t number) override {
    MoveOn(std::max(GreatestIn(connection_, table_, column_), number));
  }
  void Undo(std::int64_t number) override {
    for (; !given_.empty() && given_.back() >= number; given_.pop_back()) drawn_.push_front(given_.back());
  }
  void BeforeCommit() override {
    if (greatest_taken_ > reached_) MoveOn(greatest_taken_);
  }

 private:
  // Somebody may go on himself in between; then numbers come that are passed over.
  void MoveOn(std::int64_t number) {
    while (!drawn_.empty() && drawn_.front() <= number) drawn_.pop_front();
    given_.clear();
    if (move_ == nullptr) {
      move_ = connection_.Prepare(SetAlone("CASE WHEN is_called THEN last_value < ? ELSE last_value <= ? END",
                                           "setval(" + literal_ + ", ?)"));
    }
    for (std::size_t i = 0; i < 3; ++i) move_->BindInteger(i, number);
    // One that was given an end of its own does not go on behind it.
    Trap([this] { Run(*move_, "pg_advisory_unlock"); },
         [this](const RuntimeError&) {
           if (!connection_.InTransaction() || !connection_.StopReason().empty()) throw;
         });
    reached_ = std::max(reached_, number);
  }

  // A statement that runs `set` where `condition` on the sequence holds, while nobody draws.
  std::string SetAlone(const std::string& condition, const std::string& set) const {
    return "SELECT CASE WHEN pg_advisory_lock(" + lock_ + ") IS NOT NULL THEN CASE WHEN (CASE WHEN (SELECT " +
           condition + " FROM " + sequence_ + ") THEN " + set +
           " END) IS DISTINCT FROM -1 THEN pg_advisory_unlock(" + lock_ + ") END END";
  }

  // A statement that fails behind its taking of the lock has left it to the session.
  RecordsetPtr Run(Statement& statement, const char* unlock) {
    RecordsetPtr rows;
    Trap([&] { rows = statement.Open(); },
         [&](const RuntimeError&) {
           const auto give_up = [&] {
             const std::string query = std::string("SELECT ") + unlock + "(" + lock_ + ")::integer";
             while (connection_.InTransaction() && connection_.OpenRecordset(query)->TextAt(0) == "1") {
             }
           };
           if (connection_.InTransaction()) Trap(give_up, [](const RuntimeError&) {});
           throw;
         });
    return rows;
  }

  void Draw() {
    if (draw_ == nullptr) {
      draw_ = connection_.Prepare(
          "SELECT unnest(numbers) FROM (SELECT CASE WHEN pg_advisory_unlock_shared(" + lock_ +
          ") THEN numbers END AS numbers FROM (SELECT CASE WHEN pg_advisory_lock_shared(" + lock_ +
          ") IS NOT NULL THEN ARRAY(SELECT nextval(" + literal_ +
          ") FROM generate_series(1, CAST(? AS integer))) END AS numbers OFFSET 0) AS drawn "
          "OFFSET 0) AS freed");
    }
    draw_->BindInteger(0, static_cast<std::int64_t>(at_once_));
    at_once_ = std::min(2 * at_once_, kMostAtOnce);
    for (const RecordsetPtr rows = Run(*draw_, "pg_advisory_unlock_shared"); !rows->IsEof(); rows->MoveNext()) {
      drawn_.push_back(rows->ValueAt(0).ToInteger());
      reached_ = std::max(reached_, drawn_.back());
    }
  }

  void GiveBack() {
    const std::int64_t last = drawn_.back();
    if (last - drawn_.front() + 1 != static_cast<std::int64_t>(drawn_.size())) return;
    const auto give_back =
        connection_.Prepare(SetAlone("last_value = ? AND is_called", "setval(" + literal_ + ", ?, false)"));
    give_back->BindInteger(0, last);
    give_back->BindInteger(1, drawn_.front());
    Run(*give_back, "pg_advisory_unlock");
  }

  Connection& connection_;
  const std::string table_;
  const std::string column_;
  const std::string sequence_;
  const std::string literal_;
  const std::string lock_;          // its number, made of the sequence's
  std::deque<std::int64_t> drawn_;  // and not taken yet
  std::deque<std::int64_t> given_;  // of those that were drawn, the last ones taken
  std::size_t at_once_ = 1;         // grows with the numbers that are wanted
  std::int64_t reached_ = 0;        // the sequence gives none up to this one
  std::int64_t greatest_taken_ = 0;
  std::unique_ptr<Statement> move_;
  std::unique_ptr<Statement> draw_;
};

}  // namespace

std::unique_ptr<FreeNumbers> FreeNumbers::Of(Connection& connection, const std::string& table,
                                             const std::string& column, const std::string& trial_of) {
  // A test run takes no number from anybody.
  const bool is_without_sequence =
      !IsSqlite(connection) && IsQuoted(table) && FindSequence(connection, table, column).empty();
  // In another application's database nothing is made beside its table.
  if (IsSqlite(connection) || !trial_of.empty() || is_without_sequence) {
    return std::make_unique<NumbersBehindTheGreatest>(connection, table, column, trial_of);
  }
  return std::make_unique<NumbersOfASequence>(connection, table, column);
}

std::int64_t LeadAfter(int attempts) {
  constexpr int kWithout = 3;
  constexpr int kMostDoublings = 10;
  return attempts < kWithout ? 0 : std::int64_t{1} << std::min(attempts - kWithout, kMostDoublings);
}

void RefuseNumber() {
  throw RuntimeError(ErrorNumber::kDatabase,
                     "Es konnte keine freie Nummer vergeben werden, da andere Programme dieselben vergeben.");
}

}  // namespace kestrel::host
