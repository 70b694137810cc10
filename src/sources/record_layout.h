// Records of a source as lines of a text file that the same specification reads, with columns behind the source's
// own: of a text file the bytes as they stand, in its character set and with its separators and line ends; of every
// other source CSV with commas, in UTF-8, with a header.
//
// What differs from the source, because its reader would not read it back otherwise or other programs would not:
// a value with qualifiers that do not enclose it is enclosed, they are doubled; one whose qualifier stays open is
// closed; columns that a line lacks are there and empty. In CSV a CR within a value becomes a LF, as a CR ends every
// line.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "component/session.h"
#include "kestrel/recordset.h"

namespace kestrel {

class TextRecordset;

class RecordLayout {
 public:
  // The layout of the session's open source. Where its last columns have the names of `left_out`, it is the layout
  // without them. Moves a text source to its first record. Raises what reading the header raises.
  explicit RecordLayout(const Session& session, const std::vector<std::string>& left_out = {});

  // What stands before the records: the mark of the character set and, where the source has one, the header.
  std::string Head(const std::vector<std::string>& further_columns) const;
  // The current record, in UTF-8. Raises what reading it raises.
  std::string RecordText(const Recordset& record) const;
  // How many values a RecordText has.
  std::size_t CountValues(std::string_view record_text) const;
  // The line of a RecordText, as bytes of the file, line end included. Where it has fewer values than `columns`, empty
  // ones stand before the further ones.
  std::string Line(std::string_view record_text, const std::vector<std::string>& further_values,
                   std::size_t columns = 0) const;

  bool has_header() const { return has_header_; }

  // Whether these are bytes of Windows-1252, which a file's reader takes for such where not all of it is UTF-8.
  bool is_windows_1252() const { return charset_ == Charset::kWindows1252 && !repairs_umlauts_; }

 private:
  enum class Charset { kUtf8, kUtf8WithMark, kUtf16Little, kUtf16Big, kWindows1252 };

  void TakeText(const Session& session, TextRecordset& source);
  void LeaveOut(const Recordset& source, const std::vector<std::string>& names);
  std::string FirstColumns(std::string_view line) const;
  std::vector<std::string_view> CutValues(std::string_view line) const;
  // Without those of the columns that are left out, which stand behind all others that a line may have.
  std::vector<std::string_view> OwnValues(std::string_view line) const;
  std::string Enclosed(std::string_view value) const;
  bool IsWellFormed(std::string_view value) const;
  // A text that is not the source's own: without line ends and qualifiers.
  std::string Added(std::string_view text) const;
  std::string Encode(std::string_view text) const;

  Charset charset_ = Charset::kUtf8;
  std::string delimiter_ = ",";
  std::string qualifier_ = "\"";  // empty where values cannot be enclosed
  std::string line_end_ = "\r\n";
  bool has_header_ = true;
  bool repairs_umlauts_ = false;
  bool is_text_ = false;
  std::string first_line_;   // of a text source
  std::size_t columns_ = 0;  // without those left out
  std::size_t left_out_ = 0;
  std::vector<std::string> names_;  // of another source
};

}  // namespace kestrel
