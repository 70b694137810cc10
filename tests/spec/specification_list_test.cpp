// Which specifications step 1 lists.
#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "spec/specification.h"
#include "support/session_fixture.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::SessionFixture;

class SpecificationList : public SessionFixture {
 protected:
  std::vector<std::string> Descriptions(SpecificationKind kind = SpecificationKind::kSpecification) {
    std::vector<std::string> descriptions;
    for (const SpecificationEntry& entry : ListSpecifications(session, kind))
      descriptions.push_back(entry.description);
    return descriptions;
  }
};

TEST_F(SpecificationList, TellsTheTwoKindsByTheirExtensionInAnyCase) {
  WriteSpecification("a.IMP", "[Common]\nDescription=A\n");
  WriteSpecification("b.imp", "[Common]\nDescription=B\n");
  WriteSpecification("c.Imt", "[Common]\nDescription=C\n");
  WriteSpecification("d.txt", "[Common]\nDescription=D\n");
  WriteSpecification("~copy.tmp", "[Common]\nDescription=E\n");
  EXPECT_THAT(Descriptions(), ElementsAre("A", "B"));
  EXPECT_THAT(Descriptions(SpecificationKind::kTemplate), ElementsAre("C"));
}

TEST_F(SpecificationList, AMissingApplicationIsListedOnlyInMode2) {
  WriteSpecification("a.imp", "[Common]\nDescription=A\n");
  EXPECT_THAT(Descriptions(), ElementsAre("A"));
  for (const std::int16_t mode : {std::int16_t{0}, std::int16_t{1}, std::int16_t{3}}) {
    session.AppMode = mode;
    EXPECT_THAT(Descriptions(), IsEmpty());
  }
}

TEST_F(SpecificationList, ApplicationIsComparedAsANumber) {
  WriteSpecification("a.imp", "[Common]\nDescription=A\nApplication= 03 \n");
  WriteSpecification("b.imp", "[Common]\nDescription=B\nApplication=3,0\n");
  WriteSpecification("c.imp", "[Common]\nDescription=C\nApplication=3,5\n");
  session.AppMode = 3;
  EXPECT_THAT(Descriptions(), ElementsAre("A", "B"));
}

TEST_F(SpecificationList, AnApplicationThatIsNoNumberIsSkipped) {
  WriteSpecification("a.imp", "[Common]\nDescription=A\nApplication=zwei\n");
  WriteSpecification("b.imp", "[Common]\nDescription=B\nApplication=\n");
  WriteSpecification("c.imp", "[Common]\nDescription=C\nApplication=2\n");
  EXPECT_THAT(Descriptions(), ElementsAre("C"));
  session.AppMode = 0;
  EXPECT_THAT(Descriptions(), IsEmpty());
}

TEST_F(SpecificationList, AnEmptyDescriptionIsNeverListed) {
  WriteSpecification("a.imp", "[Common]\nApplication=2\n");
  WriteSpecification("b.imp", "[Common]\nDescription=\n");
  WriteSpecification("c.imp", "");
  EXPECT_THAT(Descriptions(), IsEmpty());
}

TEST_F(SpecificationList, TwoFilesOfOneDescriptionBothAppearWithTheirOwnPaths) {
  const std::string first = WriteSpecification("1.imp", "[Common]\nDescription=Kunden\n");
  const std::string second = WriteSpecification("2.imp", "[Common]\nDescription=Kunden\n");
  const auto entries = ListSpecifications(session, SpecificationKind::kSpecification);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].path, first);
  EXPECT_EQ(entries[1].path, second);
}

TEST_F(SpecificationList, AMissingFolderGivesAnEmptyList) {
  session.SpecFolder = folder.File("missing");
  EXPECT_THAT(Descriptions(), IsEmpty());
}

TEST_F(SpecificationList, AFileThatCannotBeReadIsLeftOutAndTold) {
  WriteSpecification("a.imp", "[Common]\nDescription=A\n");
  std::filesystem::resize_file(WriteSpecification("b.imp", "[Common]\nDescription=B\n"), (64 << 20) + 1);
  std::vector<std::string> unreadable;
  EXPECT_EQ(FillSpecificationList(session, SpecificationKind::kSpecification, nullptr, &unreadable).size(), 1u);
  EXPECT_THAT(unreadable, ElementsAre(AllOf(HasSubstr("b.imp"), HasSubstr("64 MiB"))));
}

TEST_F(SpecificationList, FillingCollectsTheNamesOfSpecificationsWhateverIsListed) {
  WriteSpecification("a.imp", "[Common]\nDescription=A\n");
  WriteSpecification("b.imp", "[Common]\nDescription=B\n");
  WriteSpecification("other.imp", "[Common]\nDescription=Other\nApplication=7\n");
  WriteSpecification("v.imt", "[Common]\nDescription=Vorlage\n");
  const auto templates = FillSpecificationList(session, SpecificationKind::kTemplate);
  ASSERT_EQ(templates.size(), 1u);
  EXPECT_EQ(templates[0].description, "Vorlage");
  EXPECT_EQ(session.ExistingSchemaNames, "A;B;");
}

TEST_F(SpecificationList, EveryRefillAppendsTheNamesOnceMore) {
  WriteSpecification("a.imp", "[Common]\nDescription=A\n");
  FillSpecificationList(session, SpecificationKind::kSpecification);
  FillSpecificationList(session, SpecificationKind::kTemplate);
  EXPECT_EQ(session.ExistingSchemaNames, "A;A;");
}

TEST_F(SpecificationList, TheFirstHundredEntriesAreListedAndTheRestIsTold) {
  for (int i = 0; i < 100; ++i) {
    char name[16];
    std::snprintf(name, sizeof name, "%03d.imp", i);
    WriteSpecification(name, "[Common]\nDescription=Nr " + std::to_string(i) + "\n");
  }
  bool cut = true;
  EXPECT_EQ(FillSpecificationList(session, SpecificationKind::kSpecification, &cut).size(), 100u);
  EXPECT_FALSE(cut);
  WriteSpecification("100.imp", "[Common]\nDescription=Nr 100\n");
  const auto entries = FillSpecificationList(session, SpecificationKind::kSpecification, &cut);
  ASSERT_EQ(entries.size(), 100u);
  EXPECT_EQ(entries.back().description, "Nr 99");
  EXPECT_TRUE(cut);
  EXPECT_TRUE(SchemaNameExists(session, "Nr 100"))
      << "a name that has no room in the list is taken all the same";
}

}  // namespace
}  // namespace kestrel
