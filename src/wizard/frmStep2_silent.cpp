// A source that does not answer, with the comfort failed_connections.
#include "kestrel/import_job.h"
#include "kestrel/wizard.h"
#include "wizard/ask_before_loss.h"
#include "wizard/frmStep2.h"
#include "wizard/qt_text.h"

namespace kestrel {

namespace {

QString ReasonOf(const SourceKind& kind, const QString& reason) {
  // Of a server's driver, often in another language and of several lines.
  const QString text = reason.simplified();
  return kind.place == SourcePlace::kServer && !text.isEmpty()
             ? "Der Server antwortet nicht, oder eine der Angaben oben stimmt nicht. " + text
             : text;
}

}  // namespace

bool frmStep2::LacksConnection() const {
  const SourceKind* kind = KindOf(session_);
  return wizard_.comforts().failed_connections && kind != nullptr && kind->connect != nullptr &&
         session_.SourceConnection == nullptr;
}

void frmStep2::ShowWhyNot(const QString& reason) {
  const SourceKind* kind = KindOf(session_);
  why_not_ = kind == nullptr ? reason : ReasonOf(*kind, reason);
  lblStatus_->setText(why_not_);
}

bool frmStep2::GivesUp(const std::optional<RuntimeError>& error) {
  if (!error || !wizard_.comforts().failed_connections) return false;
  // A connection that has broken does not mend; the next attempt makes another one.
  if (const SourceKind* kind = KindOf(session_); kind != nullptr && kind->connect != nullptr) {
    session_.SourceConnection = nullptr;
    loaded_.Clear(kind->frame);
  }
  ShowWhyNot(ToQt(error->Description()));
  return true;
}

void frmStep2::OfferToGoOnWithout() {
  const Answer answer = AskBeforeLoss(
      session_.platform.ui,
      "Die Spalten der Datenquelle sind nicht zu lesen. " + FromQt(why_not_) +
          "\n\nMöchten Sie trotzdem zu Schritt 3? Die gespeicherten Zuordnungen bleiben erhalten, importieren "
          "können Sie erst, wenn die Datenquelle wieder da ist.",
      "Weiter?");
  if (answer != Answer::kYes) return;
  job_.UseColumns(std::make_shared<AskedColumns>());
  guard_.Run([this] { GoOnAtOnce(); });
  job_.UseColumns(nullptr);
}

}  // namespace kestrel
