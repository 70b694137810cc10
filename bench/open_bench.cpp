// open_bench FILE [ROUNDS]: what opening a text source with the exact number of its records costs, beside a plain
// read of the same file, in the layouts that files come in. FILE is one of generate_addresses; the others are made
// of it in a scratch folder.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "cpu_time.h"
#include "kestrel/runtime_error.h"
#include "plain_read.h"
#include "platform/base/text.h"
#include "result_line.h"
#include "sources/text_source.h"

namespace {

using kestrel::bench::BestTime;
using kestrel::bench::CpuSecondsOf;

struct Layout {
  const char* name;
  // The file's line of a record, without its end, in Windows-1252.
  std::function<std::string(const std::string& line)> change;
  const char* line_end = "\n";
};

std::string AsItIs(const std::string& line) { return line; }

// Its values without qualifiers, the delimiters within them as commas.
std::string Bare(const std::string& line) {
  std::string bare;
  bool enclosed = false;
  for (const char c : line) {
    if (c == '"') {
      enclosed = !enclosed;
    } else {
      bare += c == ';' && enclosed ? ',' : c;
    }
  }
  return bare;
}

// Each value enclosed.
std::string Enclosed(const std::string& line) {
  std::string enclosed = "\"";
  for (const char c : Bare(line)) c == ';' ? enclosed += "\";\"" : enclosed += c;
  return enclosed + '"';
}

// Only the last value, which is empty in four records of ten.
std::string LastEnclosed(const std::string& line) {
  const std::string bare = Bare(line);
  const std::size_t last = bare.rfind(';') + 1;
  return bare.substr(0, last) + '"' + bare.substr(last) + '"';
}

// The first enclosed value with a line feed at its first blank.
std::string WithInnerLineFeed(const std::string& line) {
  std::string changed = line;
  const std::size_t blank = changed.find(' ', changed.find('"'));
  if (blank != std::string::npos && changed.find('"', blank) != std::string::npos) changed[blank] = '\n';
  return changed;
}

const std::vector<Layout>& Layouts() {
  static const std::vector<Layout> layouts = {
      {"CR LF, as it is", AsItIs, "\r\n"},
      {"LF, nothing enclosed", Bare},
      {"LF, some values enclosed", AsItIs},
      {"LF, every value enclosed", Enclosed},
      {"LF, only the last value enclosed", LastEnclosed},
      {"LF, some values enclosed, UTF-8",
       [](const std::string& line) { return kestrel::FromWindows1252(line); }},
      {"LF, one within a value of each record", WithInnerLineFeed},
      {"LF, one within a value of each record, UTF-8",
       [](const std::string& line) { return WithInnerLineFeed(kestrel::FromWindows1252(line)); }},
  };
  return layouts;
}

// How many lines it has made.
std::int64_t Write(const std::string& from, const std::string& to, const Layout& layout) {
  std::ifstream source(from, std::ios::binary);
  std::ofstream target(to, std::ios::binary);
  std::string line;
  std::int64_t lines = 0;
  for (; std::getline(source, line); ++lines) {
    if (line.ends_with('\r')) line.pop_back();
    target << layout.change(line) << layout.line_end;
  }
  if (lines < 2 || !target.flush()) throw std::runtime_error("cannot make " + to + " of " + from);
  return lines;
}

void Measure(const std::string& path, const Layout& layout, std::int64_t records, int rounds) {
  const kestrel::TextFormat format{
      .column_headings = true, .file_format = "ANSI", .delimiter = ";", .text_recognition = "\""};
  BestTime plain_read, open;
  for (int round = 0; round < rounds; ++round) {
    plain_read.Add(CpuSecondsOf([&] { kestrel::bench::PlainRead(path); }));
    std::int64_t count = 0;
    open.Add(CpuSecondsOf([&] { count = kestrel::OpenTextSource(path, format)->RecordCount(); }));
    if (count != records) throw std::runtime_error(std::string("counted wrongly: ") + layout.name);
  }
  const double ratio = open.seconds() / plain_read.seconds();
  std::printf("%-46s %7.3f s / %7.3f s = %5.2f\n", layout.name, open.seconds(), plain_read.seconds(), ratio);
  kestrel::bench::Report({.what = std::string("open / plain read: ") + layout.name,
                          .ours = kestrel::bench::Seconds(open.seconds()),
                          .naive = kestrel::bench::Seconds(plain_read.seconds()),
                          .ratio = ratio,
                          .limit = 2});
}

struct ScratchFolder {
  ScratchFolder() {
    if (mkdtemp(path.data()) == nullptr) throw kestrel::ErrorFromErrno(errno, path);
  }
  ~ScratchFolder() { std::filesystem::remove_all(path); }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string path = (std::filesystem::temp_directory_path() / "kestrel-open-XXXXXX").string();
};

void Run(const std::string& file, int rounds) {
  const ScratchFolder folder;
  const std::string path = folder.path + "/adressen.txt";
  for (const Layout& layout : Layouts()) Measure(path, layout, Write(file, path, layout) - 1, rounds);
}

}  // namespace

int main(int argument_count, char** arguments) {
  if (argument_count < 2 || argument_count > 3) {
    std::fprintf(stderr, "open_bench FILE [ROUNDS]\n");
    return 2;
  }
  try {
    Run(arguments[1], argument_count == 3 ? std::atoi(arguments[2]) : 5);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 4;
  }
}
