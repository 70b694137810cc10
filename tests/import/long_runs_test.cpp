// What holds for the first records of a run holds for those behind thousands.
#include <cstdio>
#include <fstream>

#include "import/run_fixture.h"
#include "platform/profile/profile.h"

namespace kestrel::testing {
namespace {

class LongRunTest : public ImportRunFixture, public ::testing::WithParamInterface<bool> {
 protected:
  // So many that a specification at rest is not asked any more before the last of them.
  static constexpr int kRecords = ProfileStore::Watched::kLooksBeforeNotice + 2000;

  void ChangeSpecification(const std::string& content) {
    const bool replaces = GetParam();
    const std::string path = replaces ? session.SpecFile + ".new" : session.SpecFile;
    std::ofstream(path) << content;
    if (replaces) {
      ASSERT_EQ(std::rename(path.c_str(), session.SpecFile.c_str()), 0);
    }
  }
};

TEST_P(LongRunTest, AChangeOfTheSpecificationByTheImportClassIsSeenWithTheNextRecord) {
  std::string content = "Wert\n";
  for (int record = 0; record < kRecords; ++record) content += "x\n";
  UseSource(content);
  Assign({.field = "Bez1", .destination = "Wert", .translate = true});
  int number = 0;
  std::vector<int> translated;
  import_class->Method("ImportRecord", [&](std::span<Argument> arguments) {
    ++number;
    if (ToRecordset(arguments[0].Get())->TextAt(0) == "y") translated.push_back(number);
    const bool is_early = number == 10 || number == 12;
    const bool is_late = number == kRecords - 10 || number == kRecords - 8;
    if (!is_early && !is_late) return Value();
    const bool begins = number == 10 || number == kRecords - 10;
    ChangeSpecification(begins ? "[Translation_Bez1]\nx=y\n" : "[Translation_Bez1]\nx=x\n");
    return Value();
  });
  EXPECT_EQ(Run().records, kRecords);
  EXPECT_THAT(translated, ::testing::ElementsAre(11, 12, kRecords - 9, kRecords - 8));
}

INSTANTIATE_TEST_SUITE_P(WrittenAndReplaced, LongRunTest, ::testing::Bool());

}  // namespace
}  // namespace kestrel::testing
