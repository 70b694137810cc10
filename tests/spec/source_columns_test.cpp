// The columns that a specification remembers: what is stored, and what comes back.
#include "spec/source_columns.h"

#include <gmock/gmock.h>

#include "mapping/field_assignment.h"
#include "platform/base/file.h"
#include "spec/save_schema.h"
#include "spec/specification.h"
#include "support/session_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

std::vector<std::string> Remembered(std::string bytes, const std::vector<std::string>& names) {
  std::vector<ProfileEdit> edits;
  AddSourceColumns(names, edits);
  return RememberedSourceColumns(ProfileImage(EditedProfile(bytes, edits)));
}

TEST(SourceColumns, ComeBackAsTheyWere) {
  const std::vector<std::string> names = {"Name",      " vorn",   "hinten ", "\"in\"",
                                          "'einzeln'", "a=b;[c]", "",        "Straße"};
  std::vector<std::string> with_end = names;
  with_end.emplace_back();
  EXPECT_EQ(Remembered("", with_end), names);
}

TEST(SourceColumns, FewerThanBeforeLeaveNoneOfThemBehind) {
  std::vector<ProfileEdit> edits;
  AddSourceColumns({"A", "B", "C", ""}, edits);
  EXPECT_THAT(Remembered(EditedProfile("", edits), {"X", ""}), ElementsAre("X"));
}

TEST(SourceColumns, WithoutAColumnWhatIsRememberedStays) {
  std::vector<ProfileEdit> edits;
  AddSourceColumns({"A", ""}, edits);
  EXPECT_THAT(Remembered(EditedProfile("", edits), {""}), ElementsAre("A"));
  EXPECT_THAT(Remembered(EditedProfile("", edits), {}), ElementsAre("A"));
}

TEST(SourceColumns, ASectionThatIsMissingOrDamagedRemembersNothing) {
  for (const char* bytes : {"", "[SourceColumns]\r\n", "[SourceColumns]\r\nCount=2\r\n1=\"A\"\r\n",
                            "[SourceColumns]\r\nCount=viele\r\n1=\"A\"\r\n", "[SourceColumns]\r\nCount=-1\r\n",
                            "[SourceColumns]\r\nCount=9000000000000000000\r\n"}) {
    EXPECT_THAT(RememberedSourceColumns(ProfileImage(bytes)), IsEmpty()) << bytes;
  }
}

TEST(SourceColumns, ANameIsItselfAlsoWhereTheFileCannotHoldIt) {
  for (const char* name : {"Name", "Größe", "a\tb", "Имя"}) {
    const std::vector<std::string> remembered = Remembered("", {name, ""});
    ASSERT_THAT(remembered, ::testing::SizeIs(1));
    EXPECT_TRUE(IsRememberedAs(name, remembered[0])) << name;
  }
  EXPECT_FALSE(IsRememberedAs("Name", "name")) << "case counts";
  EXPECT_FALSE(IsRememberedAs("Strasse", "Straße"));
}

class RememberingSaveTest : public testing::SessionFixture {
 protected:
  // As steps 1 to 3 leave the session.
  void Choose(const std::string& content) {
    session.SpecFile = WriteSpecification("Kunden.IMP", content);
    ReadCommonSection(session);
    CreateWorkingCopy(session, lock);
    session.SourceFieldNames = {"Name", "Ort", ""};
    session.AssignmentList = CreateAssignmentList();
  }

  WorkingCopyLock lock;
};

constexpr const char* kSaved = "; mein\n[Common]\nProvider=x\n[CfgSettings]\nDublettenPruefen=1\n";

TEST_F(RememberingSaveTest, ASaveRemembersTheColumnsBehindWhatStands) {
  Choose(kSaved);
  SaveSchema(session, lock, true);
  EXPECT_EQ(testing::ReadBytes(session.ChosenSpecFile),
            "; mein\r\n[Common]\r\nProvider=x\r\n[CfgSettings]\r\nDublettenPruefen=1\r\n"
            "[SourceColumns]\r\nCount=2\r\n1=\"Name\"\r\n2=\"Ort\"\r\n");
}

TEST_F(RememberingSaveTest, TheSettingsForARunAloneRememberNothing) {
  Choose(kSaved);
  SaveSchema(session, lock, false);
  EXPECT_THAT(testing::ReadBytes(session.SpecFile), Not(HasSubstr("SourceColumns")));
}

TEST_F(RememberingSaveTest, WithoutAssignmentsTheColumnsMayBeAnothersAndAreNotRemembered) {
  Choose(kSaved);
  session.AssignmentList = nullptr;
  SaveSchema(session, lock, true);
  EXPECT_THAT(testing::ReadBytes(session.ChosenSpecFile), Not(HasSubstr("SourceColumns")));
}

}  // namespace
}  // namespace kestrel
