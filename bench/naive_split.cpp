// naive_split FILE: CPU seconds of reading and splitting the file in the plainest way.
#include "naive_split.h"

#include <cstdio>

#include "cpu_time.h"

int main(int argument_count, char** arguments) {
  if (argument_count != 2) {
    std::fprintf(stderr, "naive_split FILE\n");
    return 2;
  }
  kestrel::bench::SplitTotals totals;
  const double seconds =
      kestrel::bench::CpuSecondsOf([&] { totals = kestrel::bench::NaiveSplit(arguments[1]); });
  std::printf("%zu records, %zu values, %zu bytes, %.3f s CPU\n", totals.records, totals.values,
              totals.value_bytes, seconds);
}
