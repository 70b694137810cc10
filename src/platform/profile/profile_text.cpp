#include "platform/profile/profile_text.h"

#include <algorithm>

#include "platform/base/text.h"

namespace kestrel {
namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16LittleMark = "\xFF\xFE";
constexpr std::string_view kUtf16BigMark = "\xFE\xFF";

bool HoldsMultiByteUtf8(std::string_view bytes) {
  const bool high =
      std::any_of(bytes.begin(), bytes.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
  return high && IsValidUtf8(bytes);
}

bool StartsWithMark(std::string_view bytes) {
  return bytes.starts_with(kUtf8Mark) || bytes.starts_with(kUtf16LittleMark) ||
         bytes.starts_with(kUtf16BigMark);
}

}  // namespace

ProfileText DecodeProfile(std::string_view bytes) {
  if (bytes.starts_with(kUtf8Mark)) {
    return {RepairUtf8(bytes.substr(kUtf8Mark.size())), ProfileEncoding::kUtf8WithMark};
  }
  if (bytes.starts_with(kUtf16LittleMark) || bytes.starts_with(kUtf16BigMark)) {
    const bool big_endian = bytes.starts_with(kUtf16BigMark);
    return {FromUtf16(bytes.substr(kUtf16BigMark.size()), big_endian), ProfileEncoding::kUtf8WithMark};
  }
  if (HoldsMultiByteUtf8(bytes)) return {std::string(bytes), ProfileEncoding::kUtf8};
  return {FromWindows1252(bytes), ProfileEncoding::kWindows1252};
}

std::string EncodeProfile(const ProfileText& text) {
  if (text.encoding == ProfileEncoding::kUtf8) return text.text;
  if (text.encoding == ProfileEncoding::kWindows1252) {
    std::string bytes = ToWindows1252(text.text);
    if (!HoldsMultiByteUtf8(bytes) && !StartsWithMark(bytes)) return bytes;
  }
  return std::string(kUtf8Mark) + text.text;
}

ProfileLine TakeLine(std::string_view& rest) {
  const std::size_t length = std::min(rest.find_first_of("\r\n"), rest.size());
  std::size_t end_length = length < rest.size() ? 1 : 0;
  if (rest.substr(length).starts_with("\r\n")) end_length = 2;
  const ProfileLine line{rest.substr(0, length), rest.substr(length, end_length)};
  rest.remove_prefix(length + end_length);
  return line;
}

ParsedLine ParseLine(std::string_view line) {
  line = TrimProfileBlanks(line.substr(0, line.find('\0')));
  if (line.empty() || line.front() == ';') return {};
  if (line.front() == '[') {
    const std::size_t close = line.rfind(']');
    if (close != std::string_view::npos) {
      return {LineKind::kSection, TrimProfileBlanks(line.substr(1, close - 1)), {}};
    }
  }
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return {};
  return {LineKind::kEntry, TrimProfileBlanks(line.substr(0, equals)),
          TrimProfileBlanks(line.substr(equals + 1))};
}

std::string_view TrimProfileBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

}  // namespace kestrel
