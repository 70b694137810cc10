// What stands above the list of step 3: a search box over its fields, and the assignment by name with its undoing.
#pragma once

#include <QLineEdit>
#include <QPushButton>
#include <QWidget>

namespace kestrel {

class FieldListTools final : public QWidget {
  Q_OBJECT
 public:
  // Either may be left out.
  FieldListTools(bool searches, bool assigns, QWidget* parent);

  QLineEdit* txtSuche = nullptr;
  QPushButton* cmdNachNamen = nullptr;
  QPushButton* cmdRueckgaengig = nullptr;  // switched off at first

 signals:
  // From the search box on into the list: Enter, which must not press the page's button, and the arrow down.
  void GoToList();

 protected:
  // Escape empties the search box, and leaves the page only where it is empty.
  bool eventFilter(QObject* watched, QEvent* event) override;
};

}  // namespace kestrel
