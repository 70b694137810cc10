// wizard_bench FILE [ROUNDS [preview|page3|run|gaps|search]]: what the windows cost beside the work they show, all or
// one of them. FILE is one that generate_addresses wrote. Windows are shown on the offscreen platform; times are CPU
// seconds.
//
//   preview       frmPrev, from the click to the first painting, against opening the same source and counting
//                 its records without a window
//   page 3        frmStep3 likewise, against reading the source's column names, which is all it needs
//   run window    frmImport around a run in test mode, against the same run with a view that shows nothing;
//                 both runs answer the closing box at once
//   gaps          how long the windows do not answer at most (wizard_gaps.h). Seconds by the clock, so of a machine at rest.
//   search        the sample host's search among its addresses, which are those of FILE (wizard_gaps.h)
//
// Every measurement is a process of its own, in which a preview of a small file has been shown before: fonts
// and style are loaded then, as they are for a person who has come to these windows.
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "cpu_time.h"
#include "kestrel/wizard.h"
#include "mapping/field_assignment.h"
#include "prepared_session.h"
#include "window_measure.h"
#include "wizard/frmImport.h"
#include "wizard/frmPrev.h"
#include "wizard/frmStep3.h"
#include "wizard_gaps.h"

namespace kestrel::bench {
namespace {

constexpr double kSecondsToOpen = 0.1;
constexpr double kBytesToOpen = 32 << 20;
constexpr double kShareOfRun = 0.05;
constexpr double kMiB = 1 << 20;

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

// --- Processes ----------------------------------------------------------------------------------

using Work = void (*)(Session&);

// CPU seconds: the least of several rounds, which is the one least disturbed. The two take turns in one
// process, so that both find memory and caches alike.
Pair Seconds(const std::string& file, int rounds, Work without, Work with) {
  return InProcess([&] {
    BestTime least_without, least_with;
    for (int round = 0; round < rounds; ++round) {
      for (const auto& turn : {std::pair(without, &least_without), std::pair(with, &least_with)}) {
        Prepared prepared(file);
        turn.second->Add(CpuSecondsOf([&] { turn.first(prepared.session()); }));
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

}  // namespace
}  // namespace kestrel::bench

int main(int argument_count, char** arguments) {
  if (argument_count < 2 || argument_count > 4) {
    std::fprintf(stderr, "wizard_bench FILE [ROUNDS [preview|page3|run|gaps|search]]\n");
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
    if (only.empty() || only == "search") kestrel::bench::MeasureSearch(file);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 4;
  }
}
