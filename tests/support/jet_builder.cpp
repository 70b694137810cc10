#include "support/jet_builder.h"

#include <algorithm>
#include <bit>
#include <span>
#include <utility>

#include "formats/encryption/rc4.h"
#include "platform/base/text.h"

namespace kestrel::testing {
namespace {

constexpr int kBoolean = 1;
constexpr int kInt = 3;
constexpr int kLong = 4;
constexpr int kText = 10;
constexpr int kOle = 11;
constexpr int kMemo = 12;
// Of a row's offset: found only through a pointer; such a pointer; both is a row that was deleted.
constexpr std::uint16_t kMoved = 0x8000;
constexpr std::uint16_t kLookup = 0x4000;
constexpr std::uint16_t kDeleted = kMoved | kLookup;
constexpr double kCreated = 38143.5;

template <class Number>
std::string LittleEndian(Number number, std::size_t size) {
  std::string bytes;
  for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>(number >> (8 * i) & 0xFF);
  return bytes;
}

void Put(std::string& page, std::size_t at, std::string_view bytes) { page.replace(at, bytes.size(), bytes); }

bool IsFixed(const JetBuilder::ColumnSpec& column) {
  return !column.result && (column.kind == kBoolean || column.length > 0);
}

std::uint16_t StoredLength(const JetBuilder::ColumnSpec& column) {
  return column.kind == kBoolean ? std::uint16_t{0} : column.length;
}

std::size_t CountVariable(const std::vector<JetBuilder::ColumnSpec>& columns) {
  return static_cast<std::size_t>(
      std::count_if(columns.begin(), columns.end(), [](const auto& column) { return !IsFixed(column); }));
}

// The properties of a table with calculated columns.
std::string ResultTypes(const std::vector<JetBuilder::ColumnSpec>& columns) {
  const auto text = [](std::string_view utf8) { return LittleEndian(2 * utf8.size(), 2) + Utf16(utf8); };
  const auto block = [](int kind, const std::string& content) {
    return LittleEndian(content.size() + 6, 4) + LittleEndian(kind, 2) + content;
  };
  std::string blocks;
  for (const JetBuilder::ColumnSpec& column : columns) {
    if (!column.result) continue;
    const std::string name = text(column.name);
    const auto property = [](int index, int type, const std::string& value) {
      return LittleEndian(8 + value.size(), 2) + std::string("\0", 1) + static_cast<char>(type) +
             LittleEndian(index, 2) + LittleEndian(value.size(), 2) + value;
    };
    blocks += block(1, LittleEndian(name.size() + 4, 4) + name + property(0, 12, Utf16("[a]")) +
                           property(1, 2, std::string(1, static_cast<char>(*column.result))));
  }
  if (blocks.empty()) return {};
  return std::string("MR2\0", 4) + block(0x80, text("Expression") + text("ResultType")) + blocks;
}

}  // namespace

std::string Le16(std::uint32_t number) { return LittleEndian(number, 2); }
std::string Le32(std::uint32_t number) { return LittleEndian(number, 4); }
std::string Le64(std::uint64_t number) { return LittleEndian(number, 8); }
std::string LeDouble(double number) { return Le64(std::bit_cast<std::uint64_t>(number)); }

std::string Utf16(std::string_view utf8) {
  std::string bytes;
  for (std::size_t i = 0; i < utf8.size();) bytes += Le16(NextCodePoint(utf8, i));
  return bytes;
}

JetBuilder::JetBuilder(Format format) : format_(format) {
  NewPage(std::string(PageSize(), '\0'));  // the header, made last
  NewPage(std::string(PageSize(), '\0'));  // the map of the whole file, which readers of rows do not need
  AddTable("MSysObjects", {{"Id", kLong, 4},
                           {"ParentId", kLong, 4},
                           {"Name", kText},
                           {"Type", kInt, 2},
                           {"Flags", kLong, 4},
                           {"Database", kMemo},
                           {"Connect", kMemo},
                           {"ForeignName", kText},
                           {"LvProp", kOle}});
}

std::uint32_t JetBuilder::NewPage(std::string head) {
  pages_.push_back({std::move(head), {}, 0});
  return static_cast<std::uint32_t>(pages_.size() - 1);
}

std::size_t JetBuilder::AddTable(std::string name, std::vector<ColumnSpec> columns) {
  std::uint16_t next = 0;
  for (ColumnSpec& column : columns) {
    column.number = column.number.value_or(next);
    next = static_cast<std::uint16_t>(*column.number + 1);
  }
  const std::uint32_t page = NewPage(std::string(PageSize(), '\0'));
  const std::string properties = ResultTypes(columns);
  tables_.push_back({std::move(columns), page, {}});
  const bool system = name.starts_with("MSys");
  AddCatalogRow(page, 1, name, system ? 0x80000000U : 0U, {}, {},
                properties.empty() ? Cell() : Cell(Pieces(properties, 100)));
  return tables_.size() - 1;
}

void JetBuilder::AddCatalogRow(std::uint32_t id, int type, std::string_view name, std::uint32_t flags,
                               std::string_view file, std::string_view foreign, Cell properties) {
  AddRow(0, {Le32(id), Le32(0x0F000001), Text(name), Le16(static_cast<std::uint32_t>(type)), Le32(flags),
             file.empty() ? Cell() : Inline(Text(file)), std::nullopt,
             foreign.empty() ? Cell() : Cell(Text(foreign)), std::move(properties)});
}

void JetBuilder::AddLink(std::string_view name, int type, std::string_view file, std::string_view table) {
  AddCatalogRow(next_query_++, type, name, 0, file, table);
}

void JetBuilder::AddQuery(std::string_view name, const std::vector<QueryRow>& rows, std::uint32_t kind) {
  if (!queries_) {
    queries_ = AddTable("MSysQueries", {{"ObjectId", kLong, 4},
                                        {"Attribute", 2, 1},
                                        {"Order", 9},
                                        {"Name1", kText},
                                        {"Name2", kText},
                                        {"Expression", kMemo},
                                        {"Flag", kInt, 2}});
  }
  const std::uint32_t id = next_query_++;
  AddCatalogRow(id, 5, name, kind);
  std::uint32_t order = 0;
  const auto text = [&](const std::string& value) { return value.empty() ? Cell() : Cell(Text(value)); };
  for (const QueryRow& row : rows) {
    const auto flag = static_cast<std::uint32_t>(row.flag.value_or(0));
    const std::uint32_t place = order++;
    AddRow(*queries_,
           {Le32(id), std::string(1, static_cast<char>(row.attribute)),
            std::string{static_cast<char>(place >> 8), static_cast<char>(place & 0xFF)}, text(row.name1),
            text(row.name2), row.expression.empty() ? Cell() : Cell(Pieces(Text(row.expression), 1000)),
            row.flag ? Cell(Le16(flag)) : Cell()});
  }
}

std::string JetBuilder::Text(std::string_view utf8) const {
  if (Jet3()) return ToWindows1252(utf8);
  const bool latin = std::all_of(utf8.begin(), utf8.end(), [](char byte) { return byte > 0; });
  return latin && utf8.size() > 2 ? "\xFF\xFE" + std::string(utf8) : Utf16(utf8);
}

std::string JetBuilder::Wrapped(std::string_view bytes) {
  return std::string(16, '\0') + Le32(static_cast<std::uint32_t>(bytes.size())) + std::string(bytes) +
         std::string(3, '\0');
}

std::string JetBuilder::Inline(std::string_view bytes) const {
  return Le32(static_cast<std::uint32_t>(bytes.size()) | 0x80000000U) + Le64(0) + std::string(bytes);
}

std::string JetBuilder::OnePage(std::string_view bytes) {
  const std::uint32_t at = StoreRow(long_value_pages_, "LVAL", std::string(bytes), 0);
  return Le32(static_cast<std::uint32_t>(bytes.size()) | 0x40000000U) + Le32(at) + Le32(0);
}

std::string JetBuilder::Pieces(std::string_view bytes, std::size_t piece) {
  std::uint32_t next = 0;
  for (std::size_t start = (bytes.size() - 1) / piece * piece;; start -= piece) {
    next = StoreRow(long_value_pages_, "LVAL", Le32(next) + std::string(bytes.substr(start, piece)), 0);
    if (start == 0) break;
  }
  return Le32(static_cast<std::uint32_t>(bytes.size())) + Le32(next) + Le32(0);
}

std::uint32_t JetBuilder::StoreRow(std::vector<std::uint32_t>& pages, std::string_view owner, std::string bytes,
                                   std::uint16_t flags) {
  const std::size_t head = Jet3() ? 10 : 14;
  const std::size_t room = bytes.size() + 2;
  if (pages.empty() || pages_[pages.back()].used + room > PageSize() ||
      pages_[pages.back()].rows.size() == 255) {
    std::string start{1, 1, 0, 0};
    start += owner;
    if (!Jet3()) start += Le32(0);
    pages.push_back(NewPage(start));
    pages_[pages.back()].used = head;
  }
  Page& page = pages_[pages.back()];
  page.used += room;
  page.rows.emplace_back(std::move(bytes), flags);
  return pages.back() << 8 | static_cast<std::uint32_t>(page.rows.size() - 1);
}

std::string JetBuilder::EncodeRow(const Table& table, const std::vector<Cell>& cells,
                                  std::size_t columns) const {
  std::size_t numbers = 0;
  std::string fixed;
  std::string variable;
  std::vector<std::size_t> starts;
  for (std::size_t i = 0; i < columns; ++i) {
    const ColumnSpec& column = table.columns[i];
    numbers = std::max<std::size_t>(numbers, *column.number + std::size_t{1});
    if (IsFixed(column)) {
      fixed += column.kind == kBoolean ? "" : cells[i].value_or(std::string(column.length, '\0'));
    } else {
      starts.push_back(variable.size());
      variable += cells[i].value_or("");
    }
  }
  starts.push_back(variable.size());
  std::string mask((numbers + 7) / 8, '\0');
  for (std::size_t i = 0; i < columns; ++i) {
    const std::size_t number = *table.columns[i].number;
    if (cells[i]) mask[number / 8] = static_cast<char>(mask[number / 8] | 1 << number % 8);
  }
  std::string row =
      (Jet3() ? std::string(1, static_cast<char>(numbers)) : Le16(static_cast<std::uint32_t>(numbers))) + fixed;
  for (std::size_t& start : starts) start += row.size();
  row += variable;
  if (CountVariable(table.columns) == 0) return row + mask;
  const std::size_t variables = starts.size() - 1;
  std::reverse(starts.begin(), starts.end());
  if (!Jet3()) {
    for (const std::size_t start : starts) row += Le16(static_cast<std::uint32_t>(start));
    return row + Le16(static_cast<std::uint32_t>(variables)) + mask;
  }
  for (const std::size_t start : starts) row += static_cast<char>(start);
  std::size_t jumps = 0;
  while ((row.size() + jumps + 1 + mask.size() - 1) / 256 > jumps) ++jumps;
  std::string table_of_jumps;
  for (std::size_t jump = 1; jump <= jumps; ++jump) {
    // The first column (in order again) that starts behind this jump.
    std::size_t first = 0;
    while (first <= variables && starts[variables - first] < jump * 256) ++first;
    table_of_jumps.insert(0, 1, static_cast<char>(first > variables ? 0xFF : first));
  }
  return row + table_of_jumps + static_cast<char>(variables) + mask;
}

void JetBuilder::AddRow(std::size_t table, std::vector<Cell> cells, std::optional<std::size_t> columns) {
  Table& target = tables_[table];
  StoreRow(target.data_pages, Le32(target.page),
           EncodeRow(target, cells, columns.value_or(target.columns.size())), 0);
}

void JetBuilder::AddDeletedRow(std::size_t table, std::vector<Cell> cells) {
  Table& target = tables_[table];
  StoreRow(target.data_pages, Le32(target.page), EncodeRow(target, cells, target.columns.size()), kDeleted);
}

void JetBuilder::AddMovedRow(std::size_t table, std::vector<Cell> cells) {
  Table& target = tables_[table];
  // The row itself is marked, so that a walk over the pages does not meet it twice.
  const std::uint32_t at =
      StoreRow(target.data_pages, Le32(target.page), EncodeRow(target, cells, target.columns.size()), kMoved);
  StoreRow(target.data_pages, Le32(target.page), Le32(at), kLookup);
}

std::uint32_t JetBuilder::WriteUsageMap(const std::vector<std::uint32_t>& pages) {
  const std::size_t inline_size = Jet3() ? 128 : 64;
  const std::uint32_t last = pages.empty() ? 0 : *std::max_element(pages.begin(), pages.end());
  const auto mark = [](std::string& bitmap, std::size_t bit) {
    bitmap[bit / 8] = static_cast<char>(bitmap[bit / 8] | 1 << bit % 8);
  };
  std::string map(1, '\0');
  if (last < inline_size * 8) {
    map += Le32(0) + std::string(inline_size, '\0');
    for (const std::uint32_t page : pages) mark(map, 5 * 8 + page);
  } else {
    map[0] = 1;
    const std::size_t bits = (PageSize() - 4) * 8;
    for (std::size_t first = 0; first <= last; first += bits) {
      std::string bitmap(PageSize(), '\0');
      bitmap[0] = 5;
      bitmap[1] = 1;
      for (const std::uint32_t page : pages) {
        if (page >= first && page < first + bits) mark(bitmap, 4 * 8 + page - first);
      }
      map += Le32(NewPage(std::move(bitmap)));
    }
    map.resize(inline_size + 5, '\0');
  }
  return StoreRow(map_pages_, Le32(0), std::move(map), 0);
}

void JetBuilder::WriteDefinition(const Table& table) {
  const std::uint32_t pages = WriteUsageMap(table.data_pages);
  const std::size_t rows_at = Jet3() ? 12 : 16;
  const std::size_t type_at = Jet3() ? 20 : 40;
  const std::size_t maps_at = Jet3() ? 35 : 55;
  std::string whole(maps_at, '\0');
  std::uint32_t row_count = 0;
  for (const std::uint32_t page : table.data_pages) {
    for (const auto& [bytes, flags] : pages_[page].rows) row_count += (flags & kMoved) == 0 ? 1U : 0U;
  }
  Put(whole, rows_at, Le32(row_count));
  whole[type_at] = 'N';
  Put(whole, type_at + 1, Le16(*table.columns.back().number + 1U));
  Put(whole, type_at + 3, Le16(static_cast<std::uint32_t>(CountVariable(table.columns))));
  Put(whole, type_at + 5, Le16(static_cast<std::uint32_t>(table.columns.size())));
  whole += Le32(pages) + Le32(pages);
  std::uint16_t variable = 0;
  std::uint16_t fixed = 0;
  for (const ColumnSpec& column : table.columns) {
    std::string entry(Jet3() ? 18 : 25, '\0');
    entry[0] = static_cast<char>(column.kind);
    Put(entry, Jet3() ? 1 : 5, Le16(*column.number));
    Put(entry, Jet3() ? 5 : 9, Le16(*column.number));
    entry[Jet3() ? 10 : 12] = static_cast<char>(column.scale);
    entry[Jet3() ? 13 : 15] = static_cast<char>(IsFixed(column) ? 3 : 2);
    if (column.result) entry[16] = static_cast<char>(0xC0);
    Put(entry, Jet3() ? 16 : 23,
        Le16(IsFixed(column)        ? std::max<std::uint16_t>(1, column.length)
             : column.kind == kText ? 510U
                                    : 0U));
    if (IsFixed(column)) {
      Put(entry, Jet3() ? 14 : 21, Le16(fixed));
      fixed = static_cast<std::uint16_t>(fixed + StoredLength(column));
    } else {
      Put(entry, Jet3() ? 3 : 7, Le16(variable++));
    }
    whole += entry;
  }
  for (const ColumnSpec& column : table.columns) {
    const std::string name = Jet3() ? ToWindows1252(column.name) : Utf16(column.name);
    const auto size = static_cast<std::uint32_t>(name.size());
    whole += (Jet3() ? std::string(1, static_cast<char>(size)) : Le16(size)) + name;
  }
  whole += "\xFF\xFF";
  Put(whole, 8, Le32(static_cast<std::uint32_t>(whole.size() - 8)));

  // The first page holds its own head; each further page has one of eight bytes.
  std::uint32_t page = table.page;
  std::string rest = whole;
  for (bool first = true; !rest.empty(); first = false) {
    const std::size_t taken = std::min(rest.size(), PageSize() - (first ? 0 : 8));
    std::string content = (first ? "" : std::string(8, '\0')) + rest.substr(0, taken);
    rest.erase(0, taken);
    const std::uint32_t next = rest.empty() ? 0 : NewPage(std::string(PageSize(), '\0'));
    Put(content, 0, std::string{2, 1, 0, 0} + Le32(next));
    content.resize(PageSize(), '\0');
    pages_[page].head = std::move(content);
    page = next;
  }
}

std::string JetBuilder::RenderPage(const Page& page) const {
  if (page.rows.empty()) return page.head;
  std::string bytes = page.head + Le16(static_cast<std::uint32_t>(page.rows.size()));
  bytes.resize(PageSize(), '\0');
  std::size_t start = PageSize();
  std::size_t entry = page.head.size() + 2;
  for (const auto& [row, flags] : page.rows) {
    start -= row.size();
    Put(bytes, start, row);
    Put(bytes, entry, Le16(static_cast<std::uint32_t>(start | flags)));
    entry += 2;
  }
  return bytes;
}

std::string JetBuilder::Header() const {
  std::string header(PageSize(), '\0');
  Put(header, 0, std::string("\0\1\0\0Standard Jet DB\0", 20));
  header[0x14] = Jet3() ? 0 : 1;
  if (encryption_) {
    Put(header, 0, std::string("\0\1\0\0Standard ACE DB\0\2", 21));
    Put(header, 0x299, Le16(static_cast<std::uint32_t>(encryption_->info.size())) + encryption_->info);
  }
  Put(header, 0x3C, Le16(1252));
  Put(header, 0x3E, Le32(page_key_));
  std::string password = Jet3() ? ToWindows1252(password_) : Utf16(password_);
  password.resize(Jet3() ? 20 : 40, '\0');
  if (!Jet3()) {
    const std::string mask = Le32(static_cast<std::uint32_t>(kCreated));
    for (std::size_t i = 0; i < password.size(); ++i)
      password[i] = static_cast<char>(password[i] ^ mask[i % 4]);
    Put(header, 0x72, LeDouble(kCreated));
  }
  Put(header, 0x42, password);
  encryption::Rc4("\xC7\xDA\x39\x6B").Apply(std::span(header).subspan(0x18, Jet3() ? 126 : 128));
  return header;
}

std::string JetBuilder::Build() {
  for (const Table& table : tables_) WriteDefinition(table);
  pages_[0].head = Header();
  std::string file;
  for (const Page& page : pages_) file += RenderPage(page);
  for (std::size_t page = 1; page_key_ != 0 && page < pages_.size(); ++page) {
    const std::uint32_t block = page_key_ ^ static_cast<std::uint32_t>(page);
    const std::span<char> bytes = std::span(file).subspan(page * PageSize(), PageSize());
    if (encryption_) {
      encryption_->encrypt(block, bytes);
    } else {
      encryption::Rc4(Le32(block)).Apply(bytes);
    }
  }
  return file;
}

}  // namespace kestrel::testing
