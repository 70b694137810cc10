// What an import class would refuse of a source: its CheckRecord is asked with every record, as a test run asks it.
//
// Invariants
//  1. Between its construction and Finish the class is in an import of its own; nothing is stored.
//  2. Every record is handed over, so the numbers by which the class names records are those of the source.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "check/value_tally.h"
#include "component/session.h"
#include "kestrel/finding.h"
#include "kestrel/object.h"
#include "kestrel/recordset.h"

namespace kestrel {

class DestinationTrial {
 public:
  // Begins it, where the session's import class can check records. The session outlives this object.
  explicit DestinationTrial(Session& session);
  DestinationTrial(const DestinationTrial&) = delete;
  DestinationTrial& operator=(const DestinationTrial&) = delete;
  ~DestinationTrial() { Finish(); }

  // Whether the class is asked; not any more where it cannot be, or calls going on senseless.
  bool IsOpen() const { return is_open_; }
  // Whether it was, with every record.
  bool WasAsked() const { return records_ > 0 && failure_.empty(); }
  // An empty record, to be filled and handed to Ask; null where none is to be had.
  std::shared_ptr<Recordset> NewRecord(std::int64_t record);
  // Asks for the record, counted from 1. `is_told`: whether an error of that field was found already, which then
  // stands for what the class says of it.
  void Ask(std::int64_t record, const std::function<bool(std::string_view field)>& is_told);
  // Behind the last record. Once more does nothing.
  void Finish();

  void Tell(Findings& findings) const;

 private:
  // Of one field ("" for none) and one number of an error.
  struct Refusal {
    ValueTally records;
    std::string text;  // of the first
  };

  void TakeError(std::int64_t record, const std::function<bool(std::string_view field)>& is_told);
  void TakeLateErrors();
  template <class Step>
  void Attempt(Step&& step);

  Session& session_;
  bool is_open_ = false;
  std::int64_t records_ = 0;
  std::int64_t late_errors_ = 0;
  Value record_value_;
  std::shared_ptr<Recordset> record_;
  BoundMember get_new_record_;
  BoundMember check_record_;
  BoundMember error_code_;
  std::optional<BoundMember> error_field_;
  std::optional<BoundMember> error_first_record_;
  std::optional<BoundMember> error_last_record_;
  std::optional<BoundMember> next_late_error_;
  std::optional<BoundMember> stop_reason_;

  std::map<std::pair<std::string, std::int64_t>, Refusal> refusals_;
  std::string failure_;  // why nothing more is asked
};

}  // namespace kestrel
