// Makes small Access files for tests: tables, rows, long values and saved queries, in Jet 3 or Jet 4. There
// are no indexes, so Access itself would want to repair such a file; readers of rows do not miss them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/office_encryptor.h"

namespace kestrel::testing {

// Cells as the format stores them.
std::string Le16(std::uint32_t number);
std::string Le32(std::uint32_t number);
std::string Le64(std::uint64_t number);
std::string LeDouble(double number);
std::string Utf16(std::string_view utf8);  // of characters below U+10000

class JetBuilder {
 public:
  using Cell = std::optional<std::string>;  // stored bytes; none is null

  struct ColumnSpec {
    std::string name;
    int kind = 10;             // the format's code
    std::uint16_t length = 0;  // bytes of a fixed column; 0 makes it one of variable length
    std::uint8_t scale = 0;
    // Where the file is to have a gap: the number of a column that was deleted stays taken.
    std::optional<std::uint16_t> number = std::nullopt;
    // A calculated column (kind is then what its definition says): the code of what its values are.
    std::optional<std::uint8_t> result = std::nullopt;
  };

  enum class Format { kJet3, kJet4 };
  explicit JetBuilder(Format format = Format::kJet4);

  // Which table; for AddRow.
  std::size_t AddTable(std::string name, std::vector<ColumnSpec> columns);
  // A catalog entry that is no table of this file: a link (6) or an ODBC table (4), with file and table.
  void AddLink(std::string_view name, int type, std::string_view file, std::string_view table);
  // A cell a column; booleans: any text is true, none is false. With `columns`, the row is written as if the
  // table had had only the first so many columns.
  void AddRow(std::size_t table, std::vector<Cell> cells, std::optional<std::size_t> columns = std::nullopt);
  void AddDeletedRow(std::size_t table, std::vector<Cell> cells);
  // The row is stored on another page and reached by a pointer.
  void AddMovedRow(std::size_t table, std::vector<Cell> cells);

  // Text of a cell in the file's own form.
  std::string Text(std::string_view utf8) const;
  // The head of a long value: within the head, on one page or in pieces of at most `piece` bytes.
  std::string Inline(std::string_view bytes) const;
  std::string OnePage(std::string_view bytes);
  std::string Pieces(std::string_view bytes, std::size_t piece);

  // What a calculated column stores of a value.
  static std::string Wrapped(std::string_view bytes);

  // One row of MSysQueries.
  struct QueryRow {
    int attribute = 0;
    std::optional<int> flag = std::nullopt;
    std::string expression = {};
    std::string name1 = {};
    std::string name2 = {};
  };
  // `kind` goes into the flags of the catalog (0 select, 16 crosstab, 64 append, 128 union ...).
  void AddQuery(std::string_view name, const std::vector<QueryRow>& rows, std::uint32_t kind = 0);

  void SetPassword(std::string_view password) { password_ = password; }
  // Masks all pages but the first with this key.
  void SetPageKey(std::uint32_t key) { page_key_ = key; }
  // Makes it an .accdb whose pages are encrypted; takes a page key, too.
  void SetEncryption(OfficeEncryption encryption) { encryption_ = std::move(encryption); }

  // The file. Call once, at the end.
  std::string Build();

 private:
  struct Table {
    std::vector<ColumnSpec> columns;
    std::uint32_t page = 0;
    std::vector<std::uint32_t> data_pages;
  };
  struct Page {
    std::string head;
    std::vector<std::pair<std::string, std::uint16_t>> rows;  // bytes and flags
    std::size_t used = 0;
  };

  bool Jet3() const { return format_ == Format::kJet3; }
  std::size_t PageSize() const { return Jet3() ? 2048 : 4096; }
  std::uint32_t NewPage(std::string head = {});
  // Appends a row to the last page of the list, or to a new page; where it went.
  std::uint32_t StoreRow(std::vector<std::uint32_t>& pages, std::string_view owner, std::string bytes,
                         std::uint16_t flags);
  std::string EncodeRow(const Table& table, const std::vector<Cell>& cells, std::size_t columns) const;
  void AddCatalogRow(std::uint32_t id, int type, std::string_view name, std::uint32_t flags,
                     std::string_view file = {}, std::string_view foreign = {}, Cell properties = std::nullopt);
  void WriteDefinition(const Table& table);
  std::uint32_t WriteUsageMap(const std::vector<std::uint32_t>& pages);
  std::string RenderPage(const Page& page) const;
  std::string Header() const;

  Format format_;
  std::string password_;
  std::uint32_t page_key_ = 0;
  std::optional<OfficeEncryption> encryption_;
  std::vector<Page> pages_;
  std::vector<Table> tables_;  // the first is the catalog
  std::vector<std::uint32_t> long_value_pages_;
  std::vector<std::uint32_t> map_pages_;
  std::optional<std::size_t> queries_;
  std::uint32_t next_query_ = 0x80000000;
};

}  // namespace kestrel::testing
