// What a program measured, for the table of run_all: a line of JSON for each result, appended to the file that
// KESTREL_BENCH_RESULTS names. Without that variable nothing is written.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kestrel::bench {

// A ratio of two figures of one run. Texts are shown as they are; an empty one leaves its column empty.
struct ResultLine {
  std::string_view what;
  std::string ours;
  std::string naive = {};  // the plainest program's figure
  std::string peers = {};  // those of other programs, each with its name
  double ratio = 0;        // of which `what` says what it divides
  double limit = 0;        // 0 where none is asked for
  bool at_least = false;   // the limit is the least that is asked for, not the most
};

inline std::string Fixed(double number, int digits, std::string_view unit = {}) {
  char text[32];
  const int size = std::snprintf(text, sizeof text, "%.*f", digits, number);
  return std::string(text, static_cast<std::size_t>(size)).append(unit);
}
inline std::string Seconds(double seconds) { return Fixed(seconds, 3, " s"); }

inline void Report(const ResultLine& line) {
  const char* path = std::getenv("KESTREL_BENCH_RESULTS");
  if (path == nullptr) return;
  const auto quoted = [](std::string_view text) {
    std::string json = "\"";
    for (const char c : text) (c == '"' || c == '\\' ? json += '\\' : json) += c;
    return json + '"';
  };
  std::FILE* file = std::fopen(path, "a");
  if (file == nullptr) throw std::runtime_error(std::string("cannot write ") + path);
  std::fprintf(file, "{\"what\": %s, \"ours\": %s, \"naive\": %s, \"peers\": %s, \"ratio\": %.4g, ",
               quoted(line.what).c_str(), quoted(line.ours).c_str(), quoted(line.naive).c_str(),
               quoted(line.peers).c_str(), line.ratio);
  std::fprintf(file, "\"limit\": %.4g, \"at_least\": %s}\n", line.limit, line.at_least ? "true" : "false");
  std::fclose(file);
}

}  // namespace kestrel::bench
