// plain_read FILE: CPU seconds of reading the file and doing nothing with it.
#include "plain_read.h"

#include <cstdio>

#include "cpu_time.h"

int main(int argument_count, char** arguments) {
  if (argument_count != 2) {
    std::fprintf(stderr, "plain_read FILE\n");
    return 2;
  }
  std::size_t bytes = 0;
  const double seconds = kestrel::bench::CpuSecondsOf([&] { bytes = kestrel::bench::PlainRead(arguments[1]); });
  std::printf("%zu bytes, %.3f s CPU\n", bytes, seconds);
}
