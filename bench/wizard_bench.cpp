// wizard_bench FILE [ROUNDS [preview|page3|run|gaps]]: what the windows cost beside the work they show, all or
// one of them. FILE is one that generate_addresses wrote. Windows are shown on the offscreen platform; times are CPU
// seconds.
//
//   preview       frmPrev, from the click to the first painting, against opening the same source and counting
//                 its records without a window
//   page 3        frmStep3 likewise, against reading the source's column names, which is all it needs
//   run window    frmImport around a run in test mode, against the same run with a view that shows nothing;
//                 both runs answer the closing box at once
//   gaps          how long the windows do not answer at most: the longest time between two rounds of the message
//                 loop while an import runs, while the translation editor reads a column of the file, while
//                 the host's list of its addresses is searched, and while the settings of step 2 are changed, whose
//                 first records follow; and how long these take. Seconds by the clock, so of a machine at rest.
//
// Every measurement is a process of its own, in which a preview of a small file has been shown before: fonts
// and style are loaded then, as they are for a person who has come to these windows.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QTemporaryDir>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>

#include "app/address_reader.h"
#include "component/import_class.h"
#include "components/register_components.h"
#include "cpu_time.h"
#include "import/import_run.h"
#include "kestrel/clock.h"
#include "kestrel/open_connection.h"
#include "kestrel/wizard.h"
#include "mapping/field_assignment.h"
#include "platform/base/file.h"
#include "platform/dialogs/recording_user_interface.h"
#include "result_line.h"
#include "sources/source_reader.h"
#include "spec/specification.h"
#include "spec/working_copy.h"
#include "wizard/frmImport.h"
#include "wizard/frmPrev.h"
#include "wizard/frmStep2.h"
#include "wizard/frmStep3.h"
#include "wizard/frmTransTbl.h"
#include "wizard/qt_text.h"
#include "wizard/source_preview.h"

namespace kestrel::bench {
namespace {

constexpr double kSecondsToOpen = 0.1;
constexpr double kBytesToOpen = 32 << 20;
constexpr double kShareOfRun = 0.05;
constexpr double kLongestGap = 0.2;
constexpr double kMiB = 1 << 20;

constexpr const char* kFields[][2] = {{"KundenNummer", "FIELD:Kundennummer"},
                                      {"Bez1", "FIELD:Bez1"},
                                      {"Bez2", "FIELD:Bez2"},
                                      {"Bez3", "FIELD:Bez3"},
                                      {"Strasse", "FIELD:Strasse"},
                                      {"Land", "FIELD:Land"},
                                      {"PLZ", "FIELD:PLZ"},
                                      {"Ort", "FIELD:Ort"},
                                      {"Telefon", "FIELD:Telefon"},
                                      {"EMail", "FIELD:EMail"},
                                      {"Kundengruppe", "FIELD:Gruppe"},
                                      {"KundeSeit", "FIELD:Datum"},
                                      {"Umsatz", "FIELD:Umsatz"},
                                      {"Rabatt", "FIELD:Rabatt"},
                                      {"Mitarbeiter", "FIELD:Anzahl"},
                                      {"Bemerkung", "FIELD:Bemerkung"}};

std::string Specification(const std::string& file) {
  std::string text =
      "[Common]\r\nDescription=Messung\r\nApplication=2\r\nImportClass=ksbimport.importkunden\r\n"
      "Provider=Textdatei\r\nFileName=" +
      file +
      "\r\nColumnHeadings=True\r\nFileFormat=ANSI\r\nDelimiter=;\r\nTextRecognition=\"\r\n"
      "[FieldFormat]\r\nKundeSeit=tt.mm.jjjj\r\n[FieldAssignments]\r\n";
  for (const auto& [field, assignment] : kFields) text += std::string(field) + "=" + assignment + "\r\n";
  return text;
}

// A session that has gone through steps 1 and 2, over a host of its own.
class Prepared {
 public:
  explicit Prepared(const std::string& file) {
    if (!folder_.isValid()) throw std::runtime_error("no scratch folder");
    host::RegisterComponents(components_);
    const std::string path = FromQt(folder_.path());
    database_ = CallMethod(components_.CreateObject("kestrelhost.Setup"), "CreateSampleHost", path).ToText();
    session_.HostConnection = OpenConnection(database_);
    session_.AppMode = 2;
    session_.PersonalNr = "4711";
    session_.SpecFolder = JoinPath(path, "Import");
    session_.SpecFile = JoinPath(session_.SpecFolder, "Messung.IMP");
    WriteFileAtomically(session_.SpecFile, Specification(file));
    ReadCommonSection(session_);
    CreateWorkingCopy(session_, working_copy_lock_);
    if (!CreateImportClass(session_)) throw std::runtime_error("no import class");
  }

  Session& session() { return session_; }
  const std::string& database() const { return database_; }

 private:
  QTemporaryDir folder_;
  std::string database_;
  RecordingUserInterface ui_;
  ComponentRegistry components_;
  SystemClock clock_;
  Session session_{Platform{ui_, components_, clock_}};
  WorkingCopyLock working_copy_lock_;
};

// Sees the first painting of a window.
class PaintWatch final : public QObject {
 public:
  explicit PaintWatch(QWidget& window) { window.installEventFilter(this); }
  bool painted() const { return painted_; }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    painted_ = painted_ || event->type() == QEvent::Paint;
    return QObject::eventFilter(watched, event);
  }

 private:
  bool painted_ = false;
};

void ShowUntilPainted(QWidget& window) {
  PaintWatch watch(window);
  window.show();
  while (!watch.painted()) QApplication::processEvents(QEventLoop::WaitForMoreEvents);
  QApplication::processEvents();
}

void WarmUp() {
  QTemporaryDir folder;
  const std::string small = FromQt(folder.filePath("klein.txt"));
  WriteFileAtomically(small, "Name;Ort\r\nMüller;Köln\r\n");
  Prepared prepared(small);
  ImportJob job(prepared.session());
  frmPrev preview(job, nullptr);
  ShowUntilPainted(preview);
}

// --- What is measured, each in a process of its own ---------------------------------------------

void OpenWithoutWindow(Session& session) {
  SourceReader reader(session);
  reader.OpenSourceRecordset();
  reader.SourceMoveFirst();
  if (reader.SourceRecordCount() == 0) throw std::runtime_error("the file holds no records");
}

void OpenPreview(Session& session) {
  ImportJob job(session);
  frmPrev preview(job, nullptr);
  ShowUntilPainted(preview);
}

void ReadColumnNames(Session& session) {
  if (SourceColumnNames(session).size() < 3) throw std::runtime_error("the file has no columns");
}

void OpenPage3(Session& session) {
  Wizard wizard;
  ImportJob job(session);
  frmStep3 page(job, wizard);
  ShowUntilPainted(page);
}

class ShowsNothing final : public RunView {
 public:
  void SetInfo(std::string_view) override {}
  void SetProgress(double) override {}
  void Yield() override {}
  void CloseWindow() override {}
};

void PrepareRun(ImportJob& job) {
  Session& session = job.session();
  session.SourceFieldNames = SourceColumnNames(session);
  job.AssignFields(nullptr);
  session.TestMode = true;
}

void RequireWholeRun(const RunResult& result) {
  if (result.records == 0 || result.records != result.total) throw std::runtime_error("the run broke off");
}

void RunWithoutWindow(Session& session) {
  ImportJob job(session);
  PrepareRun(job);
  ShowsNothing view;
  RequireWholeRun(job.RunAssigned(view));
}

void RunInWindow(Session& session) {
  ImportJob job(session);
  PrepareRun(job);
  frmImport window(job, nullptr);
  window.exec();
  RequireWholeRun(window.result());
}

// Two figures of the work without a window and with it.
struct Pair {
  double without = 0;
  double with = 0;
};

// --- Gaps -----------------------------------------------------------------------------------------

// The longest time between two rounds of the message loop while it lives.
class LoopGap final : public QObject {
 public:
  LoopGap() {
    connect(&timer_, &QTimer::timeout, this, &LoopGap::Look);
    timer_.start(1);
    since_.start();
  }
  double Seconds() {
    Look();
    return static_cast<double>(longest_) / 1e9;
  }

 private:
  void Look() {
    longest_ = std::max(longest_, since_.nsecsElapsed());
    since_.restart();
  }

  QTimer timer_;
  QElapsedTimer since_;
  qint64 longest_ = 0;
};

double GapOfRun(Session& session) {
  ImportJob job(session);
  PrepareRun(job);
  session.TestMode = false;
  frmImport window(job, nullptr);
  LoopGap gap;
  window.exec();
  RequireWholeRun(window.result());
  return gap.Seconds();
}

double GapOfEditor(Session& session) {
  frmTransTbl editor(session);
  editor.SetTranslationMode(kTranslationMode);
  // A column of some thousand values, which stand in all of the file.
  editor.SetFieldName("Ort");
  editor.SetDestinationName("Ort");
  QTimer close_it;
  QObject::connect(&close_it, &QTimer::timeout, [&] {
    if (editor.isVisible()) editor.close();
  });
  close_it.start(200);
  LoopGap gap;
  editor.ShowModal(nullptr);
  return gap.Seconds();
}

// The longest gap while each separator of step 2 is chosen in turn, and the longest time until the first records have
// followed.
Pair FollowingOfStep2(Session& session) {
  Wizard wizard(nullptr, {.recognised_files = true, .live_preview = true});
  ImportJob job(session);
  frmStep2 page(job, wizard);
  ShowUntilPainted(page);
  auto& preview = *page.findChild<SourcePreview*>();
  const auto await = [&] {
    QApplication::processEvents();
    while (preview.IsReading()) QApplication::processEvents(QEventLoop::WaitForMoreEvents);
  };
  await();
  qint64 longest = 0;
  LoopGap gap;
  for (const char* choice : {"optTab", "optKomma", "chkZeileFeldname", "optAscii", "optSemikolon"}) {
    QElapsedTimer since;
    since.start();
    page.findChild<QAbstractButton*>(choice)->click();
    await();
    longest = std::max(longest, since.nsecsElapsed());
  }
  return {gap.Seconds(), static_cast<double>(longest) / 1e9};
}

double GapOfSearch(Session& session, const std::string& database) {
  ImportJob job(session);
  PrepareRun(job);
  session.TestMode = false;
  ShowsNothing view;
  RequireWholeRun(job.RunAssigned(view));
  bool done = false;
  host::AddressReader reader(
      nullptr, [database] { return OpenConnection(database); }, nullptr,
      [&](const host::AddressAnswer& answer) { done = answer.is_complete; },
      [](const RuntimeError& error) { throw std::runtime_error(error.what()); });
  host::AddressQuestion question{.table = "Kunden", .columns = {}, .text = "hausen"};
  const ConnectionPtr names = OpenConnection(database);
  for (const std::string& name : names->ColumnNames("Kunden")) {
    question.columns.push_back(host::DescribeColumn(name));
  }
  question.order_column = 1;
  LoopGap gap;
  QElapsedTimer whole;
  whole.start();
  reader.Ask(std::move(question));
  while (!done) QApplication::processEvents(QEventLoop::WaitForMoreEvents);
  std::printf("search of all addresses: %.1f s\n", static_cast<double>(whole.elapsed()) / 1000);
  return gap.Seconds();
}

// --- Processes ----------------------------------------------------------------------------------

using Work = void (*)(Session&);

// Calls `measure` in a process of its own, in which the application runs.
Pair InProcess(const std::function<Pair()>& measure) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("no pipe");
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("no process");
  if (child == 0) {
    close(ends[0]);
    int status = 1;
    try {
      qputenv("QT_QPA_PLATFORM", "offscreen");
      const QTemporaryDir settings;
      qputenv("XDG_CONFIG_HOME", settings.path().toUtf8());
      int count = 1;
      char name[] = "wizard_bench";
      char* arguments[] = {name, nullptr};
      const QApplication application(count, arguments);
      QApplication::setQuitOnLastWindowClosed(false);
      WarmUp();
      const Pair pair = measure();
      status = write(ends[1], &pair, sizeof pair) == sizeof pair ? 0 : 1;
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s\n", error.what());
    }
    _exit(status);
  }
  close(ends[1]);
  Pair pair;
  const bool complete = read(ends[0], &pair, sizeof pair) == sizeof pair;
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (!complete || status != 0) throw std::runtime_error("a measurement broke off");
  return pair;
}

// CPU seconds: the least of several rounds, which is the one least disturbed. The two take turns in one
// process, so that both find memory and caches alike.
Pair Seconds(const std::string& file, int rounds, Work without, Work with) {
  return InProcess([&] {
    BestTime least_without, least_with;
    for (int round = 0; round < rounds; ++round) {
      for (const auto& [work, least] : {std::pair(without, &least_without), std::pair(with, &least_with)}) {
        Prepared prepared(file);
        least->Add(CpuSecondsOf([&] { work(prepared.session()); }));
      }
    }
    return Pair{least_without.seconds(), least_with.seconds()};
  });
}

// Peak memory in bytes, of a process each.
Pair PeakBytes(const std::string& file, Work without, Work with) {
  const auto peak = [&](Work work) {
    return InProcess([&] {
             Prepared prepared(file);
             work(prepared.session());
             rusage usage{};
             getrusage(RUSAGE_SELF, &usage);
             return Pair{static_cast<double>(usage.ru_maxrss) * 1024, 0};
           })
        .without;
  };
  return {peak(without), peak(with)};
}

void Report(const char* what, const Pair& pair, double limit, double scale, const char* unit) {
  const double beyond = pair.with - pair.without;
  std::printf("%s\n    %.3f %s - %.3f %s = %.3f %s  (at most %.3f) %s\n", what, pair.with / scale, unit,
              pair.without / scale, unit, beyond / scale, unit, limit / scale,
              beyond <= limit ? "ok" : "TOO MUCH");
  using kestrel::bench::Fixed;
  const std::string behind = std::string(" ") + unit;
  kestrel::bench::Report({.what = std::string(what) + ", " + unit,
                          .ours = Fixed(pair.with / scale, 3, behind),
                          .naive = Fixed(pair.without / scale, 3, behind),
                          .ratio = beyond / scale,
                          .limit = limit / scale});
}

void MeasurePreview(const std::string& file, int rounds) {
  Report("preview beyond opening the source", Seconds(file, rounds, OpenWithoutWindow, OpenPreview),
         kSecondsToOpen, 1, "s");
  Report("preview's peak memory beyond that", PeakBytes(file, OpenWithoutWindow, OpenPreview), kBytesToOpen,
         kMiB, "MiB");
}

void MeasurePage3(const std::string& file, int rounds) {
  Report("page 3 beyond reading the column names", Seconds(file, rounds, ReadColumnNames, OpenPage3),
         kSecondsToOpen, 1, "s");
  Report("page 3's peak memory beyond that", PeakBytes(file, ReadColumnNames, OpenPage3), kBytesToOpen, kMiB,
         "MiB");
}

void MeasureRun(const std::string& file, int rounds) {
  const Pair run = Seconds(file, rounds, RunWithoutWindow, RunInWindow);
  Report("run window beyond the run", run, kShareOfRun * run.without, 1, "s");
  std::printf("    = %.1f %% of the run\n", 100 * (run.with / run.without - 1));
}

void MeasureGaps(const std::string& file) {
  const auto report = [&](const char* what, const std::function<double(Prepared&)>& measure) {
    const Pair gap = InProcess([&] {
      Prepared prepared(file);
      return Pair{0, measure(prepared)};
    });
    Report(what, gap, kLongestGap, 1, "s");
  };
  report("longest gap of an import's window", [](Prepared& prepared) { return GapOfRun(prepared.session()); });
  report("longest gap of the translation editor",
         [](Prepared& prepared) { return GapOfEditor(prepared.session()); });
  report("longest gap of step 2 while its settings change",
         [](Prepared& prepared) { return FollowingOfStep2(prepared.session()).without; });
  report("first records behind a change in step 2",
         [](Prepared& prepared) { return FollowingOfStep2(prepared.session()).with; });
  report("longest gap of the host's search",
         [](Prepared& prepared) { return GapOfSearch(prepared.session(), prepared.database()); });
}

}  // namespace
}  // namespace kestrel::bench

int main(int argument_count, char** arguments) {
  if (argument_count < 2 || argument_count > 4) {
    std::fprintf(stderr, "wizard_bench FILE [ROUNDS [preview|page3|run|gaps]]\n");
    return 2;
  }
  const std::string only = argument_count == 4 ? arguments[3] : "";
  const int rounds = argument_count >= 3 ? std::atoi(arguments[2]) : 5;
  try {
    const std::string file = std::filesystem::absolute(arguments[1]).string();
    if (only.empty() || only == "preview") kestrel::bench::MeasurePreview(file, rounds);
    if (only.empty() || only == "page3") kestrel::bench::MeasurePage3(file, rounds);
    if (only.empty() || only == "run") kestrel::bench::MeasureRun(file, rounds);
    if (only.empty() || only == "gaps") kestrel::bench::MeasureGaps(file);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 4;
  }
}
