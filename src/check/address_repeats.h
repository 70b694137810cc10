// The addresses of a source that repeat an earlier one, by the keys of the duplicate check; and the same for the
// addresses' own numbers. Only the source is looked at, never what the host has stored.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "check/repeated_keys.h"
#include "component/session.h"
#include "duplicates/address_kind.h"
#include "duplicates/duplicate_check.h"
#include "duplicates/kept_columns.h"
#include "kestrel/data_profile.h"
#include "kestrel/memory_recordset.h"

namespace kestrel {

class AddressRepeats {
 public:
  // Compares by the keys that the specification uses, if it has duplicates looked for. `records`: how many are
  // expected, 0 where unknown. Both outlive this object.
  AddressRepeats(Session& session, DuplicateCheck& duplicates, std::int64_t records);

  // Where the text of a field of the destination goes; none where no key asks for it.
  std::optional<std::size_t> ColumnOf(std::string_view field) const;
  // Stays until it is put anew.
  void Put(std::size_t column, std::string_view text) { record_.SetText(column, text); }
  // The texts put are those of this record, counted from 1.
  void Look(std::int64_t record);

  // Adds the figure and what was found.
  void Tell(DataProfile& profile);

 private:
  static constexpr std::size_t kKeys = 3;

  void PrepareKeys(Session& session, DuplicateCheck& duplicates);
  void AddKeys(std::int64_t record);
  void TellRepeats(RepeatedKeys& keys, std::string_view one, std::string_view several, std::string way_out,
                   Findings& findings, std::int64_t* count) const;

  SessionAddressKind session_kind_;
  const AddressKind* kind_;
  MemoryRecordset record_;
  std::size_t number_ = 0;
  std::size_t group_ = 0;

  // Where duplicates are looked for: which keys count, how they are made, and by what.
  bool has_keys_ = false;
  std::array<bool, kKeys> use_key_{};
  std::array<Value, kKeys> codes_;
  BoundMember build_key_;
  KeptColumns columns_;
  std::string text_;
  Value key_text_;
  // The component's keys are only generous guesses, which it confirms by what is stored: a record counts then where all
  // keys are those of an earlier one, and all are there.
  bool confirms_ = false;
  std::string all_keys_;
  std::string failure_;  // why keys cannot be made

  RepeatedKeys addresses_;
  RepeatedKeys numbers_;
};

}  // namespace kestrel
