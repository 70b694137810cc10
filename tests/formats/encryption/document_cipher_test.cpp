// Files of this folder's make_encrypted.py, which encrypts with another library.
#include <gtest/gtest.h>

#include "formats/encryption/agile_encryption.h"
#include "formats/encryption/document_cipher.h"
#include "platform/base/text.h"
#include "platform/data/workbook_test_support.h"
#include "support/expect_error.h"

namespace kestrel::encryption {

using ::kestrel::testing::FixturePath;
using ::kestrel::testing::ReadBytes;
using ::testing::AllOf;
using ::testing::HasSubstr;

namespace {

// What a container of two streams says about its encryption, and the first segment of its package.
struct Container {
  std::string info;
  std::string segment;
};
Container ReadContainer(const std::string& name, std::string_view version) {
  constexpr std::size_t kSector = 512;
  const std::string file = ReadBytes(FixturePath(name));
  const std::size_t info = file.find(version, kSector);
  // The package begins in the sector behind those of the small stream, its length first.
  constexpr std::size_t kInfoSize = 1984;
  const std::size_t package =
      (info + ReadU32(BytesOf(file), 2 * kSector + 128 + 120) + kSector - 1) / kSector * kSector;
  return {file.substr(info, kInfoSize), file.substr(package + 8, 4096)};
}

constexpr std::string_view kAgileVersion("\x04\0\x04\0\x40\0\0\0<?xml", 13);
constexpr std::string_view kStandardVersion("\x04\0\x02\0\x24\0\0\0", 8);

// What the record behind the first one of a bare workbook stream says, without the kind of its encryption.
std::string FilePass(const std::string& name) {
  constexpr std::size_t kFirstRecord = 20;
  return ReadBytes(FixturePath(name)).substr(kFirstRecord + 4 + 2, 1024);
}

}  // namespace

void ExpectOpensWithItsPasswordOnly(Container& container) {
  EXPECT_EQ(OpenCipher(BytesOf(container.info), "falsch"), nullptr);
  const auto cipher = OpenCipher(BytesOf(container.info), kDefaultPassword);
  ASSERT_NE(cipher, nullptr);
  cipher->Decrypt(0, container.segment);
  EXPECT_EQ(container.segment.substr(0, 4), "PK\x03\x04");
}

TEST(OfficeCrypto, AgileEncryptionOpensWithItsPasswordOnly) {
  Container container = ReadContainer("kunden_agile.xlsx", kAgileVersion);
  container.info.resize(container.info.find("</encryption>") + 13);
  EXPECT_TRUE(IsAgile(BytesOf(container.info)));
  ExpectOpensWithItsPasswordOnly(container);
}

TEST(OfficeCrypto, APasswordIsNotHashedForLongerThanAPersonWaits) {
  const std::string told = ReadContainer("kunden_agile.xlsx", kAgileVersion).info.substr(8);
  const auto with_rounds = [&](const std::string& rounds) {
    std::string xml = ReplaceAll(told, "spinCount=\"1000\"", "spinCount=\"" + rounds + "\"");
    xml.resize(xml.find("</encryption>") + 13);
    return xml;
  };
  EXPECT_EQ(ReadAgileEncryption(BytesOf(with_rounds("2000000"))).rounds, 2'000'000U);
  for (const char* rounds : {"2000001", "10000000", "4294967295"}) {
    EXPECT_ERROR_TEXT(ReadAgileEncryption(BytesOf(with_rounds(rounds))), ErrorNumber::kDatabase,
                      AllOf(HasSubstr(std::string(rounds) + " Durchgänge"), HasSubstr("ohne Kennwort")));
  }
}

TEST(OfficeCrypto, StandardEncryptionOpensWithItsPasswordOnly) {
  Container container = ReadContainer("kunden_standard.xlsx", kStandardVersion);
  EXPECT_FALSE(IsAgile(BytesOf(container.info)));
  ExpectOpensWithItsPasswordOnly(container);
}

TEST(OfficeCrypto, Rc4WithKeysByTheSystemOpensWithItsPasswordOnly) {
  const std::string info = FilePass("kunden_cryptoapi.xls");
  EXPECT_NE(OpenCipher(BytesOf(info), kDefaultPassword), nullptr);
  EXPECT_EQ(OpenCipher(BytesOf(info), "velvetSweatshop"), nullptr);
}

TEST(OfficeCrypto, ABlockOfAesThatIsIncompleteIsDamaged) {
  const Container container = ReadContainer("kunden_standard.xlsx", kStandardVersion);
  const auto cipher = OpenCipher(BytesOf(container.info), kDefaultPassword);
  std::string bytes(15, 'x');
  EXPECT_ERROR_TEXT(cipher->Decrypt(0, bytes), ErrorNumber::kDatabase, HasSubstr("unvollständig"));
}

TEST(OfficeCrypto, AnUnknownEncryptionIsToldByName) {
  EXPECT_ERROR_TEXT(OpenCipher(BytesOf(std::string_view("\x07\0\x09\0\0\0\0\0", 8)), ""),
                    ErrorNumber::kDatabase, HasSubstr("Version 7.9"));
  Container container = ReadContainer("kunden_agile.xlsx", kAgileVersion);
  container.info.replace(container.info.find("\"AES\""), 5, "\"RC2\"");
  EXPECT_ERROR_TEXT(OpenCipher(BytesOf(container.info), ""), ErrorNumber::kDatabase, HasSubstr("RC2"));
}

TEST(OfficeCrypto, InfoThatIsCutIsDamagedAndNothingWorse) {
  for (const Container& container : {ReadContainer("kunden_agile.xlsx", kAgileVersion),
                                     ReadContainer("kunden_standard.xlsx", kStandardVersion)}) {
    const std::size_t end = std::min(container.info.find("</keyEncryptor>"), std::size_t{150});
    for (std::size_t size = 0; size < end; ++size) {
      EXPECT_ERROR(OpenCipher(BytesOf(container.info).first(size), "x"), ErrorNumber::kDatabase) << size;
    }
  }
}

}  // namespace kestrel::encryption
