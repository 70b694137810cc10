#include "cli/locale_charset.h"

#include <iconv.h>
#include <langinfo.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <utility>

#include "platform/base/text.h"

namespace kestrel::cli {

namespace {

constexpr const char* kAscii = "ASCII";
constexpr const char* kUtf8 = "UTF-8";

constexpr std::pair<char32_t, const char*> kWrittenOtherwise[] = {
    {U'Ä', "Ae"}, {U'Ö', "Oe"},  {U'Ü', "Ue"},  {U'ß', "ss"}, {U'ä', "ae"}, {U'ö', "oe"}, {U'ü', "ue"},
    {U'–', "-"},  {U'—', "-"},   {U'‘', "'"},   {U'’', "'"},  {U'‚', "'"},  {U'“', "\""}, {U'”', "\""},
    {U'„', "\""}, {U'…', "..."}, {U'€', "EUR"}, {U'─', "-"},  {U'█', "#"},  {U'·', "."}};

// The name behind the point: "de_DE.UTF-8@euro".
std::string CharsetIn(const std::string& locale) {
  const std::size_t point = locale.find('.');
  if (point == std::string::npos) return "";
  return locale.substr(point + 1, locale.find('@', point) - point - 1);
}

std::string CharsetOf(const std::string& locale) {
  if (locale.empty()) return kUtf8;
  if (locale == "C" || locale == "POSIX") return kAscii;
  if (std::string named = CharsetIn(locale); !named.empty()) return named;
  const locale_t installed = ::newlocale(LC_CTYPE_MASK, locale.c_str(), nullptr);
  if (installed == nullptr) return kAscii;
  std::string charset = ::nl_langinfo_l(CODESET, installed);
  ::freelocale(installed);
  return charset;
}

bool IsUtf8(const std::string& charset) {
  const std::string upper = UpperCase(charset);
  return upper == kUtf8 || upper == "UTF8";
}

}  // namespace

struct LocaleCharset::Converter {
  explicit Converter(const std::string& charset) : handle(::iconv_open(charset.c_str(), kUtf8)) {
    if (!IsOpen()) handle = ::iconv_open(kAscii, kUtf8);
  }
  ~Converter() {
    if (IsOpen()) ::iconv_close(handle);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  // iconv tells a failure by this value.
  bool IsOpen() const { return handle != reinterpret_cast<iconv_t>(-1); }

  // One character; none where the character set lacks it.
  std::optional<std::string> Convert(std::string_view character) const {
    if (!IsOpen()) return std::nullopt;
    std::string from(character);
    std::array<char, 16> to{};
    char* from_at = from.data();
    char* to_at = to.data();
    std::size_t from_left = from.size();
    std::size_t to_left = to.size();
    const std::size_t inexact = ::iconv(handle, &from_at, &from_left, &to_at, &to_left);
    const bool is_exact = inexact == 0 && from_left == 0;
    // Back to the initial state, whatever came of it.
    ::iconv(handle, nullptr, nullptr, is_exact ? &to_at : nullptr, &to_left);
    if (!is_exact) return std::nullopt;
    return std::string(to.data(), to_at);
  }

  iconv_t handle;
};

LocaleCharset::LocaleCharset(const std::string& locale) {
  const std::string charset = CharsetOf(locale);
  if (!IsUtf8(charset)) converter_ = std::make_unique<Converter>(charset);
}

LocaleCharset::~LocaleCharset() = default;

std::string LocaleCharset::NameOfEnvironment() {
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') return value;
  }
  return "";
}

std::string LocaleCharset::Representable(std::string_view text) const {
  if (converter_ == nullptr) return std::string(text);
  std::string representable;
  for (std::size_t position = 0; position < text.size();) {
    const std::size_t start = position;
    const char32_t code_point = NextCodePoint(text, position);
    const std::string_view character = text.substr(start, position - start);
    if (code_point < 0x80 || converter_->Convert(character)) {
      representable += character;
      continue;
    }
    const auto* otherwise = std::find_if(std::begin(kWrittenOtherwise), std::end(kWrittenOtherwise),
                                         [&](const auto& entry) { return entry.first == code_point; });
    representable += otherwise == std::end(kWrittenOtherwise) ? "?" : otherwise->second;
  }
  return representable;
}

std::string LocaleCharset::Encode(std::string_view text) const {
  if (converter_ == nullptr) return std::string(text);
  const std::string representable = Representable(text);
  std::string encoded;
  for (std::size_t position = 0; position < representable.size();) {
    const std::size_t start = position;
    const bool is_ascii = NextCodePoint(representable, position) < 0x80;
    const std::string_view character = std::string_view(representable).substr(start, position - start);
    encoded += is_ascii ? std::string(character) : converter_->Convert(character).value_or("?");
  }
  return encoded;
}

}  // namespace kestrel::cli
