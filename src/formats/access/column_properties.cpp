#include "formats/access/column_properties.h"

#include <vector>

namespace kestrel::access {
namespace {

// Blocks of either kind begin with their size and what they are.
constexpr std::size_t kBlockHead = 6;
constexpr std::uint16_t kNames = 0x80;
constexpr std::uint16_t kColumn = 0x01;

// A text behind its length in bytes; `at` moves behind it.
std::string ReadText(const JetFile& file, const RawBytes& bytes, std::size_t& at) {
  const std::uint16_t size = bytes.U16(at);
  std::string text;
  std::string read(file.DecodeText(bytes.Part(at + 2, size), text));
  at += 2 + std::size_t{size};
  return read;
}

std::vector<std::string> ReadNames(const JetFile& file, const RawBytes& block) {
  std::vector<std::string> names;
  for (std::size_t at = 0; at < block.size();) names.push_back(ReadText(file, block, at));
  return names;
}

void AddResultType(const JetFile& file, const RawBytes& block, const std::vector<std::string>& names,
                   std::map<std::string, std::uint8_t>& types) {
  constexpr std::size_t kEntryHead = 8;  // size, flag, type, name, size of the value
  std::size_t at = 4;
  const std::string column = ReadText(file, block, at);
  for (at = block.U32(0); at < block.size();) {
    const std::uint16_t size = block.U16(at);
    if (size < kEntryHead) throw Damaged("eine Eigenschaft eines Feldes ist zu kurz");
    const std::uint16_t name = block.U16(at + 4);
    if (name < names.size() && names[name] == "ResultType" && block.U16(at + 6) == 1) {
      types[column] = block.U8(at + kEntryHead);
    }
    at += size;
  }
}

}  // namespace

std::map<std::string, std::uint8_t> ReadResultTypes(const JetFile& file, std::string_view properties) {
  constexpr std::size_t kMark = 4;  // which version of the format; all are alike
  const RawBytes bytes(properties);
  std::map<std::string, std::uint8_t> types;
  std::vector<std::string> names;
  for (std::size_t at = kMark; at + kBlockHead <= bytes.size();) {
    const std::uint32_t size = bytes.U32(at);
    if (size < kBlockHead) throw Damaged("die Eigenschaften einer Tabelle sind zu kurz");
    const RawBytes block(bytes.Part(at + kBlockHead, size - kBlockHead));
    const std::uint16_t kind = bytes.U16(at + 4);
    if (kind == kNames) names = ReadNames(file, block);
    if (kind == kColumn) AddResultType(file, block, names, types);
    at += size;
  }
  return types;
}

}  // namespace kestrel::access
