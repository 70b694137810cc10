// What a person looks at: how wide the terminals are, and which characters they show.
#pragma once

#include <cstddef>

#include "cli/locale_charset.h"

namespace kestrel::cli {

class Screen {
 public:
  // As environment and standard streams say.
  Screen() : charset_(LocaleCharset::NameOfEnvironment()) {}

  const LocaleCharset& charset() const { return charset_; }
  // Columns of the terminal behind standard output or standard error; 0: none is behind it. Asked each time, as
  // windows change.
  static std::size_t OutColumns();
  static std::size_t ErrColumns();
  // Whether the terminal behind standard error moves its cursor when it is told to; one that is "dumb" does not.
  static bool ErrDraws();

 private:
  LocaleCharset charset_;
};

}  // namespace kestrel::cli
