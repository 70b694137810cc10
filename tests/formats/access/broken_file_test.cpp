// Damaged Access files: whatever they hold, reading ends soon, with rows or with an error in words.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "formats/access/database.h"
#include "support/access_sample.h"
#include "support/expect_error.h"
#include "support/jet_builder.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using testing::JetBuilder;
using testing::Le32;

// A few bytes changed, mostly to values that mean something elsewhere in the file, or the end cut off.
std::string Damaged(std::string bytes, std::mt19937& random) {
  const auto below = [&](std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
  };
  if (below(40) == 0) bytes.resize(below(bytes.size()));
  for (std::size_t change = 1 + below(12); change > 0 && !bytes.empty(); --change) {
    // Numbers that steer the reader stand at the start of a page.
    std::size_t at = below(bytes.size());
    if (below(2) == 0) at = std::min(at / 2048 * 2048 + below(120), bytes.size() - 1);
    constexpr std::string_view kValues("\x00\x01\x02\x05\x7F\x80\xC0\xFE\xFF", 9);
    bytes[at] = below(2) == 0 ? kValues[below(kValues.size())] : static_cast<char>(below(256));
  }
  return bytes;
}

// Runs a step that may fail, but only in words.
template <class Step>
void MayFail(Step&& step) {
  Trap(step, [](const RuntimeError& error) { ASSERT_TRUE(error.Is(ErrorNumber::kDatabase)) << error.what(); });
}

// Reads every cell of every table and query, system tables included; how many cells there were.
std::size_t ReadAll(const std::string& bytes) {
  std::size_t cells = 0;
  const access::Database database(bytes, "");
  for (const access::CatalogEntry& entry : database.Objects()) {
    MayFail([&] { database.ColumnNames(entry); });
    if (entry.kind == access::ObjectKind::kQuery) {
      MayFail([&] {
        const access::Database::QueryResult result = database.RunQuery(entry);
        for (std::size_t row = 0; row < result.rows->RowCount(); ++row) {
          result.rows->GoTo(row);
          for (std::size_t column = 0; column < result.names.size(); ++column) {
            cells += result.rows->IsNull(column) || !result.rows->Text(column).empty() ? 1U : 0U;
          }
        }
      });
      continue;
    }
    MayFail([&] {
      access::TableReader table = database.OpenTable(entry);
      MayFail([&] { table.Loss(entry.name); });
      for (std::size_t row = 0; row < table.RowCount(); ++row) {
        MayFail([&] {
          table.GoTo(row);
          for (std::size_t column = 0; column < table.columns().size(); ++column) {
            MayFail([&] { cells += !table.Cell(column) || !table.Text(column).empty() ? 1U : 0U; });
          }
        });
      }
    });
  }
  return cells;
}

void ReadDamagedCopies(const std::string& original, int copies) {
  const std::size_t whole = ReadAll(original);
  ASSERT_GT(whole, 0U);
  std::mt19937 random(20240307);
  int complete = 0;
  int refused = 0;
  for (int copy = 0; copy < copies; ++copy) {
    SCOPED_TRACE(copy);
    const std::string bytes = Damaged(original, random);
    try {
      if (ReadAll(bytes) == whole) ++complete;
    } catch (const RuntimeError& error) {
      ASSERT_TRUE(error.Is(ErrorNumber::kDatabase)) << error.what();
      ++refused;
    }
  }
  // Or the damage would test nothing.
  EXPECT_GT(refused, 0);
  EXPECT_LT(complete, copies);
}

TEST(BrokenAccessFile, Jet3) { ReadDamagedCopies(testing::AccessSample(JetBuilder::Format::kJet3), 2000); }
TEST(BrokenAccessFile, Jet4) { ReadDamagedCopies(testing::AccessSample(JetBuilder::Format::kJet4), 2000); }
TEST(BrokenAccessFile, Encrypted) {
  ReadDamagedCopies(testing::EncryptedAccessSample(testing::OfficeScheme::kRc4), 1000);
}

TEST(BrokenAccessFile, AFileThatAccessWrote) {
  const std::string folder = testing::TestDataFolder();
  if (folder.empty()) GTEST_SKIP() << "the folder of public test files is absent";
  ReadDamagedCopies(testing::ReadBytes(folder + "/mdb/delTestV1997.mdb"), 2000);
}

// What a circle looks like: each must end in an error, not in a loop.
TEST(BrokenAccessFile, CirclesEnd) {
  JetBuilder builder;
  const auto table = builder.AddTable("T", {{"m", 12}});
  builder.AddRow(table, {builder.Pieces(std::string(600, 'x'), 200)});
  std::string file = builder.Build();
  // The second piece, which points to the third, is made to point to itself.
  const std::size_t head = file.find(Le32(600));
  ASSERT_NE(head, std::string::npos);
  const std::string pointer = file.substr(head + 4, 4);
  const auto at = [&](std::size_t offset) { return static_cast<unsigned char>(pointer[offset]); };
  const std::size_t page = at(1) | static_cast<std::size_t>(at(2)) << 8;
  const std::size_t entry = page * 4096 + 14 + std::size_t{at(0)} * 2;
  const std::size_t start = (static_cast<unsigned char>(file[entry]) |
                             static_cast<std::size_t>(static_cast<unsigned char>(file[entry + 1])) << 8) &
                            0x1FFF;
  file.replace(page * 4096 + start, 4, pointer);
  // The length is still met, as each round gives bytes: the content is wrong, but it ends.
  const access::Database database(file, "");
  access::TableReader rows = database.OpenTable(database.Require("T"));
  rows.GoTo(0);
  EXPECT_EQ(rows.Text(0).size(), 300U * 3);
}

TEST(BrokenAccessFile, ADefinitionThatContinuesOnItselfIsRefused) {
  JetBuilder builder;
  const auto table = builder.AddTable("T", {{"t"}});
  builder.AddRow(table, {builder.Text("x")});
  std::string file = builder.Build();
  const std::uint32_t definition = access::Database(file, "").Require("T").Place().page;
  // The fifth byte of its page starts the number of the next one.
  file.replace(definition * std::size_t{4096} + 4, 4, Le32(definition));
  const access::Database database(file, "");
  const access::CatalogEntry& entry = database.Require("T");
  EXPECT_ERROR_TEXT(database.OpenTable(entry), ErrorNumber::kDatabase,
                    ::testing::HasSubstr("verweist im Kreis"));
  EXPECT_ERROR_TEXT(database.ColumnNames(entry), ErrorNumber::kDatabase,
                    ::testing::HasSubstr("verweist im Kreis"));
}

}  // namespace
}  // namespace kestrel
