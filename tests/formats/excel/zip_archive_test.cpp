// Archives whose directory tells sizes that are not those of their parts.
#include "formats/excel/zip_archive.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "platform/base/format_error.h"
#include "support/expect_error.h"
#include "support/zip_writer.h"

namespace kestrel::excel {
namespace {

using ::testing::HasSubstr;

constexpr std::size_t kSizeInEntry = 24;

// An archive of one part, of which the directory tells `size` bytes.
std::string ArchiveTelling(const std::string& content, std::uint32_t size) {
  testing::ZipWriter writer;
  writer.Add("part", content);
  std::string bytes = writer.Bytes();
  const std::size_t entry = bytes.rfind("PK\x01\x02");
  for (std::size_t i = 0; i < 4; ++i) bytes[entry + kSizeInEntry + i] = static_cast<char>(size >> 8 * i);
  return bytes;
}

// How many bytes of the part are unpacked before its end is found to be wrong.
std::size_t UnpackedOf(const std::string& bytes) {
  const ZipArchive archive(BytesOf(bytes));
  UnpackBudget budget(bytes.size());
  ZipStream stream(archive, *archive.Find("part"), budget);
  std::size_t unpacked = 0;
  char buffer[1000];
  try {
    while (const std::size_t size = stream.Read(buffer, sizeof buffer)) unpacked += size;
    ADD_FAILURE() << "nothing was told";
  } catch (const FormatError&) {
  }
  return unpacked;
}

TEST(ZipStream, NeverUnpacksMoreThanTheDirectoryTells) {
  // The last thousand are unpacked, and their checksum is another one.
  EXPECT_EQ(UnpackedOf(ArchiveTelling(std::string(1'000'000, 'x'), 50'000)), 49'000U);
}

TEST(ZipStream, TellsThatAPartIsShorterThanTheDirectoryTells) {
  EXPECT_EQ(UnpackedOf(ArchiveTelling(std::string(50'000, 'x'), 60'000)), 50'000U);
}

TEST(ZipStream, RefusesASizeThatNoPackingReaches) {
  const std::string bytes = ArchiveTelling(std::string(50'000, 'x'), 4'000'000'000);
  const ZipArchive archive(BytesOf(bytes));
  UnpackBudget budget(bytes.size());
  EXPECT_ERROR_TEXT(ZipStream(archive, *archive.Find("part"), budget), ErrorNumber::kDatabase,
                    HasSubstr("was bei seiner Größe nicht sein kann"));
}

TEST(ZipStream, EndsWhereTheBudgetOfAllPartsDoes) {
  testing::ZipWriter writer;
  writer.Add("part", std::string(1'000'000, 'x'));
  const std::string bytes = writer.Bytes();
  const ZipArchive archive(BytesOf(bytes));
  UnpackBudget budget(bytes.size());
  std::uint64_t unpacked = 0;
  const auto unpack_again_and_again = [&] {
    char buffer[8192];
    for (;;) {
      ZipStream stream(archive, *archive.Find("part"), budget);
      while (const std::size_t size = stream.Read(buffer, sizeof buffer)) unpacked += size;
    }
  };
  EXPECT_ERROR_TEXT(unpack_again_and_again(), ErrorNumber::kDatabase, HasSubstr("zusammen entpackt größer"));
  EXPECT_LE(unpacked, UnpackBudget::Limit(bytes.size()));
}

}  // namespace
}  // namespace kestrel::excel
