// The confirmation and the run window.
#include "wizard/frmImport.h"

#include <QFileDialog>
#include <QPushButton>

#include "kestrel/import_job.h"
#include "kestrel/open_connection.h"
#include "mapping/field_assignment.h"
#include "platform/base/file.h"
#include "support/changing_source.h"
#include "support/gate.h"
#include "wizard/frmQuestionDlg.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using testing::ClickOn;
using ::testing::ElementsAre;
using testing::FindIn;
using testing::Spin;

// --- Confirmation ---

class QuestionTest : public testing::WizardFixture {
 protected:
  QWidget& Control(const char* name) { return FindIn<QWidget>(dialog, name); }
  frmQuestionDlg dialog{nullptr};
};

TEST_F(QuestionTest, TestingIsSelectedBeforehandAndTestmodeIsFalseUntilOk) {
  dialog.show();
  EXPECT_TRUE(FindIn<QRadioButton>(dialog, "optTestMode").isChecked());
  EXPECT_FALSE(FindIn<QRadioButton>(dialog, "optImport").isChecked());
  EXPECT_FALSE(dialog.Testmode());
  ClickOn(Control("cmdOK"));
  EXPECT_TRUE(dialog.Testmode());
  EXPECT_FALSE(dialog.isVisible());
}

TEST_F(QuestionTest, DatenImportierenIsNoTest) {
  dialog.show();
  ClickOn(Control("optImport"));
  ClickOn(Control("cmdOK"));
  EXPECT_FALSE(dialog.Testmode());
}

TEST_F(QuestionTest, TheFrameClosesWithoutTestmode) {
  dialog.show();
  dialog.close();
  EXPECT_FALSE(dialog.isVisible());
  EXPECT_FALSE(dialog.Testmode());
}

TEST_F(QuestionTest, EscapeDoesNotCloseItSoItStartsNoImport) {
  dialog.show();
  QTest::keyClick(&Control("optTestMode"), Qt::Key_Escape);
  EXPECT_TRUE(dialog.isVisible());
}

TEST_F(QuestionTest, EnterAndTheAccessKeyPressOk) {
  dialog.show();
  QTest::keyClick(&Control("optTestMode"), Qt::Key_Return);
  EXPECT_FALSE(dialog.isVisible());
  EXPECT_TRUE(dialog.Testmode());
  EXPECT_EQ(FindIn<QPushButton>(dialog, "cmdOK").shortcut(), QKeySequence("Alt+O"));
}

// --- Run window ---

class RunWindowTest : public testing::WizardFixture {
 protected:
  void Prepare(int records, WizardComforts comforts = {}) {
    OpenStep3(TextSpecification(WriteSource(records), "[FieldAssignments]\nName=FIELD:Name\n"));
    job = std::make_unique<ImportJob>(session);
    window = std::make_unique<frmImport>(*job, nullptr, comforts);
  }
  // A log component, and an import class that tells an error after each call.
  std::shared_ptr<testing::RecordingObject> UseLog() {
    const ConnectionPtr host = OpenConnection("Provider=SQLite;Data Source=" + folder.File("host.sqlite"));
    host->Execute("CREATE TABLE Personalstamm (PersonalNr TEXT, Nachname TEXT, Vorname TEXT, Titel TEXT)");
    session.HostConnection = host;
    const auto log = AddComponent("KSHProto.Protokoll", "log");
    log->Returns("CreateProtokoll", Value("P1"));
    log->Method("AddNewRecord").Method("SetField").Method("UpdateRecord");
    import_class->Get("ErrorCode", Value(7));
    return log;
  }
  std::string Info() const { return FromQt(FindIn<QLabel>(*window, "lblInfo").text()); }
  const QProgressBar& Bar() const { return FindIn<QProgressBar>(*window, "ProgressBar"); }
  double Percent() const { return 100.0 * Bar().value() / Bar().maximum(); }
  std::size_t Runs() const { return import_class->CountOf("BeforeImport"); }

  std::unique_ptr<ImportJob> job;
  std::unique_ptr<frmImport> window;
};

TEST_F(RunWindowTest, NothingRunsBeforeTheWindowIsShown) {
  Prepare(3);
  Spin();
  EXPECT_EQ(Runs(), 0u);
}

TEST_F(RunWindowTest, TheFirstActivationRunsTheImportAndLaterOnesDoNothing) {
  Prepare(3);
  window->exec();
  EXPECT_EQ(Runs(), 1u);
  EXPECT_EQ(window->result().records, 3);
  window->show();
  window->activateWindow();
  Spin();
  EXPECT_EQ(Runs(), 1u);
}

TEST_F(RunWindowTest, LabelAndBarFollowTheRecordsAtTheDisplaysPace) {
  constexpr int kRecords = 8;
  Prepare(kRecords);
  std::vector<int> shown;
  std::vector<double> percents;
  import_class->Method("ImportRecord", [&](std::span<Argument>) {
    QTest::qSleep(60);  // longer than from one picture to the next
    int record = -1;
    std::sscanf(Info().c_str(), "Importiere Datensatz %d von 8", &record);
    shown.push_back(record);
    percents.push_back(Percent());
    return Value();
  });
  window->exec();
  ASSERT_EQ(shown.size(), static_cast<std::size_t>(kRecords));
  for (int record = 2; record < kRecords; ++record) {
    const auto at = static_cast<std::size_t>(record);
    EXPECT_GE(shown[at], record - 1);
    EXPECT_LE(shown[at], record);
    EXPECT_GE(percents[at], 100.0 * (record - 1) / kRecords);
  }
  EXPECT_EQ(Info(), "Der Import wurde erfolgreich fertig gestellt.");
  EXPECT_EQ(Percent(), 100);
  EXPECT_THAT(ui.boxes,
              ElementsAre(Information("Der Import wurde erfolgreich fertig gestellt.", "KESTREL Import")));
}

TEST_F(RunWindowTest, ClosingDuringTheRunIsRefusedAndAborts) {
  Prepare(100);
  bool refused = false;
  import_class->Method("ImportRecord", [&](std::span<Argument>) {
    if (import_class->CountOf("ImportRecord") == 5) refused = !window->close() && window->isVisible();
    return Value();
  });
  window->exec();
  EXPECT_TRUE(refused);
  EXPECT_EQ(window->result().records, 5);
  EXPECT_TRUE(window->result().aborted);
  EXPECT_FALSE(window->isVisible());
  EXPECT_EQ(import_class->CountOf("AfterImport"), 0u);
  EXPECT_EQ(Info(), "Der Import hat 5 von 100 Datensätzen erfolgreich importiert.");
  EXPECT_THAT(ui.boxes, ElementsAre(Information("Der Import hat 5 von 100Datensätzen erfolgreich importiert.",
                                                "KESTREL Import")));
}

TEST_F(RunWindowTest, EscapeDuringTheRunAsksForTheAbortToo) {
  Prepare(100);
  import_class->Method("ImportRecord", [&](std::span<Argument>) {
    if (import_class->CountOf("ImportRecord") == 3) QTest::keyClick(window.get(), Qt::Key_Escape);
    return Value();
  });
  window->exec();
  EXPECT_EQ(window->result().records, 3);
  EXPECT_TRUE(window->result().aborted);
}

TEST_F(RunWindowTest, AnEventOfTheMessageLoopReachesTheWindowWhileItRuns) {
  Prepare(2000);
  QTimer::singleShot(0, window.get(), [&] { QTimer::singleShot(5, window.get(), [&] { window->close(); }); });
  import_class->Method("ImportRecord", [&](std::span<Argument>) {
    QTest::qSleep(1);
    return Value();
  });
  window->exec();
  EXPECT_TRUE(window->result().aborted);
  EXPECT_LT(window->result().records, 2000);
}

TEST_F(RunWindowTest, AnEventReachesTheWindowWhileTheDatabaseStores) {
  Prepare(100);
  const ConnectionPtr host = OpenConnection(folder.File("host.sqlite"));
  session.HostConnection = host;
  import_class->Method("ImportRecord", [&](std::span<Argument>) {
    if (import_class->CountOf("ImportRecord") != 5) return Value();
    testing::Gate gate;
    QMetaObject::invokeMethod(
        window.get(),
        [&] {
          window->close();
          gate.Open();
        },
        Qt::QueuedConnection);
    // Without an event it would wait for ever.
    host->CallMutex().Aside([&] { gate.Pass(); });
    return Value();
  });
  window->exec();
  EXPECT_EQ(window->result().records, 5);
  EXPECT_TRUE(window->result().aborted);
}

TEST_F(RunWindowTest, ASourceWithoutRecordsEndsWell) {
  Prepare(0);
  window->exec();
  EXPECT_EQ(import_class->CountOf("AfterImport"), 1u);
  EXPECT_THAT(ui.boxes,
              ElementsAre(Information("Der Import wurde erfolgreich fertig gestellt.", "KESTREL Import")));
}

TEST_F(RunWindowTest, WhatStandsInNoLogStaysInSightBesideTheClosingMessage) {
  Prepare(3);
  session.DeleteFile = true;
  import_class->Get("ErrorCode", Value(7));
  const auto& remarks = FindIn<QPlainTextEdit>(*window, "txtRemarks");
  EXPECT_FALSE(remarks.isVisibleTo(window.get()));
  window->exec();
  EXPECT_TRUE(remarks.isVisibleTo(window.get()));
  const std::string shown = FromQt(remarks.toPlainText());
  EXPECT_THAT(shown, ::testing::EndsWith(window->result().source_kept));
  EXPECT_THAT(shown, ::testing::HasSubstr("Nicht im Protokoll: Datensatz 1: Fehler 7: "))
      << "the session has no log component";
}

TEST_F(RunWindowTest, AnErrorOfGetFieldsAndThoseOfTheRunStandInOneLogAndTheNextImportHasItsOwn) {
  const auto log = UseLog();
  for (const std::size_t imports : {1, 2}) {
    OpenStep3(TextSpecification(WriteSource(1), "[FieldAssignments]\nName=FIELD:Name\n"));
    EXPECT_EQ(log->CountOf("CreateProtokoll"), imports) << "made by GetFields";
    EXPECT_EQ(log->CountOf("AddNewRecord"), 3 * imports - 2);
    modals.Then("frmQuestionDlg", [](QWidget& question) {
      ClickOn(FindIn<QWidget>(question, "optImport"));
      ClickOn(FindIn<QWidget>(question, "cmdOK"));
    });
    Click("cmdOK");
    EXPECT_EQ(import_class->CountOf("BeforeImport"), imports);
    EXPECT_EQ(log->CountOf("CreateProtokoll"), imports) << "the run adds to it";
    EXPECT_EQ(log->CountOf("AddNewRecord"), 3 * imports) << "GetNewRecord and ImportRecord";
  }
}

TEST_F(RunWindowTest, AnImportThatWasGivenUpLeavesItsLogToItself) {
  const auto log = UseLog();
  const long users = log.use_count();
  Prepare(1);
  EXPECT_GT(log.use_count(), users);
  Click("cmdCancel");
  EXPECT_EQ(log.use_count(), users) << "cancelling ends the import";
  Prepare(1);
  EXPECT_EQ(log->CountOf("CreateProtokoll"), 2u);
}

// The window's run over files that change at the third record; what the readers make of it the run's own tests
// tell for every kind.
TEST_F(RunWindowTest, AFileThatChangesUnderTheRunStaysAndIsNoSuccessUnlessAllOfItWasRead) {
  using testing::ChangingSource;
  using testing::FileEvent;
  for (const testing::FileKind kind : {testing::FileKind::kText, testing::FileKind::kDBase}) {
    for (const FileEvent event :
         {FileEvent::kTouched, FileEvent::kGrown, FileEvent::kRewritten, FileEvent::kCut}) {
      SCOPED_TRACE(std::string(NameOf(kind)) + " " + NameOf(event));
      Prepare(1);
      const ChangingSource source(kind, folder.path());
      source.Use(session);
      session.DeleteFile = true;
      session.AssignmentList->MoveFirst();
      session.AssignmentList->SetText(kDestinationName, "NAME");
      ui.boxes.clear();
      int records = 0;
      import_class->Method("ImportRecord", [&](std::span<Argument>) {
        if (++records == 3) source.LetHappen(event);
        return Value();
      });
      window->exec();
      const bool broken = event == FileEvent::kRewritten || event == FileEvent::kCut;
      const RunResult& result = window->result();
      EXPECT_EQ(result.source_end.state, broken ? SourceState::kBrokenOff : SourceState::kAtEnd);
      EXPECT_EQ(result.records < ChangingSource::kRecords, broken);
      EXPECT_EQ(result.errors, broken ? 1 : 0);
      EXPECT_EQ(Info(),
                broken ? "Beim Importieren der Daten sind Fehler aufgetreten. Bitte prüfen Sie diese über die "
                         "Protokolle!"
                       : "Der Import wurde erfolgreich fertig gestellt.");
      EXPECT_EQ(ui.boxes.back().text, Info());
      EXPECT_TRUE(FileExists(source.path()));
      EXPECT_EQ(result.source_kept.empty(), kind != testing::FileKind::kText);
      window.reset();
      Page().close();
    }
  }
}

TEST_F(RunWindowTest, ACancellationByTheImportClassIsShown) {
  Prepare(3);
  import_class->Method("BeforeImport", [](std::span<Argument> arguments) {
    arguments[0].Set(Value(true));
    return Value();
  });
  window->exec();
  EXPECT_EQ(Info(), "Der Vorgang wurde vom Benutzer abgebrochen!");
  EXPECT_THAT(ui.boxes,
              ElementsAre(Information("Der Vorgang wurde vom Benutzer abgebrochen!", "KESTREL Import")));
  EXPECT_EQ(window->result().errors, -1);
}

// --- The summary, where it is wanted ---

class RunSummaryTest : public RunWindowTest {
 protected:
  // Runs to the end of the import; `look` sees the window that stays, which is closed behind it.
  void RunAndLook(std::function<void()> look) {
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, window.get(), [&] {
      if (!FindIn<QWidget>(*window, "cmdClose").isVisible()) return;
      watch.stop();
      look();
      ClickOn(FindIn<QWidget>(*window, "cmdClose"));
    });
    watch.start(0);
    window->exec();
  }
  std::string Summary() const { return FromQt(FindIn<QLabel>(*window, "lblSummary").text()); }
};

TEST_F(RunSummaryTest, TheWindowStaysBehindTheClosingMessageWithTheFigures) {
  Prepare(3, {.run_summary = true});
  EXPECT_FALSE(FindIn<QWidget>(*window, "cmdClose").isVisibleTo(window.get()));
  bool looked = false;
  RunAndLook([&] {
    looked = true;
    EXPECT_EQ(ui.boxes.size(), 1u) << "the closing message came before";
    EXPECT_EQ(Summary(),
              "3 gelesen = 3 neu gespeichert + 0 geändert + 0 zurückgehalten + 0 abgewiesen; 0 Fehler");
    const auto& label = FindIn<QLabel>(*window, "lblSummary");
    EXPECT_GE(label.height(), label.heightForWidth(label.width())) << "no line is cut";
    EXPECT_FALSE(FindIn<QWidget>(*window, "cmdSaveRejects").isEnabled());
  });
  EXPECT_TRUE(looked);
  EXPECT_FALSE(window->isVisible());
  EXPECT_EQ(window->QDialog::result(), QDialog::Accepted);
}

TEST_F(RunSummaryTest, ItsNumbersAreGrouped) {
  Prepare(1200, {.run_summary = true});
  RunAndLook([&] {
    EXPECT_EQ(Summary(),
              "1.200 gelesen = 1.200 neu gespeichert + 0 geändert + 0 zurückgehalten + 0 abgewiesen; 0 Fehler");
  });
}

TEST_F(RunSummaryTest, RecordsThatWereNotStoredAreSavedFromIt) {
  Prepare(3, {.run_summary = true});
  import_class->Raises("ImportRecord", RuntimeError(3000, "weg"));
  const std::string file = folder.File("rest.txt");
  modals.Then("QFileDialog", [&](QWidget& dialog) {
    static_cast<QFileDialog&>(dialog).selectFile(ToQt(file));
    static_cast<QDialog&>(dialog).accept();
  });
  RunAndLook([&] { ClickOn(FindIn<QWidget>(*window, "cmdSaveRejects")); });
  EXPECT_THAT(Summary(), ::testing::HasSubstr("Nicht gespeichert: 3 Datensätze."));
  EXPECT_THAT(FromQt(FindIn<QPlainTextEdit>(*window, "txtRemarks").toPlainText()),
              ::testing::HasSubstr("''" + file + "'' enthält 3 Datensätze"));
  const std::string saved = ReadWholeFile(file);
  EXPECT_THAT(saved, ::testing::StartsWith("Name;Ort;Datum;Gruppe;Grund;Datensatz\r\n"));
  EXPECT_THAT(saved, ::testing::EndsWith(";3000: weg;3\r\n"));
}

TEST_F(RunSummaryTest, AnImportThatWasStoppedSaysHowToGoOn) {
  Prepare(3, {.run_summary = true});
  import_class->Method("ImportRecord", [&](std::span<Argument>) {
    window->close();
    return Value();
  });
  RunAndLook([] {});
  EXPECT_THAT(Summary(),
              ::testing::HasSubstr("\nDer Import ist mit Datensatz 2 fortzusetzen. Die abgelehnten "
                                   "enthalten ihn und die folgenden.\nNicht gespeichert: 2 Datensätze."));
}

TEST_F(RunSummaryTest, AnImportThatTheImportClassCancelledClosesItsWindow) {
  Prepare(3, {.run_summary = true});
  import_class->Method("BeforeImport", [](std::span<Argument> arguments) {
    arguments[0].Set(Value(true));
    return Value();
  });
  window->exec();
  EXPECT_FALSE(window->isVisible());
  EXPECT_FALSE(FindIn<QWidget>(*window, "cmdClose").isVisible());
}

TEST_F(RunSummaryTest, WithoutItTheWindowClosesByItself) {
  Prepare(1);
  EXPECT_EQ(window->findChild<QWidget*>("cmdClose"), nullptr);
}

}  // namespace
}  // namespace kestrel
