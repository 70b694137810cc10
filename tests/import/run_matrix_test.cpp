// Every kind of source file, everything that may happen to it, with and without its removal, as run and test run.
#include <algorithm>
#include <tuple>

#include "import/run_fixture.h"
#include "platform/base/file.h"
#include "support/changing_source.h"

namespace kestrel::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* kSuccess = "Der Import wurde erfolgreich fertig gestellt.";
constexpr const char* kErrors =
    "Beim Importieren der Daten sind Fehler aufgetreten. Bitte prüfen Sie diese über die Protokolle!";

// Whether a reader of this kind looks at the file again once it is open. The others hold what they have read,
// so nothing that happens to the file reaches them.
bool ReadsOn(FileKind kind) { return kind == FileKind::kText || kind == FileKind::kDBase; }

SourceState ExpectedEnd(FileKind kind, FileEvent event) {
  if (event == FileEvent::kUnreadable) return SourceState::kNotOpened;
  const bool loses = event == FileEvent::kRewritten || event == FileEvent::kCut;
  return loses && ReadsOn(kind) ? SourceState::kBrokenOff : SourceState::kAtEnd;
}

using Case = std::tuple<FileKind, FileEvent, bool, bool>;
class RunMatrix : public ImportRunFixture, public ::testing::WithParamInterface<Case> {};

TEST_P(RunMatrix, NothingIsLostAndNothingIsCalledASuccessThatIsNot) {
  const auto [kind, event, delete_file, test_mode] = GetParam();
  const ChangingSource source(kind, folder.path());
  session.DeleteFile = delete_file;
  session.TestMode = test_mode;
  source.Use(session);
  Assign({.field = "Bez1", .destination = "NAME"});
  // A file is made unreadable before the run opens it, all else happens at its third record.
  if (event == FileEvent::kUnreadable) source.LetHappen(event);
  int records = 0;
  import_class->Method("GetNewRecord", [&, happening = event](std::span<Argument>) {
    if (++records == 3) source.LetHappen(happening);
    return Value(NewRecord());
  });

  const RunResult& result = Run();

  const SourceState end = ExpectedEnd(kind, event);
  const bool is_text = kind == FileKind::kText;
  // Removing what is gone already is an error of the removal.
  const bool removal_fails = is_text && delete_file && event == FileEvent::kVanished;
  const std::int32_t errors = (end == SourceState::kAtEnd ? 0 : 1) + (removal_fails ? 1 : 0);
  const bool removed = is_text && delete_file && event == FileEvent::kNothing;

  EXPECT_EQ(result.source_end.state, end);
  EXPECT_EQ(result.errors, errors);
  EXPECT_EQ(LogLines().size(), static_cast<std::size_t>(errors));
  EXPECT_EQ(result.message, errors == 0 ? kSuccess : kErrors);
  EXPECT_EQ(result.records, records);
  EXPECT_EQ(import_class->CountOf("AfterImport"), 1u);
  if (end == SourceState::kAtEnd) {
    EXPECT_EQ(result.records, ChangingSource::kRecords);
    EXPECT_EQ(ui.boxes.size(), 1u);
  } else {
    EXPECT_LT(result.records, ChangingSource::kRecords);
    EXPECT_EQ(ui.boxes.size(), 2u) << "the reader's and the run's";
  }
  EXPECT_EQ(result.stored + result.checked, result.records);
  EXPECT_EQ(stored.size(), static_cast<std::size_t>(result.stored));
  for (std::size_t i = 0; i < stored.size(); ++i) {
    ASSERT_EQ(stored[i], (StoredRecord{{"Bez1", "Name " + std::to_string(i)}})) << "as it was at opening";
  }
  if (event != FileEvent::kVanished && event != FileEvent::kUnreadable) {
    EXPECT_EQ(FileExists(source.path()), !removed);
  }
  if (is_text && delete_file && !removed && !removal_fails) {
    EXPECT_THAT(result.source_kept, HasSubstr("wurde nicht gelöscht"));
  } else {
    EXPECT_THAT(result.source_kept, IsEmpty());
  }
}

std::vector<Case> SensibleCases() {
  std::vector<Case> cases;
  for (const FileKind kind : kFileKinds) {
    for (const FileEvent event : kFileEvents) {
      // An Access file or a workbook is opened with its connection, before the run; there it fails, or never.
      if (event == FileEvent::kUnreadable && !ReadsOn(kind)) continue;
      for (const bool delete_file : {false, true}) {
        for (const bool test_mode : {false, true}) cases.emplace_back(kind, event, delete_file, test_mode);
      }
    }
  }
  return cases;
}

std::string NameOfCase(const ::testing::TestParamInfo<Case>& info) {
  const auto [kind, event, delete_file, test_mode] = info.param;
  return std::string(NameOf(kind)) + "_" + NameOf(event) + (delete_file ? "_removed" : "_kept") +
         (test_mode ? "_test" : "_run");
}

INSTANTIATE_TEST_SUITE_P(Sources, RunMatrix, ::testing::ValuesIn(SensibleCases()), NameOfCase);

// A copy that was cut before the run began.
class CutBefore : public ImportRunFixture, public ::testing::WithParamInterface<FileKind> {};

TEST_P(CutBefore, WhatIsThereIsReadAndTheCutIsOneError) {
  const ChangingSource source(GetParam(), folder.path());
  source.LetHappen(FileEvent::kCut);
  session.DeleteFile = true;
  Assign({.field = "Bez1", .destination = "NAME"});
  source.Use(session);
  const RunResult& result = Run();
  EXPECT_EQ(result.errors, 1);
  EXPECT_EQ(LogLines().size(), 1u);
  EXPECT_EQ(result.source_end.state, SourceState::kBrokenOff);
  EXPECT_GT(result.records, 0);
  EXPECT_LT(result.records, ChangingSource::kRecords);
  EXPECT_EQ(result.message, kErrors);
  EXPECT_TRUE(FileExists(source.path()));
}

// A text file that was cut is a shorter text file; an .xlsx that was cut is no archive any more, as its
// directory stands at its end, and cannot be opened.
INSTANTIATE_TEST_SUITE_P(Sources, CutBefore,
                         ::testing::Values(FileKind::kDBase, FileKind::kAccess, FileKind::kXls),
                         [](const auto& info) { return std::string(NameOf(info.param)); });

}  // namespace
}  // namespace kestrel::testing
