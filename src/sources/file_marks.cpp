#include "sources/file_marks.h"

#include <algorithm>

namespace kestrel {

namespace {

unsigned ByteAt(std::string_view bytes, std::size_t position) {
  return static_cast<unsigned char>(bytes[position]);
}
unsigned Number2At(std::string_view bytes, std::size_t position) {
  return ByteAt(bytes, position) | ByteAt(bytes, position + 1) << 8;
}

bool IsOneOf(char c, std::string_view bytes) { return bytes.find(c) != std::string_view::npos; }

}  // namespace

bool HasMarkOfAccess(std::string_view beginning) {
  constexpr std::size_t kName = 4;
  if (beginning.size() < kName) return false;
  return beginning.substr(kName).starts_with("Standard Jet DB") ||
         beginning.substr(kName).starts_with("Standard ACE DB");
}

bool HasMarkOfExcel(std::string_view beginning) {
  if (beginning.starts_with("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1") || beginning.starts_with("PK\x03\x04"))
    return true;
  return beginning.size() >= 4 && ByteAt(beginning, 0) == 0x09 && (ByteAt(beginning, 1) & 0xF1) == 0 &&
         ByteAt(beginning, 3) == 0;
}

bool HasMarkOfDBase(std::string_view beginning) {
  constexpr std::size_t kPreamble = 32;
  constexpr std::size_t kLevel7Columns = 68;
  constexpr std::string_view kVersions = "\x03\x04\x05\x30\x31\x32\x43\x63\x7B\x83\x8B\x8C\x8E\xCB\xE5\xF5\xFB";
  constexpr std::string_view kTypes = "CNDLMFBGPTYIVQW+@O0";
  if (beginning.size() < kPreamble + 1 || !IsOneOf(beginning[0], kVersions)) return false;
  const bool is_date = ByteAt(beginning, 2) <= 12 && ByteAt(beginning, 3) <= 31;
  const bool has_lengths = Number2At(beginning, 8) > kPreamble && Number2At(beginning, 10) > 0;
  if (!is_date || !has_lengths) return false;
  const bool is_level7 = (ByteAt(beginning, 0) & 7) == 4;
  const std::size_t type = is_level7 ? kLevel7Columns + 32 : kPreamble + 11;
  if (beginning.size() <= type) return true;  // without a column
  return IsOneOf(beginning[type], kTypes);
}

}  // namespace kestrel
