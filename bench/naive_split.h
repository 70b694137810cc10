// What a programmer writes on the first day: std::getline, and a vector of strings a line.
#pragma once

#include <cstddef>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace kestrel::bench {

struct SplitTotals {
  std::size_t records = 0;
  std::size_t values = 0;
  std::size_t value_bytes = 0;
};

// Cuts at delimiters outside quotes and drops the quotes.
inline void NaiveSplitLine(const std::string& line, char delimiter, char quote,
                           std::vector<std::string>& values) {
  values.clear();
  std::string value;
  bool quoted = false;
  for (const char character : line) {
    if (character == quote) {
      quoted = !quoted;
    } else if (character == delimiter && !quoted) {
      values.push_back(value);
      value.clear();
    } else {
      value += character;
    }
  }
  values.push_back(value);
}

// Splits every line of the file but the first.
inline SplitTotals NaiveSplit(const std::string& path, char delimiter = ';', char quote = '"') {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) throw std::runtime_error("cannot open " + path);
  SplitTotals totals;
  std::string line;
  std::vector<std::string> values;
  std::getline(stream, line);
  while (std::getline(stream, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty()) continue;
    NaiveSplitLine(line, delimiter, quote, values);
    ++totals.records;
    totals.values += values.size();
    for (const std::string& value : values) totals.value_bytes += value.size();
  }
  return totals;
}

}  // namespace kestrel::bench
