#include "cli/json_log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "cli/output.h"
#include "kestrel/runtime_error.h"

namespace kestrel::cli {

namespace {

constexpr const char* kInfo = "info";
constexpr const char* kWarning = "warning";
constexpr const char* kError = "error";

int OpenToAppend(const std::string& path) {
  // Nobody is waited for at the other end of a pipe.
  const int descriptor = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK,
                                S_IRUSR | S_IWUSR);
  if (descriptor < 0) throw ErrorFromErrno(errno, path);
  ::fcntl(descriptor, F_SETFL, O_APPEND);
  return descriptor;
}

std::string Now() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  ::gmtime_r(&now, &utc);
  char text[sizeof "2026-01-31T12:00:00Z"] = {};
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

const char* NameOf(RecordFate fate) {
  switch (fate) {
    case RecordFate::kStored: return "stored";
    case RecordFate::kUpdated: return "updated";
    case RecordFate::kHeldBack: return "heldBack";
    case RecordFate::kRejected: return "rejected";
    case RecordFate::kChecked: break;
  }
  return "checked";
}

}  // namespace

// What has no value is null.
struct JsonLog::Line {
  const char* event;
  const char* level = kInfo;
  std::string_view message = {};
  std::int32_t first = 0;
  std::int32_t last = 0;
  const char* fate = "";
  const RecordError* error = nullptr;
  std::string_view similar_address = {};
  const RunResult* result = nullptr;
  std::string_view specification = {};
  std::string_view source = {};
};

JsonLog::JsonLog(const std::string& path) : descriptor_(OpenToAppend(path)), out_(descriptor_) {}

JsonLog::~JsonLog() { ::close(descriptor_); }

void JsonLog::Start(std::string_view specification, std::string_view source) {
  Write({.event = "start", .specification = specification, .source = source});
}

void JsonLog::Record(const RecordOutcome& outcome) {
  for (const RecordError& error : outcome.errors) {
    Write({.event = "error",
           .level = kError,
           .message = error.text,
           .first = outcome.record,
           .last = outcome.record,
           .fate = NameOf(outcome.fate),
           .error = &error});
  }
  if (outcome.fate == RecordFate::kHeldBack) {
    Write({.event = "heldBack",
           .level = kWarning,
           .message = outcome.duplicate_of.reason,
           .first = outcome.record,
           .last = outcome.record,
           .fate = NameOf(outcome.fate),
           .similar_address = outcome.duplicate_of.reference});
  }
}

void JsonLog::Revise(const OutcomeRevision& revision) {
  Write({.event = "error",
         .level = kError,
         .message = revision.error ? std::string_view(revision.error->text) : std::string_view(),
         .first = revision.first,
         .last = revision.last,
         .fate = revision.revised > 0 ? NameOf(revision.fate) : "",
         .error = revision.error ? &*revision.error : nullptr});
}

void JsonLog::Message(std::string_view text) {
  Write({.event = "message", .level = kWarning, .message = text});
}

void JsonLog::End(const RunResult& result) {
  const bool is_well = result.errors == 0 && !result.aborted && result.stop_reason.empty();
  Write({.event = "end", .level = is_well ? kInfo : kError, .message = result.message, .result = &result});
}

void JsonLog::Write(const Line& line) {
  JsonObject object(out_);
  const RecordError none;
  const RecordError& error = line.error == nullptr ? none : *line.error;
  object.Text("time", Now())
      .Text("event", line.event)
      .Text("level", line.level)
      .OptionalText("message", line.message)
      .OptionalText("specification", line.specification)
      .OptionalText("source", line.source)
      .NumberFrom("record", line.first, 1)
      .NumberFrom("lastRecord", line.last, 1)
      .OptionalText("fate", line.fate);
  if (line.error == nullptr) {
    object.Null("number");
  } else {
    object.Number("number", error.number);
  }
  object.OptionalText("field", error.field)
      .OptionalText("sourceColumn", error.source_column)
      .OptionalText("rawValue", error.raw_value)
      .OptionalText("similarAddress", line.similar_address);
  if (line.result == nullptr) {
    object.Null("figures");
  } else {
    const RunFigures& figures = line.result->figures;
    object.Numbers("figures", {{"records", line.result->records},
                               {"storedNew", figures.stored_new()},
                               {"updated", figures.updated()},
                               {"heldBack", figures.held_back()},
                               {"rejected", figures.rejected()},
                               {"checked", figures.checked()},
                               {"errors", line.result->cancelled ? 0 : line.result->errors}});
  }
  object.End();
  out_.flush();
}

}  // namespace kestrel::cli
