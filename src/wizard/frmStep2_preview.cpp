// The first records of what the page describes.
#include "sources/source_kind.h"
#include "wizard/frmStep2.h"
#include "wizard/qt_text.h"

namespace kestrel {

namespace {

// Why there is nothing to read yet; empty where there is. `has_answered`: the server, with these inputs.
QString WhyNot(const SourceKind& kind, const Session& described, bool has_answered) {
  if (kind.place == SourcePlace::kServer && !has_answered) {
    return "Die Vorschau erscheint, sobald der Server geantwortet hat. Er wird gefragt, wenn Sie in die Liste "
           "der "
           "Tabellen gehen.";
  }
  if ((described.*kind.location).empty()) return "Die Vorschau erscheint, sobald eine Datei ausgewählt ist.";
  const bool lacks_table = kind.Has(&Session::Table) && described.Table.empty();
  return lacks_table ? "Die Vorschau erscheint, sobald eine Tabelle ausgewählt ist." : "";
}

}  // namespace

void frmStep2::PreviewSoon() {
  // Several changes of one event are one.
  if (preview_ != nullptr) update_preview_.start(0);
}

void frmStep2::UpdatePreview() {
  const SourceKind* kind = ChosenKind();
  // Filling the page is not over yet, or waits for a server.
  if (loading_ || waiting_ || kind == nullptr || !isVisible()) return;
  const SourcePage page = Values();
  Session described(session_.platform);
  StorePage(described, page);
  const SourceInputs inputs = InputsOfPage(*kind, page);
  if (const QString why = WhyNot(*kind, described, inputs == answered_); !why.isEmpty()) {
    preview_->Say(why);
  } else {
    preview_->Read(BeginGlimpse(described, inputs, SourcePreview::kRecords));
  }
}

}  // namespace kestrel
