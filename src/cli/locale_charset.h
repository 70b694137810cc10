// The character set that the locale names, for what a person reads: texts are UTF-8 inside, and nothing that the
// terminal would show as other characters leaves the program.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace kestrel::cli {

class LocaleCharset {
 public:
  // `locale` as in LANG: "de_DE.ISO-8859-1". Where it names no character set, that of the installed locale. The empty
  // text says nothing of the terminal, so it is taken as one of today, in UTF-8; "C" and "POSIX" are ASCII.
  explicit LocaleCharset(const std::string& locale);
  ~LocaleCharset();
  LocaleCharset(const LocaleCharset&) = delete;
  LocaleCharset& operator=(const LocaleCharset&) = delete;

  // By LC_ALL, LC_CTYPE, LANG: the first that is not empty.
  static std::string NameOfEnvironment();

  // The text, still in UTF-8, with what the character set lacks written otherwise ("ae", "EUR"), or as "?".
  std::string Representable(std::string_view text) const;
  // The text in the character set, likewise.
  std::string Encode(std::string_view text) const;

 private:
  struct Converter;
  std::unique_ptr<Converter> converter_;  // null: UTF-8
};

}  // namespace kestrel::cli
