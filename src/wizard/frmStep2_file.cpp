// Which file is the source: chosen in a dialog, dropped, typed or handed in by the host.
#include <QApplication>
#include <QFileInfo>
#include <utility>

#include "kestrel/wizard.h"
#include "platform/base/file.h"
#include "sources/source_detection.h"
#include "spec/specification.h"
#include "wizard/frmStep2.h"
#include "wizard/qt_text.h"

namespace kestrel {

namespace {

// How often it is looked whether the mouse button is up again.
constexpr int kMouseUpMs = 30;

// The kind that nobody knows and the reason, where the file cannot be read.
DetectedSource Look(const SourceKinds& kinds, const std::string& file) {
  DetectedSource found;
  Trap([&] { found = DetectSource(kinds, file); },
       [&](const RuntimeError& error) { found.refusal = error.Description(); });
  return found;
}

}  // namespace

void frmStep2::BrowseFile(QLineEdit* target, SourceFrame frame) {
  const bool recognises = wizard_.comforts().recognised_files;
  const std::string filter = recognises ? FileFilterOf(KindsOf(session_)) : KindIn(frame)->file_filter;
  const auto path = session_.platform.ui.ChooseFile("Dateiname", filter, FromQt(target->text()));
  if (path && recognises) {
    TakeFile(ToQt(*path));
  } else if (path) {
    target->setText(ToQt(*path));
  }
}

void frmStep2::BrowseFolder() {
  if (const auto path = session_.platform.ui.ChooseFolder("Datenbankpfad", FromQt(txtdBaseFile_->text()))) {
    txtdBaseFile_->setText(ToQt(*path));
  }
}

void frmStep2::txtFilename_Leave() {
  // A page that is being left for good asks nothing more.
  if (!isVisible()) return;
  // A box between press and release would swallow the click.
  if (QApplication::mouseButtons() != Qt::NoButton) {
    leave_.start(kMouseUpMs);
    return;
  }
  if (const auto missing = MissingFileMessage(FromQt(txtFilename_->text()))) ShowMessage(*missing, "");
}

bool frmStep2::TakeDroppedFile(const QString& path) {
  if (waiting_) return false;
  if (wizard_.comforts().recognised_files) {
    TakeFile(path);
    return true;
  }
  if (frames_->currentWidget() == fraSQL_) return false;
  PutIntoBox(path);
  return true;
}

void frmStep2::PutIntoBox(const QString& path) {
  const QWidget* frame = frames_->currentWidget();
  if (frame == fraAccess_) {
    txtAccessDB_->setText(path);
  } else if (frame == fraExcel_) {
    txtExcelFile_->setText(path);
  } else if (frame == fradBase_) {
    const QFileInfo file(path);
    txtdBaseFile_->setText(file.isDir() ? path : file.absolutePath());
  } else {
    txtFilename_->setText(path);
  }
}

void frmStep2::LookAt(const std::string& file, std::function<void(DetectedSource)> then) {
  // The kinds are the host's, and may have gone when a file that takes long has been looked at.
  const auto kinds = std::make_shared<const SourceKinds>(KindsOf(session_));
  const auto found = std::make_shared<DetectedSource>();
  WaitFor([kinds, found, file] { *found = Look(*kinds, file); },
          [this, kinds, found, then = std::move(then)] {
            if (found->kind != nullptr) found->kind = KindsOf(session_).Find(found->kind->name);
            then(std::move(*found));
          },
          kAtOnce);
}

void frmStep2::TakeFile(const QString& path) {
  const std::string file = FromQt(path);
  if (file == known_file_) {
    // What was set since then stays.
    const SourceKind* kind = ChosenKind();
    if (kind != nullptr && kind->place == SourcePlace::kFile) PutIntoBox(path);
    return;
  }
  LookAt(file, [this, path](const DetectedSource& found) { TakeFile(path, found); });
}

void frmStep2::TakeFile(const QString& path, const DetectedSource& found) {
  const std::string file = FromQt(path);
  // One that cannot be read here is looked at, and told, every time.
  known_file_ = IsListed(found.kind) ? file : "";
  if (IsListed(found.kind)) {
    StorePage(session_, Values());
    UseDetectedSource(found, file, session_);
    loaded_.Clear(found.kind->frame);
    ShowSession([] {});
    Edited();
  } else if (frames_->currentWidget() != fraSQL_) {
    PutIntoBox(path);
  }
  ShowRecognised(Told(found));
}

std::string frmStep2::Told(const DetectedSource& found) const {
  std::string text = DescriptionOf(found);
  if (found.kind == nullptr || IsListed(found.kind)) return text;
  return text +
         ". Diese Art von Datenquelle wird hier nicht angeboten; speichern Sie die Daten als Textdatei (CSV).";
}

void frmStep2::RecogniseTypedFile() {
  // The focus also leaves with a window that closes.
  if (!isVisible()) return;
  const QString path = txtFilename_->text();
  const bool is_new = FromQt(path) != known_file_ && FileExists(FromQt(path));
  if (!loading_ && is_new && wizard_.comforts().recognised_files) TakeFile(path);
}

void frmStep2::TakeHandedInFile(std::function<void()> then) {
  const std::string file = session_.ImportFileName;
  if (file.empty() || !wizard_.comforts().recognised_files) {
    ApplyImportFileName(session_);
    then();
    return;
  }
  LookAt(file, [this, file, then = std::move(then)](DetectedSource found) {
    TakeHandedInFile(file, std::move(found));
    then();
  });
}

void frmStep2::TakeHandedInFile(const std::string& file, DetectedSource found) {
  std::string text = Told(found);
  if (IsListed(found.kind)) {
    const std::string table = session_.Table;
    const bool keeps_settings = found.kind == KindOf(session_) && !IsTemplate(session_);
    if (keeps_settings) found.text.reset();
    UseDetectedSource(found, file, session_);
    if (keeps_settings && found.kind->place == SourcePlace::kFile) session_.Table = table;
    if (keeps_settings) text += ". Es gelten die Einstellungen der Spezifikation.";
  } else {
    ApplyImportFileName(session_);
  }
  session_.ImportFileName.clear();
  ShowRecognised(text);
}

void frmStep2::ShowRecognised(const std::string& text) {
  lblErkannt_->setText(ToQt(text));
  lblErkannt_->show();
}

}  // namespace kestrel
