// access_read [ROWS]: reads an Access file that it makes (Jet 4, some 100 bytes a row) with the provider and
// with mdb-export, and prints the CPU seconds of both.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "cpu_time.h"
#include "kestrel/open_connection.h"
#include "result_line.h"
#include "support/jet_builder.h"

namespace {

using kestrel::testing::JetBuilder;

std::string MakeFile(std::uint32_t rows) {
  JetBuilder builder;
  const auto table = builder.AddTable("Kunden", {{"Nr", 4, 4},
                                                 {"Name"},
                                                 {"Strasse"},
                                                 {"PLZ"},
                                                 {"Ort"},
                                                 {"Seit", 8, 8},
                                                 {"Umsatz", 5, 8},
                                                 {"Faktor", 7, 8},
                                                 {"Aktiv", 1},
                                                 {"Notiz", 12}});
  for (std::uint32_t i = 0; i < rows; ++i) {
    const std::string number = std::to_string(i);
    builder.AddRow(table,
                   {kestrel::testing::Le32(i), builder.Text("Müller & Söhne " + number),
                    builder.Text("Hauptstrasse " + number), builder.Text(std::to_string(10000 + i % 90000)),
                    builder.Text("Koeln"), kestrel::testing::LeDouble(30000 + i % 9000),
                    kestrel::testing::Le64(std::uint64_t{i} * 1234), kestrel::testing::LeDouble(i * 0.25),
                    i % 2 == 0 ? JetBuilder::Cell("") : std::nullopt,
                    builder.Inline(builder.Text("Notiz zu Kunde " + number))});
  }
  return builder.Build();
}

std::size_t ReadAll(const std::string& path) {
  const auto connection =
      kestrel::OpenConnection("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + path + ";Password=;User ID=");
  const auto rows = connection->OpenRecordset("SELECT * From Kunden");
  std::size_t bytes = 0;
  for (; !rows->IsEof(); rows->MoveNext()) {
    for (std::size_t column = 0; column < rows->ColumnCount(); ++column) bytes += rows->TextAt(column).size();
  }
  return bytes;
}

// CPU seconds of mdb-export, its output thrown away; negative where it is missing or fails.
double ExportSeconds(const std::string& path) {
  const pid_t child = fork();
  if (child == 0) {
    if (std::freopen("/dev/null", "w", stdout) == nullptr) _exit(127);
    execlp("mdb-export", "mdb-export", path.c_str(), "Kunden", nullptr);
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) != child || status != 0) return -1;
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace

int main(int argument_count, char** arguments) {
  constexpr std::uint32_t kRows = 150000;
  constexpr int kRounds = 5;
  const std::uint32_t rows =
      argument_count > 1 ? static_cast<std::uint32_t>(std::strtoul(arguments[1], nullptr, 10)) : kRows;
  const std::string path =
      std::filesystem::temp_directory_path() / ("access_read." + std::to_string(getpid()) + ".mdb");
  const std::string file = MakeFile(rows);
  std::ofstream(path, std::ios::binary).write(file.data(), static_cast<std::streamsize>(file.size()));
  kestrel::bench::BestTime ours;
  kestrel::bench::BestTime theirs;
  std::size_t bytes = 0;
  bool exported = true;
  for (int round = 0; round < kRounds; ++round) {
    ours.Add(kestrel::bench::CpuSecondsOf([&] { bytes = ReadAll(path); }));
    const double seconds = exported ? ExportSeconds(path) : -1;
    exported = seconds >= 0;
    theirs.Add(seconds);
  }
  std::filesystem::remove(path);
  std::printf("file        %.1f MB, %u rows, %zu bytes of text\n", static_cast<double>(file.size()) / 1e6, rows,
              bytes);
  std::printf("provider    %.3f s CPU\n", ours.seconds());
  if (!exported) {
    std::printf("mdb-export  not installed (package mdbtools)\n");
    return 0;
  }
  const double ratio = theirs.seconds() / ours.seconds();
  std::printf("mdb-export  %.3f s CPU, %.1f times as much\n", theirs.seconds(), ratio);
  kestrel::bench::Report({.what = "a table: mdb-export / reading here",
                          .ours = kestrel::bench::Seconds(ours.seconds()),
                          .peers = "mdb-export " + kestrel::bench::Seconds(theirs.seconds()),
                          .ratio = ratio,
                          .limit = 4,
                          .at_least = true});
}
