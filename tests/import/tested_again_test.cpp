// The import behind a test run that stayed open (RunSettings::stays_open).
#include "import/import_job_fixture.h"
#include "import/run_fixture.h"
#include "mapping/field_assignment.h"
#include "support/breaking_user_interface.h"
#include "support/expect_error.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using testing::ImportJobTest;
using ::testing::IsEmpty;

TEST_F(ImportJobTest, BehindATestThatStayedOpenItRunsAsThoughTheTestHadNotBeen) {
  folder.Write("Import/weg.txt", "Name;Ort\r\nMeier;Köln\r\n");
  Open(Spec("Name=FIELD:Name\n", "DeleteFile=1\nSaveFile=1\nSavePath=" + folder.path() + "\n"));
  job.session().FileName = session.SpecFolder + "/weg.txt";
  job.settings().stays_open = true;
  EXPECT_EQ(job.Run(RunMode::kTest).checked, 1);
  EXPECT_EQ(WorkingCopies().size(), 1u);
  const std::size_t asked = import_class->CountOf("GetFields");
  EXPECT_EQ(job.Run().stored, 1);
  EXPECT_EQ(import_class->CountOf("GetFields"), asked + 1) << "the import has a class of its own";
  EXPECT_THAT(stored, ElementsAre("Meier, "));
  EXPECT_TRUE(FileExists(folder.File("weg.txt"))) << "backed up, as the specification wants it";
  EXPECT_FALSE(FileExists(session.SpecFolder + "/weg.txt"));
  EXPECT_THAT(WorkingCopies(), IsEmpty());
}

TEST_F(ImportJobTest, TheImportBehindATestThatStayedOpenUsesTheTestedAssignments) {
  Open(Spec("Name=FIELD:Name\n"));
  job.settings().stays_open = true;
  job.Prepare();
  job.session().AssignmentList->GoTo(1);
  StoreCurrentAssignment(*job.session().AssignmentList, {.option = kConstantValue, .constant = "Bonn"});
  job.Run(RunMode::kTest);
  job.Run();
  EXPECT_THAT(stored, ElementsAre("Meier, Bonn", "Weiß, Bonn"));
}

TEST_F(ImportJobTest, ATestThatTheImportClassCancelsDoesNotStayOpen) {
  import_class->Method("BeforeImport", [](std::span<Argument> arguments) {
    arguments[0].Set(true);
    return Value();
  });
  Open(Spec());
  job.settings().stays_open = true;
  EXPECT_TRUE(job.Run(RunMode::kTest).cancelled);
  EXPECT_FALSE(job.IsTestedOpen());
  EXPECT_THAT(WorkingCopies(), IsEmpty());
}

TEST_F(ImportJobTest, WhatAnImportLeftHalfDoneIsNotOfferedOnceMore) {
  testing::BreakingUserInterface screen;
  ImportJob broken({screen, components, clock});
  broken.Open({.specification = Spec()});
  broken.settings().stays_open = true;
  broken.Run(RunMode::kTest);
  ASSERT_TRUE(broken.IsTestedOpen());
  ASSERT_TRUE(broken.OpenTestedAgain());
  screen.is_broken = true;
  broken.session().TestMode = false;
  testing::RecordingView view(journal);
  EXPECT_ERROR(broken.RunAssigned(view), ErrorNumber::kAutomation);
  EXPECT_FALSE(broken.IsTestedOpen());
  broken.Cancel();
  EXPECT_EQ(broken.session().AssignmentList, nullptr) << "or the next specification would be saved with it";
  EXPECT_THAT(WorkingCopies(), IsEmpty());
}

}  // namespace
}  // namespace kestrel
