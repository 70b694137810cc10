// Cutting a record into values: views into the line's bytes, without a copy.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace kestrel {

// How the bytes of a line are cut. Only for a delimiter and a qualifier of one ASCII character each that
// differ; text_source.h's SplitTextLine serves every other case.
struct SplitRules {
  char line_end = '\r';
  char delimiter = ';';
  char qualifier = '"';
  // Whether bytes beyond ASCII differ from their UTF-8 form.
  bool decode_high_bytes = false;
};

struct RawValue {
  const char* bytes = nullptr;
  std::size_t size = 0;
  // The bytes are the value's UTF-8 text: no qualifier to remove (a pair around the value has been left
  // out), nothing to decode.
  bool plain = true;
};

// Cuts the line that begins at `line`, is not empty and ends at a line end, behind which kBlockSize more
// bytes can be read. Stops when `values` is full. Returns how many values were found.
std::size_t SplitLine(const char* line, const SplitRules& rules, std::span<RawValue> values);
// The same with a line of that many bytes, in which a line end is a character like others.
std::size_t SplitText(std::string_view line, const SplitRules& rules, std::span<RawValue> values);

}  // namespace kestrel
