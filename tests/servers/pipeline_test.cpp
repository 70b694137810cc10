// Statements sent to PostgreSQL without waiting for their answers.
#include <gmock/gmock.h>

#include <array>
#include <numeric>
#include <optional>
#include <span>
#include <utility>

#include "platform/data/pipeline.h"
#include "servers/postgres_fixture.h"
#include "support/expect_error.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class PipelineOnPostgres : public testing::PostgresTest {
 protected:
  void SetUp() override {
    PostgresTest::SetUp();
    if (IsSkipped()) return;
    connection->Execute("CREATE TABLE t (a int PRIMARY KEY CHECK (a > 0))");
    insert = connection->Prepare("INSERT INTO t VALUES (?)");
  }
  void EndAllOtherSessions() {
    Connect()->OpenRecordset("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = '" +
                             database + "' AND pid <> pg_backend_pid()");
  }

  // Numbers sent late, and stored again one by one where it must be.
  class Numbers : public PipelineSender {
   public:
    Numbers(Connection& connection, Statement& insert)
        : pipeline_(*connection.pipeline()),
          insert_(insert),
          again_(connection.Prepare("INSERT INTO t VALUES (?)")) {}
    void Send(std::int64_t number) {
      insert_.BindInteger(0, number);
      pipeline_.Send(insert_, *this);
      under_way.push_back(number);
    }
    // Into t, and as many texts into u.
    void Copy(std::span<const std::int64_t> rows, const std::string& text = "Text\t\\N") {
      // Those before are needed until they are told.
      pipeline_.Flush();
      tables_ = {{"t", {}}, {"u (b)", {}}};
      for (const std::int64_t number : rows) {
        tables_[0].rows.AddInteger(number);
        tables_[0].rows.EndRow();
        tables_[1].rows.AddText(text);
        tables_[1].rows.EndRow();
        under_way.push_back(number);
      }
      pipeline_.Copy(tables_, *this);
    }
    void PipelineSucceeded() override {
      ++stood;
      under_way.clear();
    }
    void RetryPipeline() override {
      ++again;
      for (const std::int64_t number : std::exchange(under_way, {})) {
        again_->BindInteger(0, number);
        Trap([&] { again_->Execute(); },
             [&](const RuntimeError& error) { errors.push_back(error.Description()); });
      }
    }

    std::vector<std::int64_t> under_way;
    std::vector<std::string> errors;
    int stood = 0;
    int again = 0;

   private:
    Pipeline& pipeline_;
    Statement& insert_;
    std::unique_ptr<Statement> again_;
    std::vector<Pipeline::CopyTo> tables_;
  };

  std::unique_ptr<Statement> insert;
};

TEST_F(PipelineOnPostgres, StandsWithTheCommit) {
  Numbers numbers(*connection, *insert);
  EXPECT_ERROR_TEXT(numbers.Send(1), ErrorNumber::kDatabase, HasSubstr("Keine Transaktion"));
  connection->Begin();
  for (int i = 1; i <= 1000; ++i) numbers.Send(i);
  EXPECT_EQ(numbers.stood, 0);
  connection->Commit();
  EXPECT_EQ(numbers.stood, 1);
  EXPECT_EQ(numbers.again, 0);
  EXPECT_EQ(Text("SELECT count(*) FROM t"), "1000");
}

TEST_F(PipelineOnPostgres, WhatIsOnItsWayWhenTheConnectionClosesIsToldBeforeTheAttachmentsAreGone) {
  static bool is_there;
  class Kept final : public Attachment {
   public:
    explicit Kept(Connection&) { is_there = true; }
    ~Kept() override { is_there = false; }
  };
  class Sender final : public PipelineSender {
   public:
    void PipelineSucceeded() override { was_there = is_there; }
    void RetryPipeline() override { was_there = is_there; }
    std::optional<bool> was_there;
  } sender;
  for (const int number : {1, -1}) {
    connection = Connect();
    insert = connection->Prepare("INSERT INTO t VALUES (?)");
    connection->attachments().Of<Kept>(*connection);
    connection->Begin();
    insert->BindInteger(0, number);
    connection->pipeline()->Send(*insert, sender);
    connection->Close();
    EXPECT_EQ(std::exchange(sender.was_there, std::nullopt), true) << number;
  }
  EXPECT_EQ(Connect()->OpenRecordset("SELECT count(*) FROM t")->TextAt(0), "0");
}

TEST_F(PipelineOnPostgres, AnErrorAmongItHitsItsOwnStatementAlone) {
  Numbers numbers(*connection, *insert);
  connection->Begin();
  for (const int number : {1, 2, -3, 4, 2, 5}) numbers.Send(number);
  connection->pipeline()->Flush();
  EXPECT_EQ(numbers.again, 1);
  EXPECT_THAT(numbers.errors, ElementsAre(HasSubstr("check constraint"), HasSubstr("duplicate key")));
  numbers.Send(6);
  connection->Commit();
  EXPECT_EQ(Text("SELECT string_agg(a::text, ' ' ORDER BY a) FROM t"), "1 2 4 5 6");
}

TEST_F(PipelineOnPostgres, AQuerySeesWhatWasSentBeforeIt) {
  Numbers numbers(*connection, *insert);
  connection->Begin();
  numbers.Send(1);
  EXPECT_EQ(Text("SELECT count(*) FROM t"), "1");
  numbers.Send(2);
  EXPECT_EQ(Text("SELECT count(*) FROM t"), "2");
  EXPECT_EQ(numbers.stood, 0) << "a query ends nothing";
  numbers.Send(-3);
  numbers.Send(4);
  EXPECT_EQ(Text("SELECT count(*) FROM t"), "3");
  EXPECT_THAT(numbers.errors, ElementsAre(HasSubstr("check constraint")));
  connection->Commit();
  EXPECT_EQ(Text("SELECT count(*) FROM t"), "3");
}

TEST_F(PipelineOnPostgres, AQueryThatFailsCostsNothingOfIt) {
  Numbers numbers(*connection, *insert);
  connection->Begin();
  numbers.Send(1);
  EXPECT_ERROR_TEXT(Text("SELECT fehlt FROM t"), ErrorNumber::kDatabase, HasSubstr("fehlt"));
  EXPECT_ERROR_TEXT(Text("SELECT * FROM t WHERE ()"), ErrorNumber::kDatabase, HasSubstr("syntax"));
  numbers.Send(2);
  // One that fails behind its first row.
  const auto walk = [&] {
    for (const RecordsetPtr rows = connection->OpenRecordset("SELECT 1 / (a - 2) FROM t ORDER BY a");
         !rows->IsEof();)
      rows->MoveNext();
  };
  EXPECT_ERROR_TEXT(walk(), ErrorNumber::kDatabase, HasSubstr("division by zero"));
  EXPECT_THAT(numbers.errors, IsEmpty());
  connection->Commit();
  EXPECT_EQ(Text("SELECT count(*) FROM t"), "2");
}

// As when the thread that ends a write group commits while a table is being read.
TEST_F(PipelineOnPostgres, ItsEndLeavesAReaderItsRows) {
  Numbers numbers(*connection, *insert);
  const auto read_on = [](const RecordsetPtr& rows) {
    std::string read;
    for (; !rows->IsEof(); rows->MoveNext()) read.append(rows->TextAt(0));
    return read;
  };
  connection->Begin();
  numbers.Send(1);
  const RecordsetPtr flushed = connection->OpenRecordset("SELECT generate_series(1, 5)");
  connection->pipeline()->Flush();
  EXPECT_EQ(Text("SELECT 'next'"), "next");
  EXPECT_EQ(read_on(flushed), "12345");
  numbers.Send(2);
  const RecordsetPtr committed = connection->OpenRecordset("SELECT generate_series(1, 5)");
  connection->Commit();
  EXPECT_EQ(numbers.stood, 2);
  EXPECT_EQ(Text("SELECT 'next'"), "next");
  EXPECT_EQ(read_on(committed), "12345");
}

TEST_F(PipelineOnPostgres, ItsEndTellsAReaderWhoseRowsFailAndStoresAgain) {
  Numbers numbers(*connection, *insert);
  connection->Begin();
  numbers.Send(1);
  const RecordsetPtr rows = connection->OpenRecordset("SELECT 1 / (2 - a) FROM generate_series(1, 2) AS a");
  connection->Commit();
  EXPECT_EQ(numbers.again, 1);
  EXPECT_EQ(Text("SELECT count(*) FROM t"), "1");
  EXPECT_ERROR_TEXT(rows->MoveNext(), ErrorNumber::kDatabase, HasSubstr("division by zero"));
}

TEST_F(PipelineOnPostgres, EveryOtherCallEndsItFirst) {
  Numbers numbers(*connection, *insert);
  Numbers others(*connection, *insert);
  connection->Begin();
  numbers.Send(1);
  others.Send(2);
  EXPECT_EQ(numbers.stood, 1);
  EXPECT_EQ(others.stood, 0);
  connection->Execute("UPDATE t SET a = a + 10");
  EXPECT_EQ(others.stood, 1);
  connection->Execute("SAVEPOINT satz");
  numbers.Send(3);
  connection->Execute("ROLLBACK TO SAVEPOINT satz");
  EXPECT_EQ(numbers.stood, 2);
  connection->Commit();
  EXPECT_EQ(Text("SELECT string_agg(a::text, ' ' ORDER BY a) FROM t"), "11 12");
}

TEST_F(PipelineOnPostgres, ARecordSetIsReadOnAmongIt) {
  Numbers numbers(*connection, *insert);
  connection->Begin();
  const RecordsetPtr rows = connection->OpenRecordset("SELECT i FROM generate_series(1, 3000) AS i");
  for (; !rows->IsEof(); rows->MoveNext()) numbers.Send(rows->ValueAt(0).ToInteger());
  connection->Commit();
  EXPECT_EQ(Text("SELECT count(*) FROM t"), "3000");
}

TEST_F(PipelineOnPostgres, AServerThatGoesAwayFailsAllOfIt) {
  Numbers numbers(*connection, *insert);
  connection->Begin();
  numbers.Send(1);
  numbers.Send(2);
  EndAllOtherSessions();
  EXPECT_ERROR(connection->Commit(), ErrorNumber::kDatabase);
  EXPECT_EQ(numbers.stood, 0);
  EXPECT_EQ(numbers.errors.size(), 2U);
  EXPECT_FALSE(connection->InTransaction());
  EXPECT_ERROR(numbers.Send(3), ErrorNumber::kDatabase);
  connection = Connect();
  EXPECT_EQ(Text("SELECT count(*) FROM t"), "0");
}

TEST_F(PipelineOnPostgres, NothingRunsOutsideOfATransactionWhoseLossOnlyItsFlushHasFoundOut) {
  for (int sent = 1; sent <= 16; ++sent) {
    const ConnectionPtr other = Connect();
    const std::unique_ptr<Statement> other_insert = other->Prepare("INSERT INTO t VALUES (?)");
    Numbers numbers(*other, *other_insert);
    other->Begin();
    const std::string backend(other->OpenRecordset("SELECT pg_backend_pid()")->TextAt(0));
    Text("SELECT pg_terminate_backend(" + backend + ", 10000)");
    for (int i = 1; i <= sent; ++i) Trap([&] { numbers.Send(i); }, [](const RuntimeError&) {});
    EXPECT_ERROR(other->OpenRecordset("SELECT 17"), ErrorNumber::kDatabase) << sent;
    EXPECT_ERROR(other->Execute("INSERT INTO t VALUES (4711)"), ErrorNumber::kDatabase) << sent;
    EXPECT_FALSE(other->InTransaction());
  }
  EXPECT_EQ(Text("SELECT count(*) FROM t"), "0");
}

TEST_F(PipelineOnPostgres, RowsAreCopiedTableByTableAndSeenByAQuery) {
  connection->Execute("CREATE TABLE u (b text)");
  Numbers numbers(*connection, *insert);
  EXPECT_ERROR_TEXT(numbers.Copy(std::array<std::int64_t, 1>{1}), ErrorNumber::kDatabase,
                    HasSubstr("Keine Transaktion"));
  numbers.under_way.clear();
  connection->Begin();
  numbers.Send(1);
  numbers.Copy(std::array<std::int64_t, 2>{2, 3});
  EXPECT_EQ(numbers.stood, 1);
  EXPECT_EQ(Text("SELECT count(*) || ' ' || min(b) || ' ' || (SELECT sum(a) FROM t) FROM u"), "2 Text\t\\N 6");
  EXPECT_EQ(numbers.stood, 2);
  numbers.Copy(std::array<std::int64_t, 1>{4});
  numbers.Send(5);
  connection->Commit();
  EXPECT_EQ(numbers.stood, 4);
  EXPECT_EQ(numbers.again, 0);
  EXPECT_EQ(Text("SELECT sum(a) FROM t"), "15");
  connection->Begin();
  numbers.Copy(std::array<std::int64_t, 1>{6});
  while (numbers.stood < 5) connection->pipeline()->GoOn();
  connection->Rollback();
  EXPECT_EQ(Text("SELECT sum(a) FROM t"), "15");
}

TEST_F(PipelineOnPostgres, MoreRowsThanTheWireHoldsAreCopiedWithoutWaiting) {
  connection->Execute("CREATE TABLE u (b text)");
  Numbers numbers(*connection, *insert);
  std::vector<std::int64_t> rows(5000);
  std::iota(rows.begin(), rows.end(), 1);
  connection->Begin();
  numbers.Copy(rows, std::string(4000, 'x'));
  EXPECT_EQ(numbers.stood, 0);
  connection->Commit();
  EXPECT_EQ(numbers.stood, 1);
  EXPECT_EQ(Text("SELECT sum(length(b)) FROM u"), "20000000");
}

TEST_F(PipelineOnPostgres, ACopyThatFailsIsStoredAgainAlone) {
  connection->Execute("CREATE TABLE u (b text CHECK (b <> 'nein'))");
  Numbers numbers(*connection, *insert);
  connection->Begin();
  numbers.Copy(std::array<std::int64_t, 1>{1});
  numbers.Copy(std::array<std::int64_t, 3>{2, -1, 3});
  numbers.Copy(std::array<std::int64_t, 1>{4});
  EXPECT_EQ(numbers.again, 1);
  EXPECT_THAT(numbers.errors, ElementsAre(HasSubstr("t_a_check")));
  // Of the second table.
  numbers.Copy(std::array<std::int64_t, 1>{5}, "nein");
  connection->Commit();
  EXPECT_EQ(numbers.again, 2);
  EXPECT_EQ(numbers.errors.size(), 1U);
  EXPECT_EQ(Text("SELECT string_agg(a::text, ' ' ORDER BY a) FROM t"), "1 2 3 4 5");
  EXPECT_EQ(Text("SELECT count(*) FROM u"), "2");
}

TEST_F(PipelineOnPostgres, AServerThatGoesAwayFailsACopy) {
  connection->Execute("CREATE TABLE u (b text)");
  for (const bool goes_on : {false, true}) {
    const ConnectionPtr other = Connect();
    const std::unique_ptr<Statement> other_insert = other->Prepare("INSERT INTO t VALUES (?)");
    Numbers numbers(*other, *other_insert);
    other->Begin();
    const std::string backend(other->OpenRecordset("SELECT pg_backend_pid()")->TextAt(0));
    numbers.Copy(std::array<std::int64_t, 2>{1, 2});
    Text("SELECT pg_terminate_backend(" + backend + ", 10000)");
    for (int i = 0; goes_on && i < 10 && numbers.again == 0; ++i) other->pipeline()->GoOn();
    EXPECT_ERROR(other->Commit(), ErrorNumber::kDatabase);
    EXPECT_EQ(numbers.stood, 0);
    EXPECT_EQ(numbers.errors.size(), 2U);
    EXPECT_FALSE(other->InTransaction());
    other->Begin();
    numbers.Copy(std::array<std::int64_t, 1>{goes_on ? 3 : 4});
    other->Commit();
    EXPECT_EQ(numbers.stood, 1);
  }
  EXPECT_EQ(Text("SELECT sum(a) FROM t"), "7");
}

TEST_F(PipelineOnPostgres, AKeptStatementIsPlannedAnewAsItsTableGrows) {
  const auto query = connection->Prepare("SELECT a FROM t WHERE a = ?");
  const auto uses_until_planned_anew = [&] {
    const auto name = [&] {
      return Text("SELECT max(name) FROM pg_prepared_statements WHERE statement LIKE 'SELECT a FROM t WHERE%'");
    };
    const std::string before = name();
    int uses = 0;
    for (; name() == before && uses < 1000; ++uses) {
      query->BindInteger(0, 1);
      query->Open();
    }
    return uses;
  };
  EXPECT_EQ(uses_until_planned_anew(), 16);
  EXPECT_EQ(uses_until_planned_anew(), 16);
  EXPECT_EQ(uses_until_planned_anew(), 32);
}

}  // namespace
}  // namespace kestrel
