#include "wizard/button_row.h"

#include <algorithm>

#include "wizard/page_parts.h"

namespace kestrel {

int CaptionButton::OwnWidth() const {
  return QPushButton::sizeHint().width() + 2 * fontMetrics().averageCharWidth();
}

QSize CaptionButton::sizeHint() const {
  int width = OwnWidth();
  if (const auto* row = qobject_cast<const ButtonRow*>(parentWidget())) {
    for (const auto* other : row->findChildren<CaptionButton*>()) width = std::max(width, other->OwnWidth());
  }
  return {width, QPushButton::sizeHint().height()};
}

ButtonRow::ButtonRow(QWidget* parent) : QWidget(parent), left_(new QHBoxLayout), right_(new QHBoxLayout) {
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(0, 0, 0, 0);
  row->addLayout(left_, 1);
  row->addLayout(right_);
  left_->setAlignment(Qt::AlignLeft);
}

QPushButton* ButtonRow::AddLeft(const char* object_name, const QString& caption, const QString& tool_tip,
                                char key) {
  auto* button = SetUpButton(new CaptionButton(this), object_name, caption, tool_tip, key);
  left_->addWidget(button);
  return button;
}

QPushButton* ButtonRow::AddRight(const char* object_name, const QString& caption, const QString& tool_tip,
                                 char key) {
  auto* button = SetUpButton(new CaptionButton(this), object_name, caption, tool_tip, key);
  right_->addWidget(button);
  return button;
}

QPushButton* ButtonRow::AddDefault(const char* object_name, const QString& caption, const QString& tool_tip,
                                   char key) {
  QPushButton* button = AddRight(object_name, caption, tool_tip, key);
  button->setDefault(true);
  return button;
}

QPushButton* ButtonRow::AddOptions() {
  return AddLeft("cmdOptions", "Einstellungen", "Einstellungen anzeigen", 'E');
}

QPushButton* ButtonRow::AddSave() { return AddLeft("cmdSave", "Speichern", "Einstellungen speichern", 'S'); }

QPushButton* ButtonRow::AddPrev(const QString& tool_tip) {
  return AddRight("cmdPrev", "Zurück", tool_tip, 'Z');
}

QPushButton* ButtonRow::AddCancel(const QString& tool_tip) {
  right_->addSpacing(10);
  return AddRight("cmdCancel", "Abbrechen", tool_tip, 'A');
}

void ButtonRow::AddNotice(QWidget* notice) { left_->addWidget(notice, 1); }

}  // namespace kestrel
