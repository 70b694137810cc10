// Searching an address list: in parts, with the same answer as at once, and beside the window.
#include "app/address_search.h"

#include <QLineEdit>
#include <algorithm>

#include "app/address_reader.h"
#include "host_app/host_window_fixture.h"
#include "kestrel/open_connection.h"
#include "support/gate.h"
#include "support/noting_connection.h"

namespace kestrel::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class AddressSearchTest : public HostWindowFixture {
 protected:
  // More than one part reads, with gaps between the numbers, and some rows without a place.
  void AddMany(int count) {
    constexpr int kRowsAtOnce = 500;
    std::string rows;
    for (int i = 1; i <= count; ++i) {
      const std::string place = i % 10 == 0 ? "NULL" : i % 2 == 0 ? "'KÖLN'" : "'Bonn'";
      rows += (rows.empty() ? "(" : ", (") + std::to_string(i * 3) + ", 'Name " +
              std::to_string((i * 7919) % count) + "', " + place + ", " + std::to_string(i % 100) + ")";
      if (i % kRowsAtOnce != 0 && i != count) continue;
      connection->Execute("INSERT INTO Kunden (KundenNummer, Bez1, Ort, Umsatz) VALUES " + rows);
      rows.clear();
    }
  }

  host::AddressQuestion Question(const char* text, const char* order, bool descending, std::size_t limit) {
    host::AddressQuestion question{
        .table = "Kunden", .columns = {}, .text = text, .descending = descending, .limit = limit};
    for (const std::string& name : connection->ColumnNames("Kunden")) {
      if (host::DescribeColumn(name).heading == host::DescribeColumn(order).heading) {
        question.order_column = question.columns.size();
      }
      question.columns.push_back(host::DescribeColumn(name));
    }
    return question;
  }

  static std::vector<std::string> Numbers(const host::AddressAnswer& answer) {
    std::vector<std::string> numbers;
    for (; !answer.rows->IsEof(); answer.rows->MoveNext()) numbers.emplace_back(answer.rows->TextAt(0));
    return numbers;
  }

  host::AddressAnswer Ask(const host::AddressQuestion& question, int* parts = nullptr) {
    host::AddressMemory memory;
    host::AddressSearch search(*connection, memory, question);
    int read = 1;
    while (search.Next()) ++read;
    if (parts != nullptr) *parts = read;
    return search.Answer();
  }
};

TEST_F(AddressSearchTest, InPartsFindsWhatOneQueryFinds) {
  AddMany(12000);
  int parts = 0;
  const host::AddressAnswer answer = Ask(Question("köln", "Name", false, 50), &parts);
  EXPECT_GE(parts, 3);
  EXPECT_TRUE(answer.is_complete);
  EXPECT_EQ(std::to_string(answer.found), Rows("SELECT count(*) FROM Kunden WHERE Ort = 'KÖLN'").front());
  EXPECT_EQ(Numbers(answer),
            Rows("SELECT KundenNummer FROM Kunden WHERE Ort = 'KÖLN' ORDER BY Bez1, KundenNummer LIMIT 50"));
}

TEST_F(AddressSearchTest, OrdersNumbersByTheirValueAndEqualOnesByTheNumberOfTheAddress) {
  AddMany(6000);
  EXPECT_EQ(Numbers(Ask(Question("", "Umsatz", true, 70))),
            Rows("SELECT KundenNummer FROM Kunden ORDER BY Umsatz DESC, KundenNummer LIMIT 70"));
  EXPECT_EQ(Numbers(Ask(Question("", "KundenNummer", true, 5))),
            Rows("SELECT KundenNummer FROM Kunden ORDER BY KundenNummer DESC LIMIT 5"));
}

TEST_F(AddressSearchTest, AnAnswerInBetweenTellsHowFarItIs) {
  AddMany(12000);
  host::AddressMemory memory;
  host::AddressSearch search(*connection, memory, Question("bonn", "Name", false, 10));
  // The first step counts the rows.
  ASSERT_TRUE(search.Next());
  ASSERT_TRUE(search.Next());
  const host::AddressAnswer first = search.Answer();
  EXPECT_FALSE(first.is_complete);
  EXPECT_GT(first.percent, 0);
  EXPECT_LT(first.percent, 100);
  EXPECT_EQ(Numbers(first).size(), 10u);
  EXPECT_LT(first.found, 5000);
}

TEST_F(AddressSearchTest, TwoColumnsBesideEachOtherAreNoText) {
  AddCustomer("1", "Nord", "West");
  EXPECT_EQ(Ask(Question("nordwest", "Name", false, 10)).found, 0);
  EXPECT_EQ(Ask(Question("west", "Name", false, 10)).found, 1);
}

TEST_F(AddressSearchTest, WhatMeansSomethingToADatabaseIsSearchedAsItStands) {
  AddCustomer("1", "100%_!", "Ärgerlich");
  AddCustomer("2", "1000 a b", "Ort");
  EXPECT_EQ(Ask(Question("0%_!", "Name", false, 10)).found, 1);
  EXPECT_EQ(Ask(Question("äRGER", "Name", false, 10)).found, 1);
}

TEST_F(AddressSearchTest, ADateIsFoundAsTheListShowsItAndAsItIsStored) {
  AddCustomer("1", "Nord", "Kiel", "20240229000000");
  for (const char* text : {"29.02.2024", "9.02.20", "2024-02-29"}) {
    EXPECT_EQ(Ask(Question(text, "Name", false, 10)).found, 1) << text;
  }
  EXPECT_EQ(Ask(Question("29.02.2025", "Name", false, 10)).found, 0);
}

// --- What is kept in memory ---------------------------------------------------------------------

class AddressMemoryTest : public AddressSearchTest {
 protected:
  // The numbers found; `older` gets those that an older state of the list has answered with at once.
  std::vector<std::string> Found(const char* text, std::vector<std::string>* older = nullptr) {
    notes.statements.clear();
    host::AddressSearch search(notes, memory, Question(text, "Name", false, 100));
    while (search.Next()) {
      if (search.IsFromOlderState() && older != nullptr) *older = Numbers(search.Answer());
    }
    host::AddressAnswer answer = search.Answer();
    EXPECT_TRUE(answer.is_complete);
    std::vector<std::string> numbers = Numbers(answer);
    EXPECT_EQ(answer.found, static_cast<std::int64_t>(numbers.size()));
    return numbers;
  }
  // Statements that read the list, behind a number or from its beginning; those of the rows that are shown do not count.
  int Readings() const {
    return static_cast<int>(std::count_if(
        notes.statements.begin(), notes.statements.end(),
        [](const std::string& statement) { return statement.find(" ORDER BY ") != std::string::npos; }));
  }
  // As another program does.
  void Elsewhere(const std::string& statement) {
    const ConnectionPtr other = OpenConnection(file);
    other->Execute(statement);
    other->Close();
  }

  testing::NotingConnection notes{connection};
  host::AddressMemory memory;
};

TEST_F(AddressMemoryTest, TheListIsReadOnceForManyQuestions) {
  AddMany(11000);
  EXPECT_EQ(Found("name 117").size(), 11u);
  EXPECT_EQ(Readings(), 3);
  EXPECT_EQ(Found("name 1170"), Rows("SELECT KundenNummer FROM Kunden WHERE Bez1 LIKE 'Name 1170%'"
                                     " ORDER BY Bez1, KundenNummer"));
  EXPECT_EQ(Readings(), 0);
}

TEST_F(AddressMemoryTest, WhatAnotherProgramWritesIsFoundAndWhatItTakesAwayIsNot) {
  AddMany(11000);
  ASSERT_EQ(Found("name 1170"), (std::vector<std::string>{Rows("SELECT KundenNummer FROM Kunden WHERE Bez1 ="
                                                               " 'Name 1170'")}));
  Elsewhere("UPDATE Kunden SET Bez1 = 'Jetzt Name 1170' WHERE KundenNummer = 3");
  Elsewhere("UPDATE Kunden SET Bez1 = 'Nicht mehr' WHERE Bez1 = 'Name 1170'");
  Elsewhere("INSERT INTO Kunden (KundenNummer, Bez1) VALUES (4, 'Neuer Name 1170')");
  EXPECT_THAT(Found("name 1170"), ElementsAre("3", "4"));
  EXPECT_EQ(Readings(), 3);
  Elsewhere("DELETE FROM Kunden WHERE KundenNummer = 3");
  EXPECT_THAT(Found("name 1170"), ElementsAre("4"));
}

TEST_F(AddressMemoryTest, BehindAChangeWhatIsKnownAnswersAtOnceLessWhatNoLongerFits) {
  AddMany(11000);
  ASSERT_EQ(Found("name 117").size(), 11u);
  Elsewhere("UPDATE Kunden SET Bez1 = 'Fort' WHERE Bez1 = 'Name 1171'");
  Elsewhere("INSERT INTO Kunden (KundenNummer, Bez1) VALUES (4, 'Name 1179b')");
  std::vector<std::string> older;
  EXPECT_EQ(Found("name 117", &older).size(), 11u);
  EXPECT_EQ(older.size(), 10u);
}

TEST_F(AddressMemoryTest, AQuestionThatWasGivenUpLeavesWhatItHasRead) {
  AddMany(11000);
  {
    host::AddressSearch search(*connection, memory, Question("köln", "Name", false, 10));
    for (int step = 0; step < 3; ++step) ASSERT_TRUE(search.Next());
  }
  EXPECT_EQ(Found("name 1170").size(), 1u);
  EXPECT_EQ(Readings(), 1);
}

class AddressReaderTest : public AddressSearchTest {
 protected:
  AddressReaderTest() {
    another = [refused = refusal, window = window_thread, database = file] {
      std::thread::id me = std::this_thread::get_id();
      EXPECT_NE(me, window);
      if (!refused->empty()) throw RuntimeError(ErrorNumber::kDatabase, *refused);
      return OpenConnection(database);
    };
  }
  std::unique_ptr<host::AddressReader> NewReader() {
    return std::make_unique<host::AddressReader>(
        connection, another, nullptr,
        [this](const host::AddressAnswer& answer) {
          if (answer.is_complete) complete.push_back(Numbers(answer));
        },
        [this](const RuntimeError& error) { told.push_back(error.Description()); });
  }

  const std::thread::id window_thread = std::this_thread::get_id();
  // The reader's thread may outlive the test.
  const std::shared_ptr<std::string> refusal = std::make_shared<std::string>();
  host::AnotherConnection another;
  std::vector<std::vector<std::string>> complete;
  std::vector<std::string> told;
};

TEST_F(AddressReaderTest, AnswersFromAnotherThreadAndOnlyTheLastQuestion) {
  AddMany(6000);
  const auto reader = NewReader();
  for (const char* text : {"name 1", "name 2", "name 17"}) reader->Ask(Question(text, "Name", false, 3));
  ASSERT_TRUE(Eventually([&] { return !complete.empty(); }));
  EXPECT_EQ(complete.size(), 1u);
  EXPECT_EQ(
      complete.front(),
      Rows("SELECT KundenNummer FROM Kunden WHERE Bez1 LIKE 'Name 17%' ORDER BY Bez1, KundenNummer LIMIT 3"));
  EXPECT_FALSE(reader->IsBusy());
}

TEST_F(AddressReaderTest, EndsWithTheWindowInTheMiddleOfAQuestion) {
  AddMany(20000);
  auto reader = NewReader();
  reader->Ask(Question("name", "Name", false, 1000));
  reader.reset();
  EXPECT_TRUE(complete.empty());
}

TEST_F(AddressReaderTest, IsNotWaitedForWhileItsServerKeepsItWaiting) {
  AddMany(10);
  const auto gate = std::make_shared<Gate>();
  std::weak_ptr<Gate> of_thread;
  {
    auto held = std::make_shared<Gate>();
    of_thread = held;
    another = [gate, held = std::move(held), database = file] {
      gate->Pass();
      return OpenConnection(database);
    };
  }
  auto reader = NewReader();
  another = nullptr;
  reader->Ask(Question("", "Name", false, 3));
  gate->AwaitEntered();
  reader.reset();  // for ever, if it waited
  EXPECT_FALSE(of_thread.expired());
  gate->Open();
  EXPECT_TRUE(Eventually([&] { return of_thread.expired(); })) << "the thread ends, and nothing is answered";
  EXPECT_TRUE(complete.empty());
}

TEST_F(AddressReaderTest, TellsAnErrorAndTriesAnewWithTheNextQuestion) {
  AddMany(10);
  *refusal = "Der Server ist weg.";
  const auto reader = NewReader();
  reader->Ask(Question("", "Name", false, 3));
  ASSERT_TRUE(Eventually([&] { return !told.empty(); }));
  EXPECT_THAT(told, ElementsAre("Der Server ist weg."));
  EXPECT_FALSE(reader->IsBusy());
  refusal->clear();
  reader->Ask(Question("", "Name", false, 3));
  EXPECT_TRUE(Eventually([&] { return complete.size() == 1; }));
}

TEST_F(AddressReaderTest, TheWindowFillsItsListsBesideItself) {
  AddCustomer("7", "Café Zürich", "Köln");
  Flush();
  window = std::make_unique<host::HostWindow>(ui, components, connection, "4711", another);
  window->show();
  EXPECT_TRUE(Eventually([&] { return Column("pageKunden", "Nummer") == std::vector<std::string>{"7"}; }));
  Find<QLineEdit>("pageKunden", "search").setText("zür");
  EXPECT_TRUE(Eventually([&] { return Find<QLabel>("pageKunden", "count").text() == "1 Adresse"; }));
  Find<QLineEdit>("pageKunden", "search").setText("bonn");
  EXPECT_TRUE(Eventually([&] { return Find<QLabel>("pageKunden", "count").text() == "0 Adressen"; }));
}

}  // namespace
}  // namespace kestrel::testing
