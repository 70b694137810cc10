#include "import/active_import.h"

#include <gmock/gmock.h>

#include "import/run_fixture.h"
#include "support/field_list.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using testing::FieldList;

class ActiveImportTest : public testing::ImportRunFixture {
 protected:
  ActiveImportTest() {
    import_class->Returns("GetFields", FieldList({{"Bez1"}}))
        .Get("ErrorCode", Value(17))
        .Get("ErrorDescription", Value("gesperrt"));
  }

  std::size_t LogsCreated() const { return log->CountOf("CreateProtokoll"); }
};

TEST_F(ActiveImportTest, AnErrorOfGetFieldsStandsInTheLogOfItsRun) {
  UseNames({"A"});
  session.SourceFieldNames = {"Name", ""};
  BuildAssignmentList(session, import.logs());
  Run();
  EXPECT_EQ(LogsCreated(), 1u);
  EXPECT_THAT(LogLines(), ElementsAre("Fehler: 17 gesperrt (GetFields/GetData)",
                                      "Fehler: 17 gesperrt (GetNewRecord/ImportStart)",
                                      "Fehler: 17 gesperrt (ImportRecord/ImportStart)"));
}

TEST_F(ActiveImportTest, ARunEndsItsImportAndReleasesTheLog) {
  const long users = log.use_count();
  UseNames({"A"});
  view.on_yield = [&] { EXPECT_EQ(log.use_count() > users, view.yields > 3); };
  Run();
  EXPECT_EQ(log.use_count(), users);
}

TEST_F(ActiveImportTest, ACancelledImportReleasesItsLogAndTheNextHasOneOfItsOwn) {
  const long users = log.use_count();
  for (const std::size_t imports : {1u, 2u}) {
    ActiveImport cancelled(session);
    BuildAssignmentList(session, cancelled.logs());
    EXPECT_EQ(LogsCreated(), imports);
    EXPECT_GT(log.use_count(), users);
  }
  EXPECT_EQ(log.use_count(), users);
}

TEST_F(ActiveImportTest, EndingTwiceIsEndingOnce) {
  const long users = log.use_count();
  BuildAssignmentList(session, import.logs());
  import.End();
  import.End();
  EXPECT_EQ(log.use_count(), users);
  EXPECT_EQ(LogsCreated(), 1u);
}

}  // namespace
}  // namespace kestrel
