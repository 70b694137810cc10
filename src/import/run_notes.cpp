#include "import/run_notes.h"

#include <ctime>
#include <string>
#include <string_view>

#include "formats/encryption/primitives.h"
#include "import/run_texts.h"
#include "kestrel/recordset.h"
#include "platform/automation/optional_member.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "platform/base/whole_path.h"
#include "sources/piped_source.h"
#include "sources/source_kind.h"

namespace kestrel {

namespace {

std::string HexText(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    text += kDigits[value / 16];
    text += kDigits[value % 16];
  }
  return text;
}

// "JJJJ-MM-TT HH:MM:SS", local time.
std::string TimeText(std::int64_t nanoseconds) {
  constexpr std::int64_t kNanosecondsOfASecond = 1'000'000'000;
  const auto seconds = static_cast<std::time_t>(nanoseconds / kNanosecondsOfASecond);
  std::tm local{};
  char text[sizeof "JJJJ-MM-TT HH:MM:SS"] = "";
  if (::localtime_r(&seconds, &local) == nullptr) return {};
  return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local)};
}

std::string SourceText(const Session& session) {
  const SourceKind* const kind = KindOf(session);
  if (kind == nullptr) return {};
  std::string text = session.*kind->location;
  if (IsStream(text)) return "(Datenstrom)";
  if (kind->place != SourcePlace::kServer) text = WholePath(text);
  if (kind->Has(&Session::Table) && !session.Table.empty()) text += ", Tabelle " + session.Table;
  return text;
}

const char* EndOf(const RunResult& result) {
  if (!result.stop_reason.empty()) return "broken off";
  if (result.aborted) return "stopped";
  return result.source_end.error ? "broken off" : "finished";
}

}  // namespace

void RunNotes::Find(const ObjectPtr& import_class) {
  run_starts_ = FindOptional(import_class, "RunStarts");
  record_fate_ = FindOptional(import_class, "RecordFate");
  run_ends_ = FindOptional(import_class, "RunEnds");
  run_number_ = FindOptional(import_class, "RunNumber");
}

void RunNotes::Start(const Session& session) {
  if (session.TestMode) return;
  has_started_ = true;
  if (!run_starts_) return;
  std::string checksum;
  Trap(
      [&] {
        checksum = HexText(encryption::Hash(encryption::HashKind::kSha256, {ReadWholeFile(session.SpecFile)}));
      },
      // What cannot be read is an error of every record.
      [](const RuntimeError&) {});
  std::optional<FileIdentity> file;
  if (session.SourceRecordset != nullptr) file = session.SourceRecordset->SourceFile();
  run_starts_->Call(WholePath(session.ChosenSpecFile), checksum, SourceText(session),
                    file ? static_cast<std::int64_t>(file->size) : std::int64_t{-1},
                    file ? TimeText(file->content_time) : std::string());
}

void RunNotes::Tell(std::int32_t first, std::int32_t last, RecordFate fate) {
  if (!has_started_ || !record_fate_) return;
  if (fate == RecordFate::kHeldBack) record_fate_->Call(first, last, "held back");
  if (fate == RecordFate::kRejected) record_fate_->Call(first, last, "rejected");
}

void RunNotes::PassOver(std::int32_t last) {
  if (has_started_ && record_fate_) record_fate_->Call(1, last, "passed over");
}

void RunNotes::End(RunResult& result, const RunFigures& figures) {
  if (!has_started_ || !run_ends_) return;
  run_ends_->Call(EndOf(result), figures.read(), figures.stored_new(), figures.updated(), figures.held_back(),
                  figures.rejected(), figures.errors(), figures.cut_values(), CutFieldsText(figures));
  if (run_number_) result.run_number = run_number_->Get().ToText();
}

}  // namespace kestrel
