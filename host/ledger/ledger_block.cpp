#include "ledger/ledger_block.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "kestrel/runtime_error.h"
#include "ledger/fingerprint.h"

namespace kestrel::host {

namespace {

[[noreturn]] void RaiseDamaged() {
  throw RuntimeError(ErrorNumber::kDatabase,
                     "Die Tabelle 'Importlaufzeilen' enthält eine Zeile, die sich nicht lesen lässt. Sie wurde "
                     "außerhalb dieses Programms geändert; holen Sie sie aus einer Sicherung zurück.");
}

}  // namespace

template <class Number>
void LedgerBlockWriter::AddNumber(char mark, Number number) {
  // The shortest text that reads as the same number.
  std::array<char, 32> digits;
  char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  text_ += mark;
  text_.append(digits.data(), end);
}

void LedgerBlockWriter::Begin(std::int64_t record, std::optional<std::int64_t> number) {
  text_ += '#';
  if (record != record_ + 1) {
    AddNumber('r', record);
    text_ += ';';
  }
  record_ = record;
  if (number && *number != number_ + 1) {
    AddNumber('n', *number);
    text_ += ';';
  }
  if (count_ == 0) {
    first_record_ = last_record_ = record;
    least_number_ = greatest_number_ = number.value_or(0);
  }
  ++count_;
  // A record that was lost is told of later than others behind it.
  first_record_ = std::min(first_record_, record);
  last_record_ = std::max(last_record_, record);
  if (!number) return;
  number_ = *number;
  least_number_ = std::min(least_number_, *number);
  greatest_number_ = std::max(greatest_number_, *number);
}

void LedgerBlockWriter::Add(const StoredValue& value) {
  if (const auto* text = std::get_if<std::string_view>(&value)) {
    AddNumber('t', text->size());
    text_ += ':';
    text_.append(*text);
  } else if (const auto* whole = std::get_if<std::int64_t>(&value)) {
    AddNumber('i', *whole);
    text_ += ';';
  } else if (const auto* real = std::get_if<double>(&value)) {
    AddNumber('d', *real);
    text_ += ';';
  } else {
    text_ += '-';
  }
}

void LedgerBlockWriter::AppendFingerprintTo(std::string& content, const Destination& destination,
                                            const RecordValues& values) {
  content += 'f';
  AppendFingerprint(content, destination, values);
}

void LedgerBlockWriter::AddChange(std::size_t column, const StoredValue& before, const StoredValue& imported) {
  AddNumber('c', column);
  text_ += ';';
  Add(before);
  Add(imported);
}

void LedgerBlockWriter::Append(const LedgerBlockWriter& other) {
  LedgerBlockReader reader(other.text());
  while (reader.Next()) {
    Begin(reader.record(), reader.number());
    AddContent(reader.Content());
  }
}

void LedgerBlockWriter::Clear() {
  text_.clear();
  count_ = first_record_ = last_record_ = least_number_ = greatest_number_ = 0;
  record_ = number_ = -1;
}

bool LedgerBlockReader::Take(char mark) {
  if (rest_.empty() || rest_.front() != mark) return false;
  rest_.remove_prefix(1);
  return true;
}

std::string_view LedgerBlockReader::UpTo(char mark) {
  const std::size_t end = rest_.find(mark);
  if (end == std::string_view::npos) RaiseDamaged();
  const std::string_view text = rest_.substr(0, end);
  rest_.remove_prefix(end + 1);
  return text;
}

std::int64_t LedgerBlockReader::ReadInteger() {
  const std::string_view digits = UpTo(';');
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc() || end != digits.data() + digits.size()) RaiseDamaged();
  return number;
}

void LedgerBlockReader::PassContent() {
  while (!rest_.empty() && rest_.front() != '#') {
    // A fingerprint has no "#".
    if (Take('f')) {
      rest_.remove_prefix(std::min(rest_.find('#'), rest_.size()));
    } else if (!ReadChange()) {
      Read();
    }
  }
}

bool LedgerBlockReader::Next() {
  PassContent();
  if (!Take('#')) return false;
  record_ = Take('r') ? ReadInteger() : record_ + 1;
  number_ = Take('n') ? ReadInteger() : number_ + 1;
  return true;
}

std::string_view LedgerBlockReader::Content() {
  const std::string_view start = rest_;
  PassContent();
  const std::string_view content = start.substr(0, start.size() - rest_.size());
  rest_ = start;
  return content;
}

std::optional<std::string_view> LedgerBlockReader::ReadFingerprint(std::size_t size) {
  if (!Take('f')) return std::nullopt;
  if (rest_.size() < size) RaiseDamaged();
  const std::string_view fingerprint = rest_.substr(0, size);
  rest_.remove_prefix(size);
  return fingerprint;
}

StoredValue LedgerBlockReader::Read() {
  if (Take('-')) return {};
  if (Take('i')) return ReadInteger();
  if (Take('d')) {
    const std::string_view digits = UpTo(';');
    double number = 0;
    if (std::from_chars(digits.data(), digits.data() + digits.size(), number).ec != std::errc()) RaiseDamaged();
    return number;
  }
  if (!Take('t')) RaiseDamaged();
  const std::string_view digits = UpTo(':');
  std::size_t size = 0;
  if (std::from_chars(digits.data(), digits.data() + digits.size(), size).ec != std::errc()) RaiseDamaged();
  if (size > rest_.size()) RaiseDamaged();
  const std::string_view text = rest_.substr(0, size);
  rest_.remove_prefix(size);
  return text;
}

std::optional<std::size_t> LedgerBlockReader::ReadChange() {
  if (!Take('c')) return std::nullopt;
  const std::int64_t column = ReadInteger();
  if (column < 0) RaiseDamaged();
  return static_cast<std::size_t>(column);
}

}  // namespace kestrel::host
