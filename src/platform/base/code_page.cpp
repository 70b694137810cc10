#include "platform/base/code_page.h"

#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <span>

#include "kestrel/runtime_error.h"
#include "platform/base/byte_blocks.h"
#include "platform/base/text.h"

namespace kestrel {

namespace {

constexpr int kUtf8 = 65001;
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

struct NamedPage {
  int number;
  const char* name;  // as iconv calls it
};
constexpr NamedPage kSingleBytePages[] = {{437, "CP437"},
                                          {737, "CP737"},
                                          {775, "CP775"},
                                          {850, "CP850"},
                                          {852, "CP852"},
                                          {855, "CP855"},
                                          {857, "CP857"},
                                          {858, "CP858"},
                                          {860, "CP860"},
                                          {861, "CP861"},
                                          {862, "CP862"},
                                          {863, "CP863"},
                                          {864, "CP864"},
                                          {865, "CP865"},
                                          {866, "CP866"},
                                          {869, "CP869"},
                                          {874, "CP874"},
                                          {1250, "CP1250"},
                                          {1251, "CP1251"},
                                          {1252, "CP1252"},
                                          {1253, "CP1253"},
                                          {1254, "CP1254"},
                                          {1255, "CP1255"},
                                          {1256, "CP1256"},
                                          {1257, "CP1257"},
                                          {1258, "CP1258"},
                                          {10000, "MACINTOSH"},
                                          {10007, "MAC-CYRILLIC"},
                                          {10029, "MAC-CENTRALEUROPE"}};
constexpr NamedPage kMultiBytePages[] = {{932, "CP932"}, {936, "GBK"}, {949, "CP949"}, {950, "BIG5"}};

const char* NameIn(std::span<const NamedPage> pages, int number) {
  const auto page = std::find_if(pages.begin(), pages.end(),
                                 [&](const NamedPage& candidate) { return candidate.number == number; });
  return page == pages.end() ? nullptr : page->name;
}

// A conversion of the C library from a code page to UTF-8.
class Converter {
 public:
  explicit Converter(const char* name) : handle_(iconv_open("UTF-8", name)) {
    if (!IsOpen()) {
      throw RuntimeError(ErrorNumber::kDatabase,
                         "Der Zeichensatz " + std::string(name) + " fehlt auf diesem System");
    }
  }
  ~Converter() { iconv_close(handle_); }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  // Converts from the start of `bytes`, shortening it by what was read, and appends to `text`. False at a
  // byte that has no meaning.
  bool Convert(std::string_view& bytes, std::string& text) {
    while (!bytes.empty()) {
      char chunk[256];
      char* in = const_cast<char*>(bytes.data());  // iconv does not write there
      char* out = chunk;
      std::size_t in_left = bytes.size();
      std::size_t out_left = sizeof chunk;
      const std::size_t result = iconv(handle_, &in, &in_left, &out, &out_left);
      const bool failed = result == static_cast<std::size_t>(-1) && errno != E2BIG;
      text.append(chunk, sizeof chunk - out_left);
      bytes.remove_prefix(bytes.size() - in_left);
      if (failed) {
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        return false;
      }
    }
    return true;
  }

 private:
  bool IsOpen() const { return handle_ != reinterpret_cast<iconv_t>(static_cast<std::intptr_t>(-1)); }
  iconv_t handle_;
};

// The length of the leading part that is ASCII.
std::size_t AsciiLength(std::string_view bytes) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  const auto has_high_bits = [&](std::size_t at) {
    std::uint64_t word;
    std::memcpy(&word, bytes.data() + at, sizeof word);
    return (word & kHighBits) != 0;
  };
  constexpr std::size_t kWord = sizeof(std::uint64_t);
  std::size_t position = 0;
  while (bytes.size() - position >= kWord && !has_high_bits(position)) position += kWord;
  // The rest of a longer text overlaps what is known already.
  if (bytes.size() - position < kWord && bytes.size() >= kWord && !has_high_bits(bytes.size() - kWord)) {
    return bytes.size();
  }
  while (position < bytes.size() && static_cast<unsigned char>(bytes[position]) < 0x80) ++position;
  return position;
}

}  // namespace

bool CodePage::IsKnown(int number) {
  return number == kUtf8 || NameIn(kSingleBytePages, number) != nullptr ||
         NameIn(kMultiBytePages, number) != nullptr;
}

CodePage::CodePage(int number) : number_(number) {
  if (!IsKnown(number)) {
    throw RuntimeError(ErrorNumber::kDatabase,
                       "Der Zeichensatz mit der Nummer " + std::to_string(number) + " ist nicht bekannt");
  }
  const char* name = NameIn(kSingleBytePages, number);
  if (name == nullptr) return;
  Converter converter(name);
  auto table = std::make_shared<Table>();
  for (std::size_t i = 0; i < table->size(); ++i) {
    const char byte = static_cast<char>(i);
    std::string_view input(&byte, 1);
    std::string utf8;
    if (i < 0x80) {
      utf8 = byte;
    } else if (!converter.Convert(input, utf8) || utf8.empty() || utf8.size() > kLongestCharacter) {
      utf8.clear();
      AppendUtf8(utf8, static_cast<char32_t>(i));
    }
    Character& character = (*table)[i];
    std::copy(utf8.begin(), utf8.end(), character.utf8.begin());
    character.length = static_cast<unsigned char>(utf8.size());
  }
  table_ = std::move(table);
}

void CodePage::AppendTo(std::string& text, std::string_view bytes) const {
  const std::size_t plain = AsciiLength(bytes);
  text.append(bytes.substr(0, plain));
  bytes.remove_prefix(plain);
  if (bytes.empty()) return;
  if (table_ == nullptr) return AppendMultiByte(text, bytes);
  const std::size_t start = text.size();
  text.resize(start + RoomFor(bytes));
  text.resize(start + WriteCharacters(bytes, text.data() + start));
}

// Room for the longest text, and for what is written behind it on the way.
std::size_t CodePage::RoomFor(std::string_view bytes) { return bytes.size() * kLongestCharacter + 1; }

// Writes the text to `out`; its length. Takes no decision for a single byte, as a wrong guess of the processor
// takes longer than writing bytes that the next character overwrites.
std::size_t CodePage::WriteCharacters(std::string_view bytes, char* out) const {
  const Table& table = *table_;
  char* end = out;
  for (const char byte : bytes) {
    const Character& character = table[static_cast<unsigned char>(byte)];
    std::memcpy(end, &character, sizeof character);
    end += character.length;
  }
  return static_cast<std::size_t>(end - out);
}

void CodePage::AppendMultiByte(std::string& text, std::string_view bytes) const {
  if (number_ == kUtf8) {
    text += RepairUtf8(bytes);
    return;
  }
  Converter converter(NameIn(kMultiBytePages, number_));
  while (!converter.Convert(bytes, text)) {
    text += kReplacement;
    bytes.remove_prefix(std::min<std::size_t>(bytes.size(), 1));
  }
}

std::string_view CodePage::Decode(std::string_view bytes, std::string& buffer) const {
  return AsciiLength(bytes) == bytes.size() ? bytes : DecodeAll(bytes, buffer);
}

std::string_view CodePage::DecodeAll(std::string_view bytes, std::string& buffer) const {
  if (table_ == nullptr) {
    buffer.clear();
    AppendTo(buffer, bytes);
    return buffer;
  }
  if (buffer.size() < RoomFor(bytes)) buffer.resize(RoomFor(bytes));
  return {buffer.data(), WriteCharacters(bytes, buffer.data())};
}

// Copies what is ASCII in blocks of fixed size and looks up the characters between: most values hold one or
// two. Bytes written too many are overwritten by what follows them.
std::size_t CodePage::WriteRuns(std::string_view bytes, char* out) const {
  const Table& table = *table_;
  const char* at = bytes.data();
  const char* const last = at + bytes.size();
  char* end = out;
  while (at < last) {
    const ByteBlockOf<kRoomBehind> block(at);
    block.Store(end);
    const std::uint64_t high = block.High();
    const std::size_t run = high == 0 ? kRoomBehind : static_cast<std::size_t>(std::countr_zero(high));
    at += run;
    end += run;
    if (at >= last) break;
    if (high == 0) continue;
    const Character& character = table[static_cast<unsigned char>(*at++)];
    std::memcpy(end, &character, sizeof character);
    end += character.length;
  }
  // The last run may have gone beyond the text.
  return static_cast<std::size_t>(end - out) - static_cast<std::size_t>(at - last);
}

std::string_view CodePage::DecodeWithRoom(std::string_view bytes, std::string& buffer) const {
  if (table_ == nullptr) return DecodeAll(bytes, buffer);
  const std::size_t room = RoomFor(bytes) + kRoomBehind;
  if (buffer.size() < room) buffer.resize(room);
  return {buffer.data(), WriteRuns(bytes, buffer.data())};
}

std::string CodePage::ToText(std::string_view bytes) const {
  std::string text;
  AppendTo(text, bytes);
  return text;
}

}  // namespace kestrel
