// What a run says of itself: its progress, why it stopped, and its closing words.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kestrel/export.h"
#include "kestrel/run_result.h"
#include "platform/base/counted.h"

namespace kestrel {

// "Importiere Datensatz 4 von 12", written into one buffer for all records.
class ProgressText {
 public:
  // Negative: not known, and left out.
  void SetTotal(std::int32_t total);
  // Lives until the next call.
  std::string_view For(std::int32_t record);

 private:
  static constexpr std::string_view kInFront = "Importiere Datensatz ";
  std::string text_{kInFront};
  std::string behind_;
  std::int64_t record_ = 0;     // in text_; 0 for none
  std::size_t last_digit_ = 0;  // where it ends there
};

// With which record an import that did not reach its source's end goes on; 0 where it did, or where none can.
// `host_failed`: the database lost records at its end, also where the user stopped it. Not of a run whose first record
// the source does not have.
std::int32_t NextRecord(const RunResult& result, std::int32_t from, bool host_failed);
// Whether all records up to the last stored one stand that were not refused by themselves.
bool IsToldByLastRecord(const RunResult& result);
// Why the run was stopped, what is stored, and with which record to go on. By a complete result; `reason` where it has
// none of its own, as the user stopped it.
KESTREL_INTERNAL std::string StopText(const RunResult& result, const std::string& reason);
inline std::string StopText(const RunResult& result) { return StopText(result, result.stop_reason); }
// "30 in Bez1, 29 in Ort"; empty where no value was cut.
KESTREL_INTERNAL std::string CutFieldsText(const RunFigures& figures, Grouping grouping = Grouping::kNone);
// What became of the records read, in words.
KESTREL_INTERNAL std::string FiguresText(const RunFigures& figures, Grouping grouping = Grouping::kNone);

struct ClosingTexts {
  std::string info;     // the text of lblInfo
  std::string message;  // of the closing box
};
// By the counters of a complete result.
ClosingTexts TextsAtEnd(const RunResult& result);

}  // namespace kestrel
