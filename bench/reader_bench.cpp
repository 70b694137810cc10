// reader_bench FILE [ROUNDS]: what reading a text source costs, beside the plainest ways of doing the same,
// all in one run. The file has a header line, ";" between values and '"' around some; generate_addresses
// writes such a one.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "cpu_time.h"
#include "kestrel/runtime_error.h"
#include "naive_split.h"
#include "plain_read.h"
#include "result_line.h"
#include "sources/text_source.h"

namespace {

using kestrel::bench::BestTime;
using kestrel::bench::CpuSecondsOf;
using kestrel::bench::SplitTotals;

SplitTotals LookAtEverything(kestrel::Recordset& records) {
  SplitTotals totals;
  const std::size_t columns = records.ColumnCount();
  for (records.MoveFirst(); !records.IsEof(); records.MoveNext()) {
    for (std::size_t column = 0; column < columns; ++column) {
      totals.value_bytes += records.TextAt(column).size();
    }
    totals.values += columns;
    ++totals.records;
  }
  return totals;
}

void Compare(const std::string& path, int rounds) {
  const kestrel::TextFormat format{
      .column_headings = true, .file_format = "ANSI", .delimiter = ";", .text_recognition = "\""};
  // No value is enclosed where the qualifier is no ASCII character.
  kestrel::TextFormat nothing_enclosed = format;
  nothing_enclosed.text_recognition = "§";
  BestTime plain_read, naive_split, open, open_plainly, look;
  SplitTotals naive, own;
  std::size_t bytes = 0;
  std::int64_t count = 0;
  for (int round = 0; round < rounds; ++round) {
    plain_read.Add(CpuSecondsOf([&] { bytes = kestrel::bench::PlainRead(path); }));
    naive_split.Add(CpuSecondsOf([&] { naive = kestrel::bench::NaiveSplit(path); }));
    kestrel::RecordsetPtr records;
    open.Add(CpuSecondsOf([&] {
      records = kestrel::OpenTextSource(path, format);
      count = records->RecordCount();
    }));
    open_plainly.Add(CpuSecondsOf([&] { kestrel::OpenTextSource(path, nothing_enclosed)->RecordCount(); }));
    look.Add(CpuSecondsOf([&] { own = LookAtEverything(*records); }));
  }
  std::printf("%zu bytes, %lld records, best of %d rounds, CPU seconds\n", bytes, static_cast<long long>(count),
              rounds);
  std::printf("  plain read             %7.3f\n", plain_read.seconds());
  std::printf("  open, exact count      %7.3f   %5.2f x plain read\n", open.seconds(),
              open.seconds() / plain_read.seconds());
  std::printf("  ... nothing enclosed   %7.3f   %+5.1f %% for enclosed values\n", open_plainly.seconds(),
              (open.seconds() / open_plainly.seconds() - 1) * 100);
  std::printf("  getline and split      %7.3f   %zu values, %zu bytes\n", naive_split.seconds(), naive.values,
              naive.value_bytes);
  std::printf("  look at every value    %7.3f   %5.2f x getline and split; %zu values, %zu bytes\n",
              look.seconds(), look.seconds() / naive_split.seconds(), own.values, own.value_bytes);
  std::printf("  open and look          %7.3f   %5.2f x getline and split\n", open.seconds() + look.seconds(),
              (open.seconds() + look.seconds()) / naive_split.seconds());
  const double speed = static_cast<double>(bytes) / 1e9 / look.seconds();
  std::printf("                                   %5.2f GB/s of file\n", speed);

  using kestrel::bench::Fixed;
  using kestrel::bench::Report;
  using kestrel::bench::Seconds;
  Report({.what = "open with exact record count / a plain read of the file",
          .ours = Seconds(open.seconds()),
          .naive = Seconds(plain_read.seconds()),
          .ratio = open.seconds() / plain_read.seconds(),
          .limit = 2});
  Report({.what = "look at every value / std::getline and split",
          .ours = Seconds(look.seconds()),
          .naive = Seconds(naive_split.seconds()),
          .ratio = look.seconds() / naive_split.seconds(),
          .limit = 0.3});
  Report({.what = "look at every value, GB/s of file",
          .ours = Fixed(speed, 2, " GB/s"),
          .naive = Fixed(static_cast<double>(bytes) / 1e9 / naive_split.seconds(), 2, " GB/s"),
          .ratio = speed,
          .limit = 1.4,
          .at_least = true});
}

}  // namespace

int main(int argument_count, char** arguments) {
  if (argument_count < 2 || argument_count > 3) {
    std::fprintf(stderr, "reader_bench FILE [ROUNDS]\n");
    return 2;
  }
  try {
    Compare(arguments[1], argument_count == 3 ? std::atoi(arguments[2]) : 5);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 4;
  }
}
