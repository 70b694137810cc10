// Files that Access since 2007 encrypted: they open with their password and with no other.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kestrel/open_connection.h"
#include "platform/data/providers/access/access_connection.h"
#include "support/expect_error.h"
#include "support/jet_builder.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using ::testing::HasSubstr;
using testing::JetBuilder;
using testing::Le16;
using testing::Le32;
using ::testing::Not;
using testing::OfficeScheme;

constexpr std::uint32_t kRows = 300;

std::string Encrypted(testing::OfficeEncryption encryption) {
  JetBuilder builder;
  const auto table = builder.AddTable("Kunden", {{"Nr", 4, 4}, {"Name"}});
  for (std::uint32_t i = 0; i < kRows; ++i)
    builder.AddRow(table, {Le32(i), builder.Text("Müller " + std::to_string(i))});
  builder.SetPageKey(0x12345678);
  builder.SetEncryption(std::move(encryption));
  return builder.Build();
}

access::AccessConnection Connect(const std::string& bytes, std::string_view password) {
  return access::AccessConnection(access::Database(bytes, password));
}

std::string ErrorOf(const std::string& bytes, std::string_view password) {
  try {
    Connect(bytes, password);
  } catch (const RuntimeError& error) {
    EXPECT_TRUE(error.Is(ErrorNumber::kDatabase)) << error.Number();
    return error.Description();
  }
  return "no error";
}

class EncryptedAccessFile : public ::testing::TestWithParam<OfficeScheme> {};

TEST_P(EncryptedAccessFile, OpensWithItsPassword) {
  const std::string bytes = Encrypted(testing::EncryptFor(GetParam(), "Geh€im"));
  EXPECT_EQ(bytes.find(testing::Utf16("Müller")), std::string::npos);
  access::AccessConnection connection = Connect(bytes, "Geh€im");
  const RecordsetPtr rows = connection.OpenRecordset("SELECT * From Kunden");
  ASSERT_EQ(rows->RecordCount(), kRows);
  for (std::uint32_t i = 0; i < kRows; ++i, rows->MoveNext()) {
    ASSERT_EQ(rows->TextAt(0), std::to_string(i));
    ASSERT_EQ(rows->TextAt(1), "Müller " + std::to_string(i));
  }
}

TEST_P(EncryptedAccessFile, OpensWithNoOtherPassword) {
  const std::string bytes = Encrypted(testing::EncryptFor(GetParam(), "Geheim"));
  EXPECT_THAT(ErrorOf(bytes, ""), HasSubstr("mit einem Kennwort geschützt"));
  for (const char* wrong : {"geheim", "Geheim ", "Gehei", "x"}) {
    const std::string error = ErrorOf(bytes, wrong);
    EXPECT_THAT(error, HasSubstr("Kein zulässiges Kennwort")) << wrong;
    EXPECT_THAT(error, Not(HasSubstr("eheim"))) << wrong;
  }
}

TEST_P(EncryptedAccessFile, CutAnywhereItIsToldOrReadWhole) {
  const std::string whole = Encrypted(testing::EncryptFor(GetParam(), "x"));
  int told = 0;
  for (std::size_t length = 0; length < whole.size(); length += 1500) {
    SCOPED_TRACE(length);
    try {
      access::AccessConnection connection = Connect(whole.substr(0, length), "x");
      const RecordsetPtr rows = connection.OpenRecordset("SELECT * From Kunden");
      std::int64_t records = 0;
      bool broken_off = rows->BrokenOff().has_value();
      for (; !rows->IsEof(); ++records) {
        Trap([&] { rows->MoveNext(); }, [&](const RuntimeError&) { broken_off = true; });
      }
      if (broken_off) ++told;
      EXPECT_TRUE(broken_off || records == kRows);
    } catch (const RuntimeError& error) {
      EXPECT_TRUE(error.Is(ErrorNumber::kDatabase)) << error.what();
      ++told;
    }
  }
  EXPECT_GT(told, 0);
}

std::string SchemeName(const ::testing::TestParamInfo<OfficeScheme>& info) {
  switch (info.param) {
    case OfficeScheme::kRc4Short: return "Rc4Short";
    case OfficeScheme::kRc4Export: return "Rc4Export";
    case OfficeScheme::kRc4: return "Rc4";
    case OfficeScheme::kStandard: return "Standard";
    case OfficeScheme::kStandard256: return "Standard256";
    case OfficeScheme::kAesWithoutSay: return "AesWithoutSay";
    case OfficeScheme::kAgile: return "Agile";
  }
  return "";
}

INSTANTIATE_TEST_SUITE_P(Schemes, EncryptedAccessFile,
                         ::testing::Values(OfficeScheme::kRc4Short, OfficeScheme::kRc4Export,
                                           OfficeScheme::kRc4, OfficeScheme::kStandard,
                                           OfficeScheme::kStandard256, OfficeScheme::kAesWithoutSay,
                                           OfficeScheme::kAgile),
                         SchemeName);

TEST(EncryptedAccessFiles, AnUnknownSchemeIsNamed) {
  testing::OfficeEncryption unknown = testing::EncryptFor(OfficeScheme::kRc4, "x");
  unknown.info = Le16(4) + Le16(3) + unknown.info.substr(4);
  EXPECT_THAT(ErrorOf(Encrypted(unknown), "x"), HasSubstr("4.3"));
  testing::OfficeEncryption agile = testing::EncryptFor(OfficeScheme::kAgile, "x");
  for (std::size_t at; (at = agile.info.find("\"AES\"")) != std::string::npos;)
    agile.info.replace(at, 5, "\"RC2\"");
  EXPECT_THAT(ErrorOf(Encrypted(agile), "x"), HasSubstr("RC2"));
}

TEST(EncryptedAccessFiles, DamagedInformationAboutTheSchemeIsAnError) {
  for (const OfficeScheme scheme : {OfficeScheme::kStandard, OfficeScheme::kAgile, OfficeScheme::kRc4}) {
    const testing::OfficeEncryption whole = testing::EncryptFor(scheme, "x");
    // Behind the keys only XML is closed.
    const std::size_t end = std::min(whole.info.size(), whole.info.find("/></keyEncryptor>"));
    for (std::size_t length = 0; length < end; length += 7) {
      testing::OfficeEncryption cut = whole;
      cut.info.resize(length);
      EXPECT_NE(ErrorOf(Encrypted(cut), "x"), "no error") << length;
    }
  }
}

TEST(EncryptedAccessFiles, PublicFilesOpenWithTheirPasswords) {
  const std::string folder = testing::TestDataFolder();
  if (folder.empty()) GTEST_SKIP() << "the folder of public test files is absent";
  const auto open = [&](const std::string& name, const std::string& password) {
    return OpenConnection("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder + "/accdb/" + name +
                          ";Password=" + password + ";User ID=");
  };
  const RecordsetPtr old = open("db2007-enc.accdb", "Test123")->OpenRecordset("SELECT * From Table1");
  ASSERT_EQ(old->RecordCount(), 1);
  EXPECT_EQ(old->TextAt(1), "foo");
  const RecordsetPtr later = open("db2013-enc.accdb", "1234")->OpenRecordset("SELECT * From Customers");
  ASSERT_EQ(later->RecordCount(), 7);
  EXPECT_EQ(later->TextAt(1), "Test");
  EXPECT_ERROR_TEXT(open("db2007-enc.accdb", "test123"), ErrorNumber::kDatabase, HasSubstr("Kennwort"));
  EXPECT_ERROR_TEXT(open("db2013-enc.accdb", ""), ErrorNumber::kDatabase, HasSubstr("Kennwort"));
}

}  // namespace
}  // namespace kestrel
