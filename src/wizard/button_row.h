// Buttons with a caption, and the row of them below a page or dialog.
#pragma once

#include <QAction>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QPushButton>
#include <QWidget>

#include "kestrel/export.h"

namespace kestrel {

// Leaves air around its caption, which styles do not when it is long; in a ButtonRow it is as wide as the widest.
class KESTREL_INTERNAL CaptionButton final : public QPushButton {
  Q_OBJECT
 public:
  explicit CaptionButton(QWidget* parent) : QPushButton(parent) {}

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return sizeHint(); }

 private:
  int OwnWidth() const;
};

// At the left what stands beside the way through the wizard, at the right the way itself. The tab order of the
// buttons is their order here. The words that several pages share stand in one place.
class ButtonRow final : public QWidget {
  Q_OBJECT
 public:
  explicit ButtonRow(QWidget* parent);

  // Each makes a button, `key` giving the shortcut Alt+`key` (0 for none), and appends it to its side.
  QPushButton* AddLeft(const char* object_name, const QString& caption, const QString& tool_tip, char key);
  QPushButton* AddRight(const char* object_name, const QString& caption, const QString& tool_tip, char key);
  // The same, with Enter pressing it.
  QPushButton* AddDefault(const char* object_name, const QString& caption, const QString& tool_tip, char key);

  QPushButton* AddOptions();
  QPushButton* AddSave();
  QPushButton* AddPrev(const QString& tool_tip);
  // At the far right, a little apart.
  QPushButton* AddCancel(const QString& tool_tip);

  // A narrow button with an arrow behind those at the left, whose menu has this one entry.
  QAction* AddMenuEntry(const char* button_name, const QString& accessible_name, const char* entry_name,
                        const QString& caption, const QKeySequence& shortcut);

  // Puts a narrow button in front of those at the right.
  void AddNarrow(QWidget* button) { right_->insertWidget(0, button); }

  // Puts a widget at the left, which gets the room that the buttons leave.
  void AddNotice(QWidget* notice);

 private:
  QHBoxLayout* left_;
  QHBoxLayout* right_;
};

}  // namespace kestrel
