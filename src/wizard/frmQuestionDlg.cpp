#include "wizard/frmQuestionDlg.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QKeyEvent>
#include <QLabel>
#include <QVBoxLayout>

#include "wizard/button_row.h"
#include "wizard/page_parts.h"
#include "wizard/window_frame.h"

namespace kestrel {

frmQuestionDlg::frmQuestionDlg(QWidget* parent) : QDialog(parent) {
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

void frmQuestionDlg::keyPressEvent(QKeyEvent* event) {
  if (event->key() != Qt::Key_Escape) QDialog::keyPressEvent(event);
}

void frmQuestionDlg::accept() {
  test_mode_ = optTestMode_->isChecked();
  QDialog::accept();
}

}  // namespace kestrel
