#include "formats/excel/sheet_tables.h"

#include <algorithm>

#include "formats/excel/cell_reference.h"
#include "platform/base/text.h"

namespace kestrel::excel {

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsAsciiLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

// Whether a name needs no apostrophes. Letters beyond ASCII count as letters.
bool IsPlain(std::string_view name) {
  if (name.empty() || IsDigit(name.front())) return false;
  return std::all_of(name.begin(), name.end(), [](char c) {
    return IsDigit(c) || IsAsciiLetter(c) || c == '_' || static_cast<unsigned char>(c) >= 0x80;
  });
}

std::string ListedName(const std::string& sheet, const std::string& range) {
  std::string name = sheet + "$" + range;
  if (IsPlain(sheet) && (range.empty() || IsPlain(range))) return name;
  return "'" + ReplaceAll(name, "'", "''") + "'";
}

// A name as it is compared: without apostrophes around it, without case, with "#" for every point.
std::string Comparable(std::string_view name) {
  std::string bare(name);
  if (bare.size() >= 2 && bare.front() == '\'' && bare.back() == '\'') {
    bare = ReplaceAll(std::string_view(bare).substr(1, bare.size() - 2), "''", "'");
  }
  return UpperCase(ReplaceAll(bare, ".", "#"));
}

// The same for a name whose outer apostrophes may be lost, as a specification takes them off a value, so that
// those within may be doubled or not.
std::string LooselyComparable(std::string_view name) { return ReplaceAll(Comparable(name), "''", "'"); }

template <class Compare>
std::optional<SheetTable> FindTable(const Workbook& workbook, std::string_view name, Compare&& comparable) {
  const std::string wanted = comparable(name);
  for (SheetTable& table : TablesOf(workbook)) {
    if (comparable(table.name) == wanted) return std::move(table);
  }
  const std::vector<std::string>& sheets = workbook.SheetNames();
  for (std::size_t sheet = 0; sheet < sheets.size(); ++sheet) {
    const std::string candidate = comparable(sheets[sheet]);
    if (candidate == wanted) return SheetTable{ListedName(sheets[sheet], ""), sheet, std::nullopt};
    if (!wanted.starts_with(candidate + "$")) continue;
    if (auto range = ParseRange(std::string_view(wanted).substr(candidate.size() + 1))) {
      return SheetTable{std::string(name), sheet, range};
    }
  }
  return std::nullopt;
}

}  // namespace

std::vector<SheetTable> TablesOf(const Workbook& workbook) {
  const std::vector<std::string>& sheets = workbook.SheetNames();
  std::vector<SheetTable> tables;
  for (std::size_t sheet = 0; sheet < sheets.size(); ++sheet) {
    tables.push_back(SheetTable{ListedName(sheets[sheet], ""), sheet, std::nullopt});
  }
  for (const NamedRange& named : workbook.NamedRanges()) {
    const std::string name = named.scope ? ListedName(sheets[*named.scope], named.name) : named.name;
    tables.push_back(SheetTable{name, named.sheet, named.range});
  }
  return tables;
}

std::optional<SheetTable> FindTable(const Workbook& workbook, std::string_view name) {
  if (auto table = FindTable(workbook, name, Comparable)) return table;
  return FindTable(workbook, name, LooselyComparable);
}

}  // namespace kestrel::excel
