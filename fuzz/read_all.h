// What the fuzzers of record sets share.
#pragma once

#include <cstdint>
#include <string>

#include "platform/data/recordset.h"

namespace kestrel::fuzz {

inline std::string BytesAsString(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// Runs a step that may fail in words; anything else that it raises is the fuzzer's find.
template <class Step>
void MayFail(Step&& step) {
  try {
    step();
  } catch (const RuntimeError&) {
    return;
  }
}

// Reads every cell.
inline void ReadAll(Recordset& rows) {
  for (; !rows.IsEof(); rows.MoveNext()) {
    for (std::size_t column = 0; column < rows.ColumnCount(); ++column) {
      MayFail([&] { rows.TextAt(column); });
    }
  }
}

}  // namespace kestrel::fuzz
