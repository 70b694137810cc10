// Workbooks up to 2003: BIFF5 and BIFF8 streams, in a compound file or bare.
#pragma once

#include "formats/excel/biff_globals.h"
#include "formats/excel/compound_file.h"
#include "formats/excel/shared_strings.h"
#include "formats/excel/workbook.h"

namespace kestrel::excel {

class BiffWorkbook final : public Workbook {
 public:
  // Whether the file begins like a compound file or a bare stream of any version.
  static bool IsOne(Bytes file);
  // Error 3000 for a workbook that is older, damaged, or encrypted with a password of its own.
  explicit BiffWorkbook(std::string file);

  const std::vector<std::string>& SheetNames() const override { return globals_.sheet_names; }
  const std::vector<NamedRange>& NamedRanges() const override { return globals_.named_ranges; }
  std::shared_ptr<const Sheet> OpenSheet(std::size_t sheet) const override;

  // --- For its sheets ---
  const ScatteredBytes& stream() const { return stream_.bytes; }
  // Whether the file is known to hold all of the stream.
  bool is_whole() const { return stream_.is_whole; }
  const SharedStrings& shared_strings() const { return shared_strings_; }
  bool days_from_1904() const { return globals_.days_from_1904; }
  // What numbers mean in cells of the extended format.
  NumberStyle StyleOf(std::uint16_t extended_format) const;
  // Appends the text, its length before it, that begins at `position`.
  void AppendInlineText(RecordPosition position, std::string& text) const;

 private:
  std::string file_;
  CompoundStream stream_;  // views file_
  BiffGlobals globals_;
  CodePage code_page_;
  SharedStrings shared_strings_;
};

}  // namespace kestrel::excel
