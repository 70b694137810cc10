#include "app/address_texts.h"

#include <algorithm>
#include <cstring>

#include "platform/base/number.h"
#include "platform/base/text.h"

namespace kestrel::host {

namespace {

constexpr char kBetweenFields = '\n';

bool IsAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

char UpperAscii(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c; }

void AppendCompared(std::string& texts, std::string_view text) {
  const std::size_t begin = texts.size();
  if (IsAscii(text)) {
    texts.append(text);
    std::transform(texts.begin() + static_cast<std::ptrdiff_t>(begin), texts.end(),
                   texts.begin() + static_cast<std::ptrdiff_t>(begin), UpperAscii);
  } else {
    texts += UpperCase(RepairUtf8(text));
  }
  std::replace(texts.begin() + static_cast<std::ptrdiff_t>(begin), texts.end(), kBetweenFields, ' ');
}

// Whether the text begins as the pattern says, in which 'd' stands for a digit.
bool BeginsAs(std::string_view text, std::string_view pattern) {
  if (text.size() < pattern.size()) return false;
  return std::equal(pattern.begin(), pattern.end(), text.begin(), [](char expected, char found) {
    return expected == 'd' ? found >= '0' && found <= '9' : found == expected;
  });
}

constexpr std::string_view kIsoDate = "dddd-dd-dd";
constexpr std::string_view kGermanDate = "dd.dd.dddd";

// "29.02.2024..." as "2024-02-29...", which is how dates are ordered; any other text as it stands. Databases tell dates in
// the one way or the other.
std::string IsoForm(std::string_view text) {
  if (!BeginsAs(text, kGermanDate)) return std::string(text);
  return std::string(text.substr(6, 4))
             .append("-")
             .append(text.substr(3, 2))
             .append("-")
             .append(text.substr(0, 2)) +
         std::string(text.substr(kGermanDate.size()));
}

// The other way round, as the list shows it; empty for what is no date.
std::string GermanForm(std::string_view text) {
  if (BeginsAs(text, kGermanDate)) return std::string(text);
  if (!BeginsAs(text, kIsoDate)) return {};
  return std::string(text.substr(8, 2))
             .append(".")
             .append(text.substr(5, 2))
             .append(".")
             .append(text.substr(0, 4)) +
         std::string(text.substr(kIsoDate.size()));
}

bool IsDate(const AddressColumn& column) {
  return column.kind == ColumnKind::kDate || column.kind == ColumnKind::kTime;
}

}  // namespace

std::string ComparedText(std::string_view text) {
  std::string compared;
  AppendCompared(compared, text);
  return compared;
}

void AddressTexts::Add(const std::vector<AddressColumn>& columns, const Recordset& rows) {
  for (std::size_t column = 0; column < columns.size(); ++column) {
    const std::string_view text = rows.TextAt(column);
    AppendCompared(texts_, IsDate(columns[column]) ? IsoForm(text) : text);
    texts_ += kBetweenFields;
  }
  for (std::size_t column = 0; column < columns.size(); ++column) {
    if (!IsDate(columns[column])) continue;
    AppendCompared(texts_, GermanForm(rows.TextAt(column)));
    texts_ += kBetweenFields;
  }
  ends_.push_back(texts_.size());
  numbers_.push_back(rows.ValueAt(0).ToInteger());
}

void AddressTexts::Close() {
  texts_.shrink_to_fit();
  ends_.shrink_to_fit();
  numbers_.shrink_to_fit();
}

std::string_view AddressTexts::Field(std::size_t row, std::size_t position) const {
  std::size_t begin = BeginOf(row);
  for (; position > 0; --position) begin = texts_.find(kBetweenFields, begin) + 1;
  return std::string_view(texts_).substr(begin, texts_.find(kBetweenFields, begin) - begin);
}

std::string AddressTexts::OrderText(std::size_t row, const AddressColumn& column, std::size_t position) const {
  const std::string_view field = Field(row, position);
  if (column.kind != ColumnKind::kText || IsAscii(field)) return std::string(field);
  std::string order(field);
  for (const auto& [letter, base] :
       {std::pair("Ä", "A"), std::pair("Ö", "O"), std::pair("Ü", "U"), std::pair("ß", "SS")}) {
    order = ReplaceAll(order, letter, base);
  }
  return order;
}

double AddressTexts::OrderNumber(std::size_t row, std::size_t position) const {
  // Where there is none it is ordered as 0.
  return ParseNumber(Field(row, position)).value_or(0);
}

std::size_t AddressTexts::FindFrom(std::size_t row, std::string_view text) const {
  if (text.empty() || row >= Count()) return std::min(row, Count());
  const std::size_t begin = BeginOf(row);
  const void* const found = memmem(texts_.data() + begin, texts_.size() - begin, text.data(), text.size());
  if (found == nullptr) return Count();
  const auto position = static_cast<std::size_t>(static_cast<const char*>(found) - texts_.data());
  return static_cast<std::size_t>(std::upper_bound(ends_.begin(), ends_.end(), position) - ends_.begin());
}

}  // namespace kestrel::host
