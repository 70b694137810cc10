#include "import/reject_view.h"

#include <utility>

#include "platform/base/counted.h"

namespace kestrel {

namespace {

std::string ErrorsAsText(const std::vector<RecordError>& errors) {
  std::string text;
  for (const RecordError& error : errors) {
    text.append(text.empty() ? "" : "; ").append(std::to_string(error.number)).append(": ").append(error.text);
  }
  return text.empty() ? "abgewiesen" : text;
}

std::string ReasonOf(const RecordOutcome& outcome) {
  if (outcome.fate != RecordFate::kHeldBack) return ErrorsAsText(outcome.errors);
  const DuplicateMatch& match = outcome.duplicate_of;
  std::string text = "Dublettenverdacht";
  if (!match.reference.empty()) text += ": Adresse " + match.reference;
  for (const std::string& part : {match.name, match.place})
    if (!part.empty()) text += ", " + part;
  if (match.record != 0) text += ", aus Datensatz " + std::to_string(match.record);
  if (match.key != 0) text += ", Schlüssel " + std::to_string(match.key);
  return text;
}

}  // namespace

template <class Step>
void RejectView::Attempt(Step&& step) {
  if (rejects_ == nullptr || failure_) return;
  Trap(std::forward<Step>(step), [this](const RuntimeError& error) { failure_ = error; });
}

void RejectView::Open() {
  rejects_.reset();
  Trap([this] { rejects_ = std::make_unique<Rejects>(session_); },
       [this](const RuntimeError& error) { failure_ = error; });
}

void RejectView::RecordDone(const RecordOutcome& outcome) {
  if (outcome.fate == RecordFate::kHeldBack || outcome.fate == RecordFate::kRejected) {
    Attempt([&] { rejects_->Add(outcome.record, ReasonOf(outcome)); });
  }
  view_.RecordDone(outcome);
}

void RejectView::Revise(const OutcomeRevision& revision) {
  if (revision.fate == RecordFate::kRejected && revision.revised > 0) {
    const std::string reason = revision.error ? ErrorsAsText({*revision.error}) : ErrorsAsText({});
    if (revision.first == 0) {
      unnamed_ += revision.revised;
    } else {
      Attempt([&] { rejects_->AddLater(revision.first, revision.last, reason); });
    }
  }
  view_.Revise(revision);
}

std::int32_t RejectView::Close(SourceReader& source, std::int32_t next, std::string_view reason,
                               const int& stop_requests) {
  const int earlier_requests = stop_requests;
  std::int32_t first_missing = 0;
  Attempt([&] {
    while (!source.SourceEOF() && !source.end().error) {
      if (stop_requests > earlier_requests) {
        first_missing = next;
        break;
      }
      rejects_->Add(next++, reason);
      view_.Yield();
      source.SourceMoveNext();
    }
    rejects_->Complete();
  });
  if (failure_) {
    rejects_.reset();
    throw RuntimeError(*failure_);
  }
  if (unnamed_ > 0) {
    view_.Tell(Counted(unnamed_, "verlorenen Datensatz", "verlorene Datensätze") +
               " hat das Importziel nicht genannt; die Datei der abgelehnten ist um so viel zu kurz.");
  }
  return first_missing;
}

}  // namespace kestrel
