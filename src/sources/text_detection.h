// How a text file is probably to be read, found out from its beginning.
//
// Separator and qualifier are those by which the rows have the most alike numbers of values and the values the most
// known shapes: the product of pattern score and type score of G. J. J. van den Burg, A. Nazábal and C. Sutton,
// "Wrangling messy CSV files by detecting row and type patterns", Data Mining and Knowledge Discovery 33 (2019).
// Rows and values are cut as the reader of text files cuts them.
//
// Whether the first row holds names is told by what sets it apart from its columns: their shapes, values that come
// again and again, and words that columns are usually called. Where nothing does, it is a record, so that none is lost.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel {

struct DetectedText {
  // As a person calls it. Empty where the beginning holds nothing beyond ASCII.
  std::string charset;
  // A DOS file, whose umlauts are to be repaired.
  bool is_dos = false;
  // As it is stored: "TAB", or the character. None where the rows do not show one.
  std::optional<std::string> delimiter = std::nullopt;
  char qualifier = '"';
  // Whether values are enclosed by it.
  bool has_enclosed_values = false;
  bool has_headings = false;
  bool is_empty = false;  // but for blanks and line ends
};

// `beginning`: the first bytes of the file, `is_whole` all of them. Of a long one only some hundred rows are looked
// at. None where the bytes are no text. Raises nothing but 7.
std::optional<DetectedText> DetectText(std::string_view beginning, bool is_whole);

// What was found out, for a person: "Semikolon, Anführungszeichen, Überschriften, UTF-8".
std::string DescriptionOf(const DetectedText& text);

}  // namespace kestrel
