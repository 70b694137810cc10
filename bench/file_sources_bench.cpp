// file_sources_bench [RECORDS] [ROUNDS] [dbf|xls|xlsx]: what reading dBase tables and Excel workbooks costs.
//
// A dBase table is compared with a text file of the same content, an Excel workbook of 60,000 rows and 8
// columns with ssconvert (gnumeric), which must be installed to make it and then turns it into CSV. Everything
// is made in a scratch folder and measured in one run; times are CPU seconds, the least of several rounds.
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "cpu_time.h"
#include "kestrel/open_connection.h"
#include "kestrel/runtime_error.h"
#include "plain_read.h"
#include "platform/base/text.h"
#include "result_line.h"
#include "sources/text_source.h"

namespace {

using kestrel::bench::BestTime;
using kestrel::bench::CpuSecondsOf;

struct Column {
  const char* name;
  char type;
  unsigned char length;
};
constexpr Column kColumns[] = {{"NUMMER", 'N', 8},   {"VORNAME", 'C', 20}, {"NAME", 'C', 30},
                               {"STRASSE", 'C', 40}, {"PLZ", 'C', 5},      {"ORT", 'C', 30},
                               {"UMSATZ", 'N', 10},  {"SEIT", 'C', 10}};

using Record = std::vector<std::string>;  // UTF-8

Record MakeRecord(int number, std::mt19937& random) {
  constexpr const char* kFirst[] = {"Jürgen", "Käthe", "Anna", "Björn", "Max", "Ulrike"};
  constexpr const char* kLast[] = {"Müller", "Öztürk", "Schmidt", "Groß", "Meier", "Weiß"};
  constexpr const char* kTowns[] = {"München", "Köln", "Berlin", "Görlitz", "Düsseldorf", "Hamburg"};
  const auto below = [&](unsigned limit) {
    return std::uniform_int_distribution<unsigned>(0, limit - 1)(random);
  };
  char date[16];
  std::snprintf(date, sizeof date, "%02u.%02u.%04u", 1 + below(28), 1 + below(12), 1990 + below(30));
  return {std::to_string(number),
          kFirst[below(6)],
          kLast[below(6)] + std::to_string(below(100'000)),
          "Hauptstraße " + std::to_string(below(300)),
          std::to_string(10'000 + below(89'999)),
          kTowns[below(6)],
          std::to_string(below(100'000)) + "." + std::to_string(1 + below(9)) + "5",
          date};
}

void WriteText(const std::string& path, const std::vector<Record>& records, char delimiter, bool ansi) {
  std::ofstream file(path, std::ios::binary);
  std::string line;
  const auto put = [&](const char* end) {
    line.back() = '\r';
    file << (ansi ? kestrel::ToWindows1252(line) : line) << end;
    line.clear();
  };
  for (const Column& column : kColumns) (line += column.name) += delimiter;
  put("\n");
  for (const Record& record : records) {
    for (const std::string& value : record) (line += value) += delimiter;
    put("\n");
  }
}

void WriteDbf(const std::string& path, const std::vector<Record>& records) {
  std::ofstream file(path, std::ios::binary);
  const auto put = [&](std::size_t number, int bytes) {
    for (int i = 0; i < bytes; ++i) file.put(static_cast<char>(number >> (8 * i) & 0xFF));
  };
  std::size_t record_length = 1;
  for (const Column& column : kColumns) record_length += column.length;
  constexpr unsigned char kWindows1252Mark = 0x03;
  put(0x03, 4);
  put(records.size(), 4);
  put(32 + 32 * std::size(kColumns) + 1, 2);
  put(record_length, 2);
  file << std::string(17, '\0');
  put(kWindows1252Mark, 3);
  for (const Column& column : kColumns) {
    std::string descriptor = column.name;
    descriptor.resize(11);
    descriptor += column.type;
    descriptor.resize(16);
    descriptor += static_cast<char>(column.length);
    descriptor.resize(32);
    file << descriptor;
  }
  file.put(0x0D);
  for (const Record& record : records) {
    file.put(' ');
    for (std::size_t i = 0; i < record.size(); ++i) {
      const std::string value = kestrel::ToWindows1252(record[i]);
      const std::string fill(kColumns[i].length - value.size(), ' ');
      file << (kColumns[i].type == 'N' ? fill + value : value + fill);
    }
  }
  file.put(0x1A);
}

struct Totals {
  std::size_t records = 0;
  std::size_t bytes = 0;
};

Totals LookAtEverything(kestrel::Recordset& records) {
  Totals totals;
  const std::size_t columns = records.ColumnCount();
  for (; !records.IsEof(); records.MoveNext(), ++totals.records) {
    for (std::size_t column = 0; column < columns; ++column) totals.bytes += records.TextAt(column).size();
  }
  return totals;
}

void Print(const char* what, double seconds, const Totals& totals) {
  std::printf("  %-24s %7.3f s   %7.0f ns a record   (%zu records, %zu bytes)\n", what, seconds,
              seconds * 1e9 / static_cast<double>(totals.records), totals.records, totals.bytes);
}

double ChildCpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// CPU seconds of a command whose output is thrown away; none where it is missing or fails.
std::optional<double> CommandSeconds(const std::string& command) {
  const double begin = ChildCpuSeconds();
  if (std::system((command + " >/dev/null 2>&1").c_str()) != 0) return std::nullopt;
  return ChildCpuSeconds() - begin;
}

void CompareDbf(const std::string& folder, const std::vector<Record>& records, int rounds) {
  WriteText(folder + "/kunden.txt", records, ';', true);
  WriteDbf(folder + "/kunden.dbf", records);
  const kestrel::TextFormat format{
      .column_headings = true, .file_format = "ANSI", .delimiter = ";", .text_recognition = "\""};
  BestTime text_time, dbf_time, plain_time, peer_time;
  const std::string table = folder + "/kunden.dbf";
  Totals text, dbf;
  for (int round = 0; round < rounds; ++round) {
    text_time.Add(CpuSecondsOf(
        [&] { text = LookAtEverything(*kestrel::OpenTextSource(folder + "/kunden.txt", format)); }));
    dbf_time.Add(CpuSecondsOf([&] {
      const auto connection =
          kestrel::OpenConnection("Driver={Microsoft dBASE Driver (*.dbf)};DBQ=" + folder + "; DriverID=277");
      dbf = LookAtEverything(*connection->OpenRecordset("SELECT * From KUNDEN.DBF"));
    }));
    plain_time.Add(CpuSecondsOf([&] { kestrel::bench::PlainRead(table); }));
    if (const auto seconds = CommandSeconds("pgdbf '" + table + "'")) peer_time.Add(*seconds);
  }
  std::printf("dBase table and text file of one content, opened and read to the end\n");
  Print("text file", text_time.seconds(), text);
  Print("dBase table", dbf_time.seconds(), dbf);
  const double ratio = dbf_time.seconds() / text_time.seconds();
  std::printf("  dBase / text             %7.2f\n", ratio);
  // The table is filled up with blanks, and so twice as large as the text: what a byte costs is told besides.
  const auto size = static_cast<double>(std::filesystem::file_size(table));
  const double per_plain_read = dbf_time.seconds() / plain_time.seconds();
  std::printf("  dBase table, GB/s        %7.2f   %.2f plain reads of it\n", size / 1e9 / dbf_time.seconds(),
              per_plain_read);
  const bool has_peer = peer_time.seconds() < 1e6;
  if (has_peer) {
    std::printf("  pgdbf / dBase            %7.1f\n", peer_time.seconds() / dbf_time.seconds());
  } else {
    std::printf("  pgdbf is not installed\n");
  }
  std::printf("\n");
  const std::string what = "dBase record / the same record of a text file, " + std::to_string(records.size());
  kestrel::bench::Report({.what = what,
                          .ours = kestrel::bench::Seconds(dbf_time.seconds()),
                          .naive = kestrel::bench::Seconds(text_time.seconds()),
                          .ratio = ratio,
                          .limit = 1});
  kestrel::bench::Report(
      {.what = "dBase table opened and read / a plain read of it, " + std::to_string(records.size()),
       .ours = kestrel::bench::Fixed(size / 1e9 / dbf_time.seconds(), 2, " GB/s"),
       .naive = kestrel::bench::Fixed(size / 1e9 / plain_time.seconds(), 2, " GB/s"),
       .peers = has_peer ? "pgdbf " + kestrel::bench::Seconds(peer_time.seconds()) : "",
       .ratio = per_plain_read});
}

bool Convert(const std::string& from, const std::string& to) {
  return std::system(("ssconvert '" + from + "' '" + to + "' >/dev/null 2>&1").c_str()) == 0;
}

void CompareWorkbook(const std::string& folder, std::vector<Record> records, const std::string& extension,
                     int rounds) {
  constexpr std::size_t kRows = 60'000;
  records.resize(std::min(records.size(), kRows));
  const std::string path = folder + "/kunden." + extension;
  WriteText(folder + "/kunden.csv", records, ',', false);
  if (!Convert(folder + "/kunden.csv", path)) {
    std::printf("ssconvert (gnumeric) is not installed: no workbook to compare\n");
    return;
  }
  BestTime own_time, other_time;
  Totals own;
  for (int round = 0; round < rounds; ++round) {
    own_time.Add(CpuSecondsOf([&] {
      const auto connection =
          kestrel::OpenConnection("Driver={Microsoft Excel Driver (*.xls)};defaultdir=" + path);
      own = LookAtEverything(
          *connection->OpenRecordset("SELECT * FROM `" + connection->Tables().at(0).name + "`"));
    }));
  }
  // The other program takes long; two rounds suffice to tell.
  for (int round = 0; round < 2; ++round) {
    const double begin = ChildCpuSeconds();
    Convert(path, folder + "/ausgabe.csv");
    other_time.Add(ChildCpuSeconds() - begin);
  }
  std::printf("Workbook (.%s, %ju bytes) of %zu columns, opened and read to the end\n", extension.c_str(),
              static_cast<std::uintmax_t>(std::filesystem::file_size(path)), std::size(kColumns));
  Print("ssconvert to CSV", other_time.seconds(), own);
  Print("read here", own_time.seconds(), own);
  const double ratio = other_time.seconds() / own_time.seconds();
  std::printf("  ssconvert / here         %7.1f\n\n", ratio);
  const std::string what = "." + extension + " of 8 columns: ssconvert to CSV / reading here";
  kestrel::bench::Report({.what = what,
                          .ours = kestrel::bench::Seconds(own_time.seconds()),
                          .peers = "ssconvert " + kestrel::bench::Seconds(other_time.seconds()),
                          .ratio = ratio,
                          .limit = extension == "xls" ? 8.0 : 6.0,
                          .at_least = true});
}

void Run(std::size_t record_count, int rounds, const std::string& only) {
  std::string folder = (std::filesystem::temp_directory_path() / "kestrel-bench-XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) throw kestrel::ErrorFromErrno(errno, folder);
  std::mt19937 random(20240307);
  std::vector<Record> records;
  for (std::size_t i = 0; i < record_count; ++i) records.push_back(MakeRecord(static_cast<int>(i) + 1, random));
  if (only.empty() || only == "dbf") CompareDbf(folder, records, rounds);
  for (const char* extension : {"xls", "xlsx"}) {
    if (only.empty() || only == extension) CompareWorkbook(folder, records, extension, rounds);
  }
  std::filesystem::remove_all(folder);
}

}  // namespace

int main(int argument_count, char** arguments) {
  const long records = argument_count > 1 ? std::atol(arguments[1]) : 200'000;
  const int rounds = argument_count > 2 ? std::atoi(arguments[2]) : 5;
  if (argument_count > 4 || records < 1 || rounds < 1) {
    std::fprintf(stderr, "file_sources_bench [RECORDS] [ROUNDS] [dbf|xls|xlsx]\n");
    return 2;
  }
  try {
    Run(static_cast<std::size_t>(records), rounds, argument_count > 3 ? arguments[3] : "");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 4;
  }
}
