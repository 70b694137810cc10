#include "support/dbf_writer.h"

#include <algorithm>

namespace kestrel::testing {

std::string LittleEndian(std::uint64_t number, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text.push_back(static_cast<char>(number >> (8 * i) & 0xFF));
  return text;
}

std::string BigEndian(std::uint64_t number, int bytes) {
  std::string text = LittleEndian(number, bytes);
  std::reverse(text.begin(), text.end());
  return text;
}

DbfWriter::DbfWriter(std::vector<DbfColumn> columns, std::uint8_t version, std::uint8_t language)
    : columns_(std::move(columns)), version_(version), language_(language) {}

void DbfWriter::Add(const std::vector<std::string>& fields, bool deleted) {
  records_ += deleted ? '*' : ' ';
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const std::string field = fields.at(i).substr(0, columns_[i].length);
    const std::string fill(columns_[i].length - field.size(), ' ');
    const bool numeric = columns_[i].type == 'N' || columns_[i].type == 'F' || columns_[i].type == 'M';
    records_ += numeric ? fill + field : field + fill;
  }
  ++count_;
}

std::string DbfWriter::Bytes() const {
  const bool level7 = version_ == kDbase7;
  const std::size_t name_size = level7 ? 32 : 11;
  const std::size_t first = level7 ? 68 : 32;
  const std::size_t descriptor_size = level7 ? 48 : 32;
  std::size_t record_length = 1;
  for (const DbfColumn& column : columns_) record_length += column.length;

  std::string head;
  head += static_cast<char>(version_);
  head += "\x18\x03\x07";  // the date of the last change
  head += LittleEndian(claimed_count_ < 0 ? count_ : static_cast<std::uint64_t>(claimed_count_), 4);
  head += LittleEndian(first + columns_.size() * descriptor_size + 1, 2);
  head += LittleEndian(record_length, 2);
  head.resize(29);
  head += static_cast<char>(language_);
  head.resize(first);
  for (const DbfColumn& column : columns_) {
    std::string descriptor = column.name;
    descriptor.resize(name_size);
    descriptor += column.type;
    if (!level7) descriptor.resize(16);
    descriptor += static_cast<char>(column.length);
    descriptor += static_cast<char>(column.decimals);
    descriptor += static_cast<char>(column.flags);
    descriptor.resize(descriptor_size);
    head += descriptor;
  }
  return head + '\x0D' + records_ + '\x1A';
}

}  // namespace kestrel::testing
