#include "wizard/frmQuestionDlg.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QKeyEvent>
#include <QLabel>
#include <QVBoxLayout>
#include <chrono>

#include "sources/source_count.h"
#include "wizard/apart_threads.h"
#include "wizard/button_row.h"
#include "wizard/event_guard.h"
#include "wizard/german_number.h"
#include "wizard/page_parts.h"
#include "wizard/qt_text.h"
#include "wizard/source_fate.h"
#include "wizard/window_frame.h"

namespace kestrel {

namespace {

constexpr int kLookForCountMs = 50;
constexpr int kFateLines = 3;

// A path may be broken behind each of its folders.
QString Breakable(const std::string& text) { return ToQt(text).replace('/', QString("/") + QChar(0x200b)); }

QLabel* AddTextLabel(const char* name, QWidget* parent) {
  auto* label = new QLabel(parent);
  label->setObjectName(name);
  label->setTextFormat(Qt::PlainText);
  label->setWordWrap(true);
  parent->layout()->addWidget(label);
  return label;
}

}  // namespace

frmQuestionDlg::frmQuestionDlg(QWidget* parent, const Session* told, bool harmless_test)
    : QDialog(parent), is_telling_(told != nullptr) {
  setObjectName("frmQuestionDlg");
  setWindowTitle("KESTREL Datenimport");
  GiveIcon(this);

  auto* image = new QLabel(this);
  image->setObjectName("Image1");
  image->setPixmap(QIcon(":/kestrel/logo.svg").pixmap(QSize(48, 48), devicePixelRatioF()));
  auto* label = new QLabel(
      "Sie können nun die Daten importieren oder die Daten testen. Bitte sichern Sie vor dem Import ihre "
      "Datenbank!",
      this);
  label->setObjectName("Label1");
  label->setWordWrap(true);
  label->setMinimumWidth(fontMetrics().averageCharWidth() * 48);
  // Layouts within layouts reckon the height of a wrapped text with a line to spare; its own reckoning is right.
  QSizePolicy policy = label->sizePolicy();
  policy.setHeightForWidth(false);
  label->setSizePolicy(policy);
  // Testing is the safe choice, so it is the one made beforehand.
  optTestMode_ = SetUpButton(new QRadioButton(this), "optTestMode", "Datenquelle testen", "", 'T');
  optImport_ = SetUpButton(new QRadioButton(this), "optImport", "Daten importieren", "", 'I');
  optTestMode_->setChecked(true);
  // Here the ampersand belongs to the caption: it marks the access key O.
  auto* buttons = new ButtonRow(this);
  QPushButton* cmd_ok = buttons->AddDefault("cmdOK", "&OK", "", 0);

  auto* choices = new QVBoxLayout;
  choices->setSpacing(6);
  choices->addWidget(label);
  choices->addSpacing(8);
  choices->addWidget(optTestMode_);
  choices->addWidget(optImport_);
  if (is_telling_) {
    choices->addSpacing(8);
    choices->addWidget(BuildSource(*told, harmless_test));
  }
  auto* body = new QHBoxLayout;
  body->setSpacing(16);
  body->addWidget(image, 0, Qt::AlignTop);
  body->addLayout(choices, 1);
  LayOutPage(this, nullptr, body, buttons);
  layout()->setSizeConstraint(QLayout::SetFixedSize);
  TabReachesChosen({optTestMode_, optImport_});
  SetTabOrder({optTestMode_, optImport_, cmd_ok});
  optTestMode_->setFocus();
  connect(cmd_ok, &QPushButton::clicked, this, &QDialog::accept);
}

QWidget* frmQuestionDlg::BuildSource(const Session& session, bool harmless_test) {
  auto* source = new QWidget(this);
  auto* lines = new QVBoxLayout(source);
  lines->setContentsMargins(0, 0, 0, 0);
  AddTextLabel("lblSource", source)->setText(Breakable(SourceName(session)));
  lblRecords_ = AddTextLabel("lblRecords", source);
  lblRecords_->setText("Die Datensätze werden gezählt ...");
  QLabel* fate = AddTextLabel("lblFate", source);
  fate->setAlignment(Qt::AlignTop);
  // The window keeps its size with either choice.
  fate->setMinimumHeight(fontMetrics().lineSpacing() * kFateLines);
  const auto show_fate = [this, fate, &session, harmless_test] {
    fate->setText(Breakable(SourceFateText(session, optTestMode_->isChecked(), harmless_test)));
  };
  const EventGuard guard(this, session.platform.ui);
  guard.On(optTestMode_, &QRadioButton::toggled, show_fate);
  show_fate();

  std::packaged_task<std::optional<std::int64_t>()> task(CountingOf(session));
  count_ = task.get_future();
  // Nobody waits for the thread of a dialog that has gone; a driver ends it after its own time.
  ApartThreads::Start(std::move(task));
  guard.On(&look_for_count_, &QTimer::timeout, &frmQuestionDlg::LookForCount);
  look_for_count_.start(kLookForCountMs);
  return source;
}

void frmQuestionDlg::LookForCount() {
  if (count_.wait_for(std::chrono::seconds(0)) != std::future_status::ready) return;
  look_for_count_.stop();
  const std::optional<std::int64_t> count = count_.get();
  const bool is_known = count && *count >= 0;
  lblRecords_->setText(is_known ? GermanCount(*count, "Datensatz", "Datensätze")
                                : QString("Wie viele Datensätze es sind, ist nicht bekannt."));
}

void frmQuestionDlg::keyPressEvent(QKeyEvent* event) {
  if (event->key() != Qt::Key_Escape || is_telling_) QDialog::keyPressEvent(event);
}

void frmQuestionDlg::accept() {
  test_mode_ = optTestMode_->isChecked();
  QDialog::accept();
}

}  // namespace kestrel
