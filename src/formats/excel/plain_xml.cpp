#include "formats/excel/plain_xml.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>

#include "platform/base/byte_blocks.h"
#include "platform/base/text.h"

namespace kestrel::excel {

namespace {

constexpr std::size_t kMostDepth = 256;
constexpr std::size_t kMostAttributes = 16;

// What a byte may be; of several bytes the classes of all.
enum Class : unsigned {
  kNameStart = 1,
  kNameByte = 2,
  kBlank = 4,
  kReference = 8,  // begins one
  kBracket = 16,   // may belong to "]]>", which no text may hold
  kReturn = 32,    // becomes a line feed
  kHigh = 64,      // beyond ASCII
  kControl = 128,  // no character of XML
  kTagBegin = 256,
};

constexpr std::array<unsigned short, 256> kClasses = [] {
  std::array<unsigned short, 256> classes{};
  for (unsigned c = 0; c < 0x20; ++c) classes[c] = kControl;
  for (unsigned c = 0x80; c < 0x100; ++c) classes[c] = kHigh;
  for (unsigned c = 'a'; c <= 'z'; ++c) classes[c] = kNameStart | kNameByte;
  for (unsigned c = 'A'; c <= 'Z'; ++c) classes[c] = kNameStart | kNameByte;
  for (unsigned c = '0'; c <= '9'; ++c) classes[c] = kNameByte;
  classes['_'] = kNameStart | kNameByte;
  classes['-'] = classes['.'] = kNameByte;
  classes[' '] = classes['\t'] = classes['\n'] = kBlank;
  classes['\r'] = kBlank | kReturn;
  classes['&'] = kReference;
  classes[']'] = kBracket;
  classes['<'] = kTagBegin;
  return classes;
}();

unsigned ClassOf(char c) { return kClasses[static_cast<unsigned char>(c)]; }

unsigned ClassesOf(std::string_view text) {
  unsigned classes = 0;
  for (const char c : text) classes |= ClassOf(c);
  return classes;
}

// A character that XML allows.
bool IsXmlCharacter(std::uint32_t code) {
  if (code < 0x20) return code == '\t' || code == '\n' || code == '\r';
  return code < 0xD800 || (code >= 0xE000 && code < 0xFFFE) || (code >= 0x10000 && code < 0x110000);
}

// Appends what the reference means that `text` begins with; how long it is, or 0 where it is unusual.
std::size_t AppendReference(std::string_view text, std::string& decoded) {
  constexpr std::size_t kLongest = 12;
  const std::size_t end = text.substr(0, kLongest).find(';');
  if (end == std::string_view::npos) return 0;
  const std::string_view name = text.substr(1, end - 1);
  constexpr std::pair<std::string_view, char> kNamed[] = {
      {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
  for (const auto& [known, character] : kNamed) {
    if (name != known) continue;
    decoded += character;
    return end + 1;
  }
  if (!name.starts_with('#')) return 0;
  const bool is_hexadecimal = name.starts_with("#x");
  const char* const digits = name.data() + (is_hexadecimal ? 2 : 1);
  std::uint32_t code = 0;
  const auto [stop, error] = std::from_chars(digits, name.data() + name.size(), code, is_hexadecimal ? 16 : 10);
  if (error != std::errc() || stop != name.data() + name.size() || !IsXmlCharacter(code)) return 0;
  AppendUtf8(decoded, code);
  return end + 1;
}

// Of valid UTF-8, whether it holds no character that XML does not allow: of those beyond ASCII these are two.
bool HoldsOnlyCharacters(std::string_view text) {
  return IsValidUtf8(text) && text.find("\xEF\xBF\xBE") == std::string_view::npos &&
         text.find("\xEF\xBF\xBF") == std::string_view::npos;
}

}  // namespace

PlainXml::PlainXml() : buffer_(std::make_unique<char[]>(kSize + 1 + kBlockSize)) {}

char* PlainXml::Room() {
  // What was found last is of no use any more.
  std::memmove(buffer_.get(), buffer_.get() + at_, end_ - at_);
  end_ -= at_;
  at_ = 0;
  return buffer_.get() + end_;
}

void PlainXml::Added(std::size_t size) {
  end_ += size;
  at_end_ = size == 0;
  buffer_[end_] = '\0';
}

PlainXml::Remainder PlainXml::Rest() const {
  Remainder rest;
  for (std::size_t i = 0; i < open_begins_.size(); ++i) {
    const std::size_t end = i + 1 < open_begins_.size() ? open_begins_[i + 1] : open_names_.size();
    rest.bytes.append("<").append(open_names_, open_begins_[i], end - open_begins_[i]).append(">");
  }
  rest.nodes_before = open_begins_.size();
  if (open_begins_.empty() && had_root_) rest = {"<x></x>", 2};
  rest.bytes.append(buffer_.get() + at_, end_ - at_);
  return rest;
}

bool PlainXml::SkipDeclaration() {
  const std::string_view bytes(buffer_.get(), end_);
  if (!bytes.starts_with("<?")) return true;
  constexpr std::string_view kBegin = "<?xml version=\"1.0\"";
  const std::size_t end = bytes.find("?>");
  if (!bytes.starts_with(kBegin) || end == std::string_view::npos) return false;
  std::string rest(bytes.substr(kBegin.size(), end - kBegin.size()));
  std::erase_if(rest, [](char c) { return (ClassOf(c) & kBlank) != 0; });
  if (rest.starts_with("encoding=\"UTF-8\"") || rest.starts_with("encoding=\"utf-8\"")) rest.erase(0, 16);
  if (!rest.empty() && rest != "standalone=\"yes\"" && rest != "standalone=\"no\"") return false;
  at_ = end + 2;
  return true;
}

void PlainXml::SkipBlanks(std::size_t& at) const {
  while ((ClassOf(buffer_[at]) & kBlank) != 0) ++at;
}

PlainXml::Found PlainXml::Next() {
  if (ends_at_once_) {
    ends_at_once_ = false;
    Close();
    return Found::kEnd;
  }
  if (!has_begun_) {
    // A declaration that is not whole yet is told apart only in its first bytes.
    if (!at_end_ && end_ < kSize / 16) return Found::kNeedsMore;
    has_begun_ = true;
    if (!SkipDeclaration()) return Found::kUnusual;
  }
  if (open_begins_.empty()) {
    SkipBlanks(at_);
    if (at_ == end_) {
      if (!at_end_) return Found::kNeedsMore;
      return had_root_ ? Found::kEndOfPart : Found::kUnusual;
    }
    if (had_root_) return Found::kUnusual;
  }
  if (buffer_[at_] != '<') return open_begins_.empty() ? Found::kUnusual : FindText();
  const Found found = buffer_[at_ + 1] == '/' ? FindEnd(at_ + 2) : FindStart(at_ + 1);
  // A tag that fills the buffer is none of a workbook.
  return found == Found::kNeedsMore && end_ - at_ == kSize ? Found::kUnusual : found;
}

PlainXml::Found PlainXml::FindText() {
  std::size_t end = at_;
  std::uint64_t tags = 0;
  for (; end < end_; end += kBlockSize) {
    tags = ByteBlock(buffer_.get() + end).Equal('<');
    if (tags != 0) break;
  }
  end += static_cast<std::size_t>(std::countr_zero(tags)) % kBlockSize;
  if (end >= end_) return at_end_ || end_ - at_ == kSize ? Found::kUnusual : Found::kNeedsMore;
  text_ = {buffer_.get() + at_, end - at_};
  const unsigned classes = ClassesOf(text_);
  if ((classes & kBracket) != 0 && text_.find("]]>") != std::string_view::npos) return Found::kUnusual;
  decoded_count_ = 0;
  if (!Decode(text_, classes)) return Found::kUnusual;
  at_ = end;
  return Found::kText;
}

bool PlainXml::Decode(std::string_view& value, unsigned classes) {
  if ((classes & kControl) != 0) return false;
  if ((classes & kHigh) != 0 && !HoldsOnlyCharacters(value)) return false;
  if ((classes & (kReference | kReturn)) == 0) return true;
  if (decoded_count_ == decoded_.size()) decoded_.emplace_back();
  std::string& decoded = decoded_[decoded_count_++];
  decoded.clear();
  while (!value.empty()) {
    const std::size_t plain = std::min(value.find_first_of("&\r"), value.size());
    decoded += value.substr(0, plain);
    value.remove_prefix(plain);
    if (value.empty()) break;
    std::size_t taken = 1;
    if (value.front() == '\r') {
      if (!value.starts_with("\r\n")) decoded += '\n';
    } else {
      taken = AppendReference(value, decoded);
      if (taken == 0) return false;
    }
    value.remove_prefix(taken);
  }
  value = decoded;
  return true;
}

std::optional<PlainXml::Name> PlainXml::TakeName(std::size_t& at) const {
  const char* const bytes = buffer_.get();
  const std::size_t begin = at;
  if ((ClassOf(bytes[at]) & kNameStart) == 0) return std::nullopt;
  while ((ClassOf(bytes[at]) & kNameByte) != 0) ++at;
  if (bytes[at] != ':') {
    const std::string_view name(bytes + begin, at - begin);
    return Name{name, name, false};
  }
  const std::size_t local = ++at;
  if ((ClassOf(bytes[at]) & kNameStart) == 0) return std::nullopt;
  while ((ClassOf(bytes[at]) & kNameByte) != 0) ++at;
  return Name{{bytes + begin, at - begin}, {bytes + local, at - local}, true};
}

PlainXml::Found PlainXml::FindStart(std::size_t at) {
  const char* const bytes = buffer_.get();
  const std::optional<Name> name = TakeName(at);
  if (!name) return Stop(at);
  attributes_.clear();
  decoded_count_ = 0;
  std::array<std::string_view, kMostAttributes> names;
  std::size_t count = 0;
  for (;;) {
    const std::size_t before = at;
    SkipBlanks(at);
    if (bytes[at] == '>' || bytes[at] == '/') break;
    if (at == before || count == kMostAttributes) return Stop(at);
    const std::optional<Name> attribute = TakeName(at);
    if (!attribute) return Stop(at);
    const auto others = names.begin() + static_cast<std::ptrdiff_t>(count);
    if (std::find(names.begin(), others, attribute->whole) != others) return Found::kUnusual;
    names[count++] = attribute->whole;
    SkipBlanks(at);
    if (bytes[at] != '=') return Stop(at);
    SkipBlanks(++at);
    const char quote = bytes[at];
    if (quote != '"' && quote != '\'') return Stop(at);
    const std::size_t begin = ++at;
    unsigned classes = 0;
    while (bytes[at] != quote && at < end_) classes |= ClassOf(bytes[at++]);
    if (at >= end_) return Stop(at);
    std::string_view value(bytes + begin, at - begin);
    ++at;
    // Blanks other than spaces would have to become some.
    if ((classes & kTagBegin) != 0) return Found::kUnusual;
    if ((classes & kBlank) != 0 && value.find_first_of("\t\n\r") != std::string_view::npos)
      return Found::kUnusual;
    if (!Decode(value, classes)) return Found::kUnusual;
    const bool declares_namespace = attribute->whole == "xmlns" || attribute->whole.starts_with("xmlns:");
    if (!declares_namespace) attributes_.push_back({attribute->local, attribute->has_prefix, value});
  }
  ends_at_once_ = bytes[at] == '/';
  if (ends_at_once_ && bytes[++at] != '>') {
    ends_at_once_ = false;
    return Stop(at);
  }
  if (open_begins_.size() == kMostDepth) {
    ends_at_once_ = false;
    return Found::kUnusual;
  }
  open_begins_.push_back(open_names_.size());
  open_names_ += name->whole;
  name_ = name->local;
  at_ = at + 1;
  return Found::kStart;
}

PlainXml::Found PlainXml::FindEnd(std::size_t at) {
  const std::optional<Name> name = TakeName(at);
  if (!name) return Stop(at);
  SkipBlanks(at);
  if (buffer_[at] != '>') return Stop(at);
  if (open_begins_.empty() || name->whole != Top()) return Found::kUnusual;
  name_ = name->local;
  Close();
  at_ = at + 1;
  return Found::kEnd;
}

void PlainXml::Close() {
  open_names_.resize(open_begins_.back());
  open_begins_.pop_back();
  had_root_ = true;
}

}  // namespace kestrel::excel
