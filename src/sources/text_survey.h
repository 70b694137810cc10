// What a text file is made of: its character set and its line ends, which decide how it is cut into records.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

// The ends of lines of one kind.
struct LineEndFigures {
  static constexpr std::size_t kPlaces = 3;

  std::int64_t count = 0;
  // The first lines that end so, counted from 1, where every CR LF, LF and CR ends a line.
  std::vector<std::int64_t> places = {};
};

struct TextSurvey {
  std::string charset;  // for a person: "UTF-8", "Windows-1252" ...
  LineEndFigures crlf;
  LineEndFigures lf;  // alone
  LineEndFigures cr;  // alone
};

// Counts the line ends of bytes that come in pieces.
//
// Invariant: `behind_cr_` tells that the last byte looked at is a CR that is not counted yet.
class LineEndCounter {
 public:
  void Scan(std::string_view bytes);
  // No more bytes follow.
  void Finish();

  const LineEndFigures& crlf() const { return crlf_; }
  const LineEndFigures& lf() const { return lf_; }
  const LineEndFigures& cr() const { return cr_; }

 private:
  void End(LineEndFigures& figures);

  LineEndFigures crlf_, lf_, cr_;
  std::int64_t lines_ = 0;
  bool behind_cr_ = false;
};

// What a record set over a text file tells beyond its records; others do not derive from it.
class TextFacts {
 public:
  virtual ~TextFacts() = default;
  // Looks at the whole file; the record set is at its first record then. Raises what MoveFirst raises.
  virtual TextSurvey Survey() = 0;
  // How many values the current record has, which may be more or fewer than the columns. An empty one behind the last
  // delimiter counts where there is a column for it. None where the separators in force do not tell. At most
  // kMostCounted.
  virtual std::optional<std::size_t> ValueCount() const = 0;

  static constexpr std::size_t kMostCounted = 512;
};

}  // namespace kestrel
