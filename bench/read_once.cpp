// read_once FILE: opens a text file of generate_addresses, looks at every value once and prints the CPU seconds of
// both. Its memory is that of one reading.
#include <cstdio>

#include "cpu_time.h"
#include "kestrel/runtime_error.h"
#include "sources/text_source.h"

int main(int argument_count, char** arguments) {
  using kestrel::bench::CpuSecondsOf;
  if (argument_count != 2) {
    std::fprintf(stderr, "read_once FILE\n");
    return 2;
  }
  const kestrel::TextFormat format{
      .column_headings = true, .file_format = "ANSI", .delimiter = ";", .text_recognition = "\""};
  return kestrel::Trap(
             [&] {
               kestrel::RecordsetPtr records;
               const double open =
                   CpuSecondsOf([&] { records = kestrel::OpenTextSource(arguments[1], format); });
               std::size_t bytes = 0;
               const double look = CpuSecondsOf([&] {
                 for (; !records->IsEof(); records->MoveNext()) {
                   for (std::size_t i = 0; i < records->ColumnCount(); ++i) bytes += records->TextAt(i).size();
                 }
               });
               std::printf("%lld %.6f %.6f %zu\n", static_cast<long long>(records->RecordCount()), open, look,
                           bytes);
             },
             [](const kestrel::RuntimeError& error) { std::fprintf(stderr, "%s\n", error.what()); })
             ? 0
             : 4;
}
