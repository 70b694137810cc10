// Writes dBase tables for tests, the odd ones included.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kestrel::testing {

struct DbfColumn {
  std::string name;
  char type = 'C';
  std::uint8_t length = 10;
  std::uint8_t decimals = 0;
  std::uint8_t flags = 0;  // of Visual FoxPro: 1 hidden, 2 may be null
};

class DbfWriter {
 public:
  static constexpr std::uint8_t kDbase3 = 0x03;
  static constexpr std::uint8_t kDbase7 = 0x04;
  static constexpr std::uint8_t kVisualFoxPro = 0x30;
  static constexpr std::uint8_t kDbase3WithMemo = 0x83;
  static constexpr std::uint8_t kDbase4WithMemo = 0x8B;

  // `language` is the mark of the code page: 0 for none, 3 for Windows-1252.
  explicit DbfWriter(std::vector<DbfColumn> columns, std::uint8_t version = kDbase3,
                     std::uint8_t language = 0x03);

  // The stored bytes of each column. Short ones are filled with blanks, in front where the column is numeric.
  void Add(const std::vector<std::string>& fields, bool deleted = false);
  // The record count the head will tell; without this the true one.
  void ClaimRecordCount(std::uint32_t count) { claimed_count_ = count; }

  std::string Bytes() const;

 private:
  std::vector<DbfColumn> columns_;
  std::uint8_t version_;
  std::uint8_t language_;
  std::uint32_t count_ = 0;
  std::int64_t claimed_count_ = -1;
  std::string records_;
};

// A number's bytes, the lowest first.
std::string LittleEndian(std::uint64_t number, int bytes);
std::string BigEndian(std::uint64_t number, int bytes);

}  // namespace kestrel::testing
