#include "wizard/run_summary.h"

#include <QFileDialog>
#include <filesystem>

#include "component/session.h"
#include "platform/base/counted.h"
#include "sources/source_kind.h"
#include "wizard/qt_text.h"

namespace kestrel {

namespace {

std::string RecordsText(std::int32_t count) {
  return Counted(count, "Datensatz", "Datensätze", Grouping::kThousands);
}

// A name for what was not stored: that of a text file, beside it, with a word more.
std::string RejectsFile(const Session& session) {
  const SourceKind* kind = KindOf(session);
  if (kind == nullptr || kind->connect != nullptr) return "abgelehnt.csv";
  std::filesystem::path file(session.*kind->location);
  const std::string extension = file.extension().string();
  return file.replace_extension().string() + "-abgelehnt" + extension;
}

}  // namespace

std::vector<std::string> RestTexts(const RunResult& run) {
  std::vector<std::string> sentences;
  if (run.next_record > 0) {
    sentences.push_back("Der Import ist mit Datensatz " + NumberText(run.next_record, Grouping::kThousands) +
                        " fortzusetzen.");
    if (run.rejects > 0 && run.rejects_error.empty())
      sentences.back() += " Die abgelehnten enthalten ihn und die folgenden.";
  }
  if (run.rejects > 0) sentences.push_back("Nicht gespeichert: " + RecordsText(run.rejects) + ".");
  return sentences;
}

std::string SaveRejectsAs(ImportJob& job, QWidget* window) {
  const QString path = QFileDialog::getSaveFileName(window, "Abgelehnte Datensätze speichern",
                                                    ToQt(RejectsFile(job.session())), "Alle Dateien (*)");
  if (path.isEmpty()) return {};
  job.SaveRejects(FromQt(path));
  return "''" + FromQt(path) + "'' enthält " + RecordsText(job.result().rejects) +
         " mit den Gründen. Nach der Abhilfe importieren Sie diese Datei mit denselben Einstellungen.";
}

}  // namespace kestrel
