#include "platform/base/checksum.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace kestrel {
namespace {

TEST(Checksum, EveryByteCountsAtEveryLength) {
  std::string bytes;
  for (int length = 1; length <= 300; ++length) {
    bytes.push_back(static_cast<char>(length * 37));
    const std::uint64_t sum = ChecksumOf(bytes);
    EXPECT_EQ(ChecksumOf(std::string(bytes)), sum);
    for (std::size_t at = 0; at < bytes.size(); ++at) {
      std::string changed = bytes;
      changed[at] = static_cast<char>(changed[at] ^ 1);
      ASSERT_NE(ChecksumOf(changed), sum) << length << " bytes, changed at " << at;
    }
  }
}

TEST(Checksum, LengthAndOrderCount) {
  std::set<std::uint64_t> sums;
  for (std::size_t zeros = 0; zeros < 200; ++zeros) sums.insert(ChecksumOf(std::string(zeros, '\0')));
  EXPECT_EQ(sums.size(), 200u);
  for (const std::size_t distance : {128U, 256U, 4096U}) {
    const std::string zeros(distance, '\0');
    EXPECT_NE(ChecksumOf("a" + zeros + "b" + zeros), ChecksumOf("b" + zeros + "a" + zeros));
  }
  const std::string a(32, 'a');
  const std::string b(32, 'b');
  EXPECT_NE(ChecksumOf(a + b), ChecksumOf(b + a));
  EXPECT_NE(ChecksumOf("aaaaaaaabbbbbbbb" + a), ChecksumOf("bbbbbbbbaaaaaaaa" + a));
}

}  // namespace
}  // namespace kestrel
