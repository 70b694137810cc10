// source_memory [RECORDS]: how much memory reading large files takes, beyond the file itself.
//
// Makes a table of RECORDS (500,000) customers of eight columns in each format (a workbook of the older format
// holds 65,535 a sheet), reads every value of it in a program of its own, this one called again, and prints
// that program's greatest memory.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "kestrel/open_connection.h"
#include "kestrel/runtime_error.h"
#include "result_line.h"
#include "support/biff_writer.h"
#include "support/dbf_writer.h"
#include "support/jet_builder.h"
#include "support/xlsx_writer.h"

namespace {

namespace support = kestrel::testing;
using Record = std::vector<std::string>;

constexpr const char* kColumns[] = {"NUMMER", "VORNAME", "NAME", "STRASSE", "PLZ", "ORT", "TELEFON", "NOTIZ"};
constexpr int kColumnCount = 8;

Record MakeRecord(int number) {
  const std::string digits = std::to_string(number);
  return {digits,
          number % 2 == 0 ? "Jörg" : "Käthe",
          "Müller " + digits,
          "Hauptstraße " + std::to_string(number % 300),
          std::to_string(10000 + number % 89999),
          number % 3 == 0 ? "München" : "Köln",
          "0221/" + std::to_string(number * 7),
          "Notiz zum Kunden " + digits};
}

std::string MakeDbf(int records) {
  std::vector<support::DbfColumn> columns;
  for (const char* name : kColumns) columns.push_back({name, 'C', 40});
  support::DbfWriter writer(columns);
  for (int number = 1; number <= records; ++number) {
    Record record = MakeRecord(number);
    for (std::string& value : record) value.resize(40, ' ');
    writer.Add(record);
  }
  return writer.Bytes();
}

// With `query`, there is a query besides that sorts the table.
std::string MakeMdb(int records, bool query) {
  support::JetBuilder builder;
  std::vector<support::JetBuilder::ColumnSpec> columns;
  for (const char* name : kColumns) columns.push_back({name});
  const std::size_t table = builder.AddTable("KUNDEN", std::move(columns));
  for (int number = 1; number <= records; ++number) {
    std::vector<support::JetBuilder::Cell> cells;
    for (const std::string& value : MakeRecord(number)) cells.emplace_back(builder.Text(value));
    builder.AddRow(table, std::move(cells));
  }
  if (query) {
    builder.AddQuery("SORTIERT",
                     {{1, 1}, {5, {}, "", "KUNDEN"}, {6, 0, "KUNDEN.*"}, {11, {}, "KUNDEN.NOTIZ", "D"}});
  }
  return builder.Build();
}

std::string MakeXls(int records) {
  constexpr int kMostRows = 65535;
  support::BiffWriter writer;
  int row = kMostRows, sheet = 0;
  for (int number = 1; number <= records; ++number) {
    if (row == kMostRows) {
      writer.Sheet("Tabelle" + std::to_string(++sheet));
      for (int column = 0; column < kColumnCount; ++column) writer.Text(0, column, kColumns[column]);
      row = 0;
    }
    ++row;
    const Record record = MakeRecord(number);
    for (int column = 0; column < kColumnCount; ++column) {
      writer.Text(row, column, record[static_cast<std::size_t>(column)]);
    }
  }
  return writer.Bytes();
}

std::string MakeXlsx(int records, support::XlsxWriter::Texts texts) {
  support::XlsxWriter writer(texts);
  writer.Sheet("Tabelle1");
  const auto put = [&](const auto& values) {
    std::vector<const std::string*> cells;
    for (const std::string& value : values) cells.push_back(&value);
    writer.Row(cells);
  };
  put(Record(std::begin(kColumns), std::end(kColumns)));
  for (int number = 1; number <= records; ++number) put(MakeRecord(number));
  return writer.Bytes();
}

// Runs a step in a program of its own, so that its memory is given back; false where it fails.
bool InAnotherProgram(const std::function<void()>& step, rusage& usage) {
  const pid_t child = fork();
  if (child == 0) {
    int status = 0;
    kestrel::Trap(step, [&](const kestrel::RuntimeError& error) {
      std::fprintf(stderr, "%s\n", error.what());
      status = 1;
    });
    _exit(status);
  }
  int status = 0;
  return wait4(child, &status, 0, &usage) == child && status == 0;
}

// Every value of every table.
int ReadAll(const char* connection_string) {
  const auto connection = kestrel::OpenConnection(connection_string);
  std::size_t bytes = 0, records = 0;
  for (const auto& table : connection->Tables()) {
    const auto rows = connection->OpenRecordset("SELECT * FROM `" + table.name + "`");
    for (; !rows->IsEof(); rows->MoveNext(), ++records) {
      for (std::size_t column = 0; column < rows->ColumnCount(); ++column) bytes += rows->TextAt(column).size();
    }
  }
  std::printf("  %9zu records", records);
  return bytes > 0 ? 0 : 1;
}

void Measure(const char* program, const std::string& name, const std::string& connection,
             const std::function<std::string()>& make) {
  const auto folder = std::filesystem::temp_directory_path() / ("source_memory." + std::to_string(getpid()));
  std::filesystem::create_directories(folder);
  const std::string path = folder / name;
  rusage usage{};
  const bool made = InAnotherProgram(
      [&] {
        const std::string bytes = make();
        std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
      },
      usage);
  std::printf("%-14s", name.c_str());
  std::fflush(stdout);
  const std::string whole = connection + path;
  const bool read =
      made && InAnotherProgram([&] { execl(program, program, "--read", whole.c_str(), nullptr); }, usage);
  if (read) {
    const double mebi = 1024 * 1024;
    const double file = static_cast<double>(std::filesystem::file_size(path)) / mebi;
    const double memory = static_cast<double>(usage.ru_maxrss) * 1024 / mebi;
    std::printf("  file %6.1f MiB   memory %6.1f MiB   memory / (file + 64 MiB) %5.2f\n", file, memory,
                memory / (file + 64));
    kestrel::bench::Report({.what = name + ", of the file and 64 MiB",
                            .ours = kestrel::bench::Fixed(memory, 0, " MiB"),
                            .ratio = memory / (file + 64),
                            .limit = 1});
  } else {
    std::printf("  failed\n");
  }
  std::filesystem::remove_all(folder);
}

}  // namespace

int main(int argument_count, char** arguments) {
  if (argument_count == 3 && std::string(arguments[1]) == "--read") return ReadAll(arguments[2]);
  const int records = argument_count > 1 ? std::atoi(arguments[1]) : 500'000;
  if (records < 1) return 2;
  using Texts = support::XlsxWriter::Texts;
  const char* const program = "/proc/self/exe";
  const std::string excel = "Driver={Microsoft Excel Driver (*.xls)};defaultdir=";
  Measure(program, "kunden.dbf",
          "Driver={Microsoft dBASE Driver (*.dbf)};DBQ=", [&] { return MakeDbf(records); });
  const std::string access = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=";
  Measure(program, "kunden.mdb", access, [&] { return MakeMdb(records, false); });
  Measure(program, "abfrage.mdb", access, [&] { return MakeMdb(records, true); });
  Measure(program, "kunden.xls", excel, [&] { return MakeXls(records); });
  Measure(program, "kunden.xlsx", excel, [&] { return MakeXlsx(records, Texts::kShared); });
  Measure(program, "in_zellen.xlsx", excel, [&] { return MakeXlsx(records, Texts::kInCells); });
}
