// A record set whose rows a program in C delivers one after the other.
//
// Invariants
//  1. texts_ are those of the current row; where there is none, the set is at its end.
//  2. A row that cannot be had breaks the set off (see Recordset).
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "abi/library.h"
#include "kestrel/kestrel.h"
#include "kestrel/recordset.h"

namespace kestrel::abi {

class Stream final : public Recordset {
 public:
  // At its first row or at its end. The library outlives it.
  Stream(Library& library, std::vector<std::string> columns, const kestrel_stream& functions);
  ~Stream() override;

  std::size_t ColumnCount() const override { return columns_.size(); }
  std::string_view ColumnName(std::size_t column) const override;
  bool IsBof() const override { return is_at_end_ && rows_ == 0; }
  bool IsEof() const override { return is_at_end_; }
  // Raises 438 where the program cannot begin anew.
  void MoveFirst() override;
  void MoveNext() override;
  std::int64_t RecordCount() const override {
    return functions_.record_count > 0 ? functions_.record_count : -1;
  }
  std::optional<RuntimeError> BrokenOff() const override { return is_at_end_ ? broken_off_ : std::nullopt; }
  bool IsNull(std::size_t column) const override { return Current(column).data == nullptr; }
  std::string_view TextAt(std::size_t column) const override {
    const kestrel_text& text = Current(column);
    return text.data == nullptr ? std::string_view() : std::string_view(text.data, text.length);
  }

 private:
  const kestrel_text& Current(std::size_t column) const;
  // Raises what the program failed with; the set is at its end then.
  void Fetch();
  void FetchFirst();

  Library& library_;
  const std::vector<std::string> columns_;
  const kestrel_stream functions_;
  std::vector<kestrel_text> texts_;
  std::int64_t rows_ = 0;  // delivered since the beginning
  bool is_at_end_ = false;
  std::optional<RuntimeError> broken_off_;
};

}  // namespace kestrel::abi
