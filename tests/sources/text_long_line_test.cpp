// A file that is all one line costs at most twice its size in memory.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "sources/text_source.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using testing::TempFolder;

constexpr std::size_t kSize = std::size_t{32} << 20;

std::size_t MemoryNow(const std::string& which) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    std::size_t kib = 0;
    if (word == which && status >> kib) return kib << 10;
  }
  return 0;
}

class LongLine : public ::testing::TestWithParam<bool> {
 protected:
  // Opens the file in a process of its own, looks at every value and compares with what the file may cost.
  void ExpectAtMostTwice(const std::string& bytes) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer keeps memory that was given back";
#endif
    const std::string path = folder_.Write("long.txt", bytes);
    const pid_t child = fork();
    if (child == 0) {
      const std::size_t before = MemoryNow("VmRSS:");
      const RecordsetPtr records = OpenTextSource(path, {GetParam(), "ANSI", ";", "\""});
      std::size_t looked_at = 0;
      for (; !records->IsEof(); records->MoveNext()) {
        for (std::size_t i = 0; i < records->ColumnCount(); ++i) looked_at += records->TextAt(i).size();
      }
      const std::size_t cost = MemoryNow("VmHWM:") - before;
      constexpr std::size_t kReaderItself = std::size_t{4} << 20;
      _exit(looked_at < kSize / 2 && !GetParam() ? 2 : cost <= 2 * bytes.size() + kReaderItself ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 0) << (WEXITSTATUS(status) == 1 ? "too much memory" : "not read");
  }

  TempFolder folder_;
};

INSTANTIATE_TEST_SUITE_P(Headings, LongLine, ::testing::Bool());

TEST_P(LongLine, AsTheWholeFile) { ExpectAtMostTwice(std::string(kSize, 'x')); }

TEST_P(LongLine, AsOneEnclosedValueAmongRecords) {
  ExpectAtMostTwice("a;b\r\n\"" + std::string(kSize, 'x') + "\";y\r\nc;d\r\n");
}

TEST_P(LongLine, WithBytesToDecode) {
  std::string line(kSize, 'x');
  for (std::size_t i = 0; i < line.size(); i += 100) line[i] = '\xFC';
  ExpectAtMostTwice("a;b\r\n\"" + line + "\";y\r\nc;d\r\n");
}

}  // namespace
}  // namespace kestrel
