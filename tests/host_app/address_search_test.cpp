// Searching an address list: in parts, with the same answer as at once, and beside the window.
#include "app/address_search.h"

#include <QLineEdit>

#include "app/address_reader.h"
#include "host_app/host_window_fixture.h"
#include "kestrel/open_connection.h"

namespace kestrel::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class AddressSearchTest : public HostWindowFixture {
 protected:
  // More than one part reads, with gaps between the numbers, and some rows without a place.
  void AddMany(int count) {
    connection->Begin();
    const auto insert =
        connection->Prepare("INSERT INTO Kunden (KundenNummer, Bez1, Ort, Umsatz) VALUES (?, ?, ?, ?)");
    for (int i = 1; i <= count; ++i) {
      const std::string name = "Name " + std::to_string((i * 7919) % count);
      insert->BindInteger(0, i * 3);
      insert->BindText(1, name);
      if (i % 10 == 0) {
        insert->BindNull(2);
      } else {
        insert->BindText(2, i % 2 == 0 ? "KÖLN" : "Bonn");
      }
      insert->BindDouble(3, i % 100);
      insert->Execute();
    }
    connection->Commit();
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
    host::AddressSearch search(*connection, question);
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
  host::AddressSearch search(*connection, Question("bonn", "Name", false, 10));
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

class AddressReaderTest : public AddressSearchTest {
 protected:
  AddressReaderTest() {
    another = [this] {
      std::thread::id me = std::this_thread::get_id();
      EXPECT_NE(me, window_thread);
      if (!refusal.empty()) throw RuntimeError(ErrorNumber::kDatabase, refusal);
      return OpenConnection(file);
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
  std::string refusal;
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

TEST_F(AddressReaderTest, TellsAnErrorAndTriesAnewWithTheNextQuestion) {
  AddMany(10);
  refusal = "Der Server ist weg.";
  const auto reader = NewReader();
  reader->Ask(Question("", "Name", false, 3));
  ASSERT_TRUE(Eventually([&] { return !told.empty(); }));
  EXPECT_THAT(told, ElementsAre("Der Server ist weg."));
  EXPECT_FALSE(reader->IsBusy());
  refusal.clear();
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
