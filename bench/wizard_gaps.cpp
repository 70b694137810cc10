#include "wizard_gaps.h"

#include <sys/resource.h>

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QTabWidget>
#include <QTableView>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <stdexcept>

#include "app/address_reader.h"
#include "app/host_comforts.h"
#include "app/host_window.h"
#include "cpu_time.h"
#include "kestrel/wizard.h"
#include "mapping/field_assignment.h"
#include "platform/base/text.h"
#include "prepared_session.h"
#include "window_measure.h"
#include "wizard/frmImport.h"
#include "wizard/frmStep1.h"
#include "wizard/frmStep2.h"
#include "wizard/frmStep3.h"
#include "wizard/frmTransTbl.h"
#include "wizard/source_preview.h"
#include "wizard/source_sampling.h"

namespace kestrel::bench {
namespace {

constexpr double kLongestGap = 0.2;
constexpr int kSpecifications = 1000;
// So many fit into a specification, whatever they are.
constexpr int kTranslations = 50;
constexpr int kUntilChecked = 500;

// The longest time between two rounds of the message loop while it lives: by the clock, and of the thread's own work, which
// other programs on the machine disturb less.
class LoopGap final : public QObject {
 public:
  LoopGap() {
    connect(&timer_, &QTimer::timeout, this, &LoopGap::Look);
    timer_.start(1);
    since_.start();
  }
  // By the clock; the work is printed.
  double Seconds() {
    Look();
    std::printf("    of the longest gap at most %.3f s work\n", static_cast<double>(most_work_) / 1e9);
    return static_cast<double>(longest_) / 1e9;
  }

 private:
  static qint64 Worked() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return qint64{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
  }
  void Look() {
    longest_ = std::max(longest_, since_.nsecsElapsed());
    const qint64 worked = Worked();
    most_work_ = std::max(most_work_, worked - worked_);
    since_.restart();
    worked_ = Worked();
  }

  QTimer timer_;
  QElapsedTimer since_;
  qint64 worked_ = Worked();
  qint64 longest_ = 0;
  qint64 most_work_ = 0;
};

void Await(const std::function<bool()>& condition) {
  QApplication::processEvents();
  while (!condition()) QApplication::processEvents(QEventLoop::WaitForMoreEvents);
  QApplication::processEvents();
}

// Each letter as a person types it: what follows from one is done before the next comes.
void Type(QLineEdit& box, const QString& text) {
  for (const QChar letter : text) {
    box.setText(box.text() + letter);
    QApplication::processEvents();
  }
  box.clear();
  QApplication::processEvents();
}

void Click(QWidget& page, const char* name) {
  page.findChild<QAbstractButton*>(name)->click();
  QApplication::processEvents();
}

double GapOfStep1(Prepared& prepared) {
  qputenv("KESTREL_HOME", QByteArray::fromStdString(prepared.folder()));
  Session& session = prepared.session();
  const std::string text = Specification(session.FileName);
  for (int i = 0; i < kSpecifications; ++i) {
    const std::string name = "Messung " + std::to_string(i);
    WriteFileAtomically(JoinPath(session.SpecFolder, name + ".IMP"),
                        ReplaceAll(text, "Description=Messung", "Description=" + name));
  }
  Wizard wizard(nullptr, host::kHostComforts);
  ImportJob job(session);
  LoopGap gap;
  frmStep1 page(job, wizard);
  ShowUntilPainted(page);
  Type(*page.findChild<QLineEdit*>("txtSearch"), "Messung 9");
  Click(page, "optVorlage");
  Click(page, "optSchema");
  return gap.Seconds();
}

// The longest gap while each separator of step 2 is chosen in turn, and the longest time until the first records have
// followed.
Pair FollowingOfStep2(Session& session) {
  Wizard wizard(nullptr, host::kHostComforts);
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

double GapOfStep3(Session& session) {
  Wizard wizard(nullptr, host::kHostComforts);
  ImportJob job(session);
  LoopGap gap;
  frmStep3 page(job, wizard);
  ShowUntilPainted(page);
  const auto& sampling = *page.findChild<SourceSampling*>();
  Await([&] { return sampling.sample() != nullptr; });
  auto& list = *page.findChild<QTableView*>("TDBImpList");
  for (int line = 0; line < list.model()->rowCount(); ++line) {
    list.setCurrentIndex(list.model()->index(line, list.currentIndex().column()));
    QApplication::processEvents();
  }
  Type(*page.findChild<QLineEdit*>("txtSuche"), "umsatz");
  Click(page, "cmdNachNamen");
  auto& tabs = *page.findChild<QTabWidget*>("tabStep3");
  for (const int tab : {1, 0, 1}) {
    tabs.setCurrentIndex(tab);
    QApplication::processEvents();
  }
  return gap.Seconds();
}

// What is done in the open editor, and how it is left.
void InEditor(frmTransTbl& editor, const std::function<void()>& act) {
  bool has_acted = false;
  QTimer look;
  QObject::connect(&look, &QTimer::timeout, [&] {
    if (!editor.isVisible() || has_acted) return;
    has_acted = true;
    act();
  });
  look.start(200);
  editor.ShowModal(nullptr);
}

double GapOfEditor(Prepared& prepared) {
  frmTransTbl editor(prepared.session(), true);
  editor.SetTranslationMode(kTranslationMode);
  editor.SetDestinationName("Ort");
  LoopGap gap;
  // Some hundred values, for which all of the file is read, and as many as the editor takes.
  for (const char* column : {"Ort", "PLZ"}) {
    editor.SetFieldName(column);
    InEditor(editor, [&] {
      QAbstractItemModel& rows = *editor.findChild<QTableView*>("tdbGridTransl")->model();
      std::printf("values in the editor: %d\n", rows.rowCount());
      for (int row = 0; row < kTranslations; ++row) {
        rows.setData(rows.index(row, 1), "Wert " + QString::number(row));
        QApplication::processEvents();
      }
      // Until the editor has looked at what was typed.
      QElapsedTimer since;
      since.start();
      Await([&] { return since.elapsed() > kUntilChecked; });
      Click(editor, "cmdOK");
      if (!editor.isVisible()) return;
      for (const auto& box : prepared.ui().boxes) std::printf("not saved: %s\n", box.text.c_str());
      editor.done(QDialog::Rejected);
    });
  }
  return gap.Seconds();
}

double GapOfRun(Session& session) {
  ImportJob job(session);
  PrepareRun(job);
  session.TestMode = false;
  frmImport window(job, nullptr, host::kHostComforts);
  LoopGap gap;
  window.exec();
  RequireWholeRun(window.result());
  return gap.Seconds();
}

void ImportAll(Session& session) {
  ImportJob job(session);
  PrepareRun(job);
  session.TestMode = false;
  ShowsNothing view;
  RequireWholeRun(job.RunAssigned(view));
}

double GapOfHost(Prepared& prepared) {
  ImportAll(prepared.session());
  // All of them a second time, so that the log holds an error for each: their numbers are in use.
  ImportAll(prepared.session());
  LoopGap gap;
  host::HostWindow window(prepared.ui(), prepared.components(), OpenConnection(prepared.database()), "4711",
                          [database = prepared.database()] { return OpenConnection(database); });
  ShowUntilPainted(window);
  for (QAction* action : window.findChildren<QAction*>()) {
    if (action->shortcut() == QKeySequence(QKeySequence::Refresh)) action->trigger();
  }
  QApplication::processEvents();
  return gap.Seconds();
}

// --- The host's search ----------------------------------------------------------------------------

class Search {
 public:
  explicit Search(const std::string& database)
      : reader_(
            nullptr, [database] { return OpenConnection(database); }, nullptr,
            [this](const host::AddressAnswer& answer) { Show(answer); },
            [](const RuntimeError& error) { throw std::runtime_error(error.what()); }) {
    const ConnectionPtr names = OpenConnection(database);
    for (const std::string& name : names->ColumnNames("Kunden")) {
      columns_.push_back(host::DescribeColumn(name));
    }
  }

  // In the order of the names.
  void Ask(const char* what, const char* text) {
    first_ = -1;
    is_complete_ = false;
    LoopGap gap;
    const double worked = CpuSeconds();
    since_.start();
    reader_.Ask({.table = "Kunden", .columns = columns_, .text = text, .order_column = 1});
    Await([this] { return is_complete_; });
    longest_ = std::max(longest_, gap.Seconds());
    std::printf("search %-44s first answer %6.3f s, whole %6.3f s, work %6.3f s, %lld found\n", what,
                static_cast<double>(first_) / 1e9, static_cast<double>(since_.nsecsElapsed()) / 1e9,
                CpuSeconds() - worked, static_cast<long long>(found_));
  }
  double longest() const { return longest_; }

 private:
  void Show(const host::AddressAnswer& answer) {
    if (first_ < 0) first_ = since_.nsecsElapsed();
    is_complete_ = answer.is_complete;
    found_ = answer.found;
  }

  std::vector<host::AddressColumn> columns_;
  QElapsedTimer since_;
  qint64 first_ = -1;
  std::int64_t found_ = 0;
  bool is_complete_ = false;
  double longest_ = 0;
  host::AddressReader reader_;
};

double GapOfSearch(Prepared& prepared) {
  ImportAll(prepared.session());
  const auto memory = [] {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024;
  };
  Search search(prepared.database());
  const double before = memory();
  search.Ask("for the first time, \"hausen\"", "hausen");
  search.Ask("\"brunnen\"", "brunnen");
  search.Ask("\"e\"", "e");
  search.Ask("nothing, all in order", "");
  OpenConnection(prepared.database())
      ->Execute("UPDATE Kunden SET Bez1 = 'Neuhausen' WHERE KundenNummer = 100007");
  search.Ask("behind a change, \"hausen\"", "hausen");
  std::printf("greatest memory %.0f MiB, %.0f MiB before\n", memory(), before);
  return search.longest();
}

// In a process of its own.
void ReportGap(const std::string& file, const char* what, const std::function<double(Prepared&)>& measure) {
  const Pair gap = InProcess([&] {
    Prepared prepared(file);
    const double seconds = measure(prepared);
    std::fflush(stdout);
    return Pair{0, seconds};
  });
  Report(what, gap, kLongestGap, 1, "s");
}

}  // namespace

void MeasureGaps(const std::string& file) {
  ReportGap(file, "longest gap of step 1 over 1,000 specifications", GapOfStep1);
  ReportGap(file, "longest gap of step 2 while its settings change",
            [](Prepared& prepared) { return FollowingOfStep2(prepared.session()).without; });
  ReportGap(file, "first records behind a change in step 2",
            [](Prepared& prepared) { return FollowingOfStep2(prepared.session()).with; });
  ReportGap(file, "longest gap of step 3", [](Prepared& prepared) { return GapOfStep3(prepared.session()); });
  ReportGap(file, "longest gap of the translation editor", GapOfEditor);
  ReportGap(file, "longest gap of an import's window",
            [](Prepared& prepared) { return GapOfRun(prepared.session()); });
  ReportGap(file, "longest gap of the host's window", GapOfHost);
}

void MeasureSearch(const std::string& file) {
  ReportGap(file, "longest gap of the host's search", GapOfSearch);
}

}  // namespace kestrel::bench
