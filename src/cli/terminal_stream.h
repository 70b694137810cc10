// The program's streams: standard output that knows whether it arrived, and a filter before a terminal.
#pragma once

#include <array>
#include <ostream>
#include <streambuf>
#include <string>

#include "cli/locale_charset.h"

namespace kestrel::cli {

// Sees that no file gets the number of a standard stream that is closed, as what is printed would be written into it.
// Reading or writing there fails as it did.
void OccupyStandardStreams();

// Writes to a file descriptor that outlives it. A failed write sets badbit, as with any stream, and is kept.
class DescriptorOutput final : private std::streambuf, public std::ostream {
 public:
  explicit DescriptorOutput(int descriptor);
  ~DescriptorOutput() override { sync(); }
  // The errno of the write that failed; 0 where none has.
  int error() const { return error_; }

 private:
  int overflow(int c) override;
  int sync() override;

  int descriptor_;
  int error_ = 0;
  std::array<char, 1 << 16> buffer_;
};

// Hands texts on line by line, as TerminalText shows them, in the character set of the locale: whatever is printed, a
// terminal obeys none of it.
class TerminalStream final : private std::streambuf, public std::ostream {
 public:
  // Both outlive this stream.
  TerminalStream(std::ostream& target, const LocaleCharset& charset);
  ~TerminalStream() override { sync(); }

 private:
  int overflow(int c) override;
  std::streamsize xsputn(const char* text, std::streamsize size) override;
  int sync() override;

  std::ostream& target_;
  const LocaleCharset& charset_;
  std::string line_;
};

}  // namespace kestrel::cli
