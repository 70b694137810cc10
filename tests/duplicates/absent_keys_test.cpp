// The look-up where it is known which keys the address index lacks.
#include <gmock/gmock.h>

#include "duplicates/duplicate_fixture.h"
#include "platform/data/absent_values.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

class AbsentKeys : public testing::DuplicateFixture {
 protected:
  AbsentKeys() {
    connection->attachments()
        .Of<AbsentValues>(*connection)
        .Keep("Adressindex", [this](std::span<const SoughtValue> values) {
          questions.emplace_back(values.begin(), values.end());
          return lacks;
        });
    build_key = [this](const std::string& code, const std::string&) { return code + mark; };
  }
  bool Ask(const std::string& reference = "7") {
    return duplicates.CheckDoublett(*Record({{"KundenNummer", reference}, {"PLZ", "50667"}}));
  }

  bool lacks = true;
  std::string mark;
  std::vector<std::vector<std::pair<std::string, std::string>>> questions;
};

}  // namespace

TEST_F(AbsentKeys, SpareTheQuery) {
  EXPECT_FALSE(Ask());
  EXPECT_THAT(connection->statements, IsEmpty());
  EXPECT_THAT(questions, ElementsAre(ElementsAre(Pair("Doubletkey1", "A1"), Pair("Doubletkey2", "A2"),
                                                 Pair("Doubletkey3", "A3"))));
}

TEST_F(AbsentKeys, AreThoseInUse) {
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\nDublettenKey2=1\n");
  EXPECT_FALSE(Ask());
  EXPECT_THAT(questions, ElementsAre(ElementsAre(Pair("Doubletkey2", "A2"))));
}

TEST_F(AbsentKeys, AreLookedForWhereTheyMayBeThere) {
  Index(1, "5", "A1");
  lacks = false;
  EXPECT_TRUE(Ask());
  EXPECT_THAT(connection->statements, SizeIs(1));
}

TEST_F(AbsentKeys, SayNothingOfAQueryThatAKeyOrReferenceMakesAnotherOne) {
  for (const std::string& text : {std::string("x' OR '1' = '1"), std::string("a\0b", 3)}) {
    mark = text;
    connection->statements.clear();
    Ask();
    EXPECT_THAT(connection->statements, SizeIs(1));
    mark.clear();
    Ask(text);
    EXPECT_THAT(connection->statements, SizeIs(2));
  }
  EXPECT_THAT(questions, IsEmpty());
}

TEST_F(AbsentKeys, SayNothingOfAQueryWithoutKeys) {
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\n");
  EXPECT_FALSE(Ask());
  EXPECT_THAT(connection->statements, SizeIs(1));
  EXPECT_THAT(ui.boxes, SizeIs(1));
}

}  // namespace kestrel
