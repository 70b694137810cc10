#include "wizard/page_parts.h"

#include <QApplication>
#include <QComboBox>
#include <QDragEnterEvent>
#include <QEvent>
#include <QHBoxLayout>
#include <QIcon>
#include <QKeyEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionFrame>
#include <QVBoxLayout>
#include <algorithm>

#include "wizard/button_row.h"

namespace kestrel {

namespace {

constexpr int kLogoSize = 48;
constexpr int kMargin = 16;
constexpr int kBandMargin = 12;
constexpr int kLineSpacing = 3;

// Enlarges by a factor, whatever the user's font is.
QFont Larger(const QFont& font, double factor, bool bold) {
  QFont larger = font;
  // A font has its size in points or in pixels; the other of the two is -1.
  if (font.pointSizeF() > 0) {
    larger.setPointSizeF(font.pointSizeF() * factor);
  } else {
    larger.setPixelSize(static_cast<int>(font.pixelSize() * factor));
  }
  larger.setBold(bold);
  return larger;
}

bool PressByKey(QAbstractButton* button) {
  if (!button->isEnabled()) return false;
  button->setFocus(Qt::ShortcutFocusReason);
  button->click();
  return true;
}

// A page is no QDialog, so Enter and Escape are its own business.
class KeyBinder final : public QObject {
 public:
  KeyBinder(QWidget* page, QAbstractButton* accept, std::function<void()> escape)
      : QObject(page), accept_(accept), escape_(std::move(escape)) {
    page->installEventFilter(this);
  }

 protected:
  // Keys that the focused control does not use travel up to the page.
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() != QEvent::KeyPress) return QObject::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->key() == Qt::Key_Escape) {
      escape_();
      return true;
    }
    if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
      auto* focused = qobject_cast<QPushButton*>(QApplication::focusWidget());
      return PressByKey(focused != nullptr ? focused : accept_);
    }
    return QObject::eventFilter(watched, event);
  }

 private:
  QAbstractButton* accept_;
  std::function<void()> escape_;
};

class DropTaker final : public QObject {
 public:
  DropTaker(QWidget* page, std::function<bool(const QString&)> take) : QObject(page), take_(std::move(take)) {
    page->setAcceptDrops(true);
    page->installEventFilter(this);
  }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::DragEnter) {
      auto* drag = static_cast<QDragEnterEvent*>(event);
      if (!DroppedFile(drag->mimeData()).isEmpty()) drag->acceptProposedAction();
      return true;
    }
    if (event->type() == QEvent::Drop) {
      auto* drop = static_cast<QDropEvent*>(event);
      const QString path = DroppedFile(drop->mimeData());
      if (!path.isEmpty() && take_(path)) drop->acceptProposedAction();
      return true;
    }
    return QObject::eventFilter(watched, event);
  }

 private:
  std::function<bool(const QString&)> take_;
};

class ShortcutFocus final : public QObject {
 public:
  explicit ShortcutFocus(QAbstractButton* button) : QObject(button), button_(button) {
    button->installEventFilter(this);
  }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() != QEvent::Shortcut || static_cast<QShortcutEvent*>(event)->isAmbiguous()) {
      return QObject::eventFilter(watched, event);
    }
    // At once: by itself a button waits for a tenth of a second, and the keys that follow would come first.
    return PressByKey(button_);
  }

 private:
  QAbstractButton* button_;
};

}  // namespace

void SetAltShortcut(QAbstractButton* button, char key) {
  button->setShortcut(QKeySequence(QString("Alt+%1").arg(QChar::fromLatin1(key))));
  new ShortcutFocus(button);
}

PageHeader::PageHeader(const QString& step, const QString& step_info, const QString& info, QWidget* parent)
    : QWidget(parent),
      lblStep(new QLabel(step, this)),
      lblStepInfo(new QLabel(step_info, this)),
      lblInfo(new QLabel(info, this)) {
  setObjectName("Picture1");
  lblStep->setObjectName("lblStep");
  lblStepInfo->setObjectName("lblStepInfo");
  lblInfo->setObjectName("lblInfo");
  lblStepInfo->setFont(Larger(font(), 1.35, true));
  lblInfo->setVisible(!info.isEmpty());
  lblInfo->setWordWrap(true);
  auto* logo = new QLabel(this);
  logo->setObjectName("Logo");
  logo->setPixmap(QIcon(":/kestrel/logo.svg").pixmap(QSize(kLogoSize, kLogoSize), devicePixelRatioF()));
  logo->setAccessibleName("KESTREL");

  auto* texts = new QVBoxLayout;
  texts->setSpacing(kLineSpacing);
  texts->addStretch(1);
  texts->addWidget(lblStep);
  texts->addWidget(lblStepInfo);
  texts->addWidget(lblInfo);
  texts->addStretch(1);
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(kMargin, kBandMargin, kMargin, kBandMargin);
  row->setSpacing(kMargin);
  row->addWidget(logo);
  row->addLayout(texts, 1);
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

QSize PageHeader::sizeHint() const {
  // As high with two lines as with three, so that the band stands still from page to page.
  const int lines = 2 * fontMetrics().height() + lblStepInfo->fontMetrics().height() + 2 * kLineSpacing;
  const QSize needed = QWidget::sizeHint();
  return {needed.width(), std::max(needed.height(), std::max(lines, kLogoSize) + 2 * kBandMargin)};
}

void PageHeader::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), palette().base());
  painter.setPen(palette().color(QPalette::Mid));
  painter.drawLine(rect().bottomLeft(), rect().bottomRight());
}

void LayOutPage(QWidget* page, PageHeader* header, QLayout* body, ButtonRow* buttons) {
  auto* below_each_other = new QVBoxLayout(page);
  below_each_other->setContentsMargins(0, 0, 0, 0);
  below_each_other->setSpacing(0);
  if (header != nullptr) below_each_other->addWidget(header);
  body->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
  below_each_other->addLayout(body);
  below_each_other->setStretchFactor(body, 1);
  auto* row = new QHBoxLayout;
  row->setContentsMargins(kMargin, 0, kMargin, kMargin);
  row->addWidget(buttons);
  below_each_other->addLayout(row);
}

QLabel* MakeLabel(const QString& caption, QWidget* control, const char* object_name) {
  auto* label = new QLabel(caption);
  label->setObjectName(QString::fromUtf8(object_name));
  label->setBuddy(control);
  QString spoken = caption;
  if (spoken.endsWith(':')) spoken.chop(1);
  const bool has_caption = qobject_cast<QAbstractButton*>(control) != nullptr;
  if (!has_caption && control->accessibleName().isEmpty()) control->setAccessibleName(spoken);
  // Where a name can be typed into a list, the focus is in the line within.
  const auto* list = qobject_cast<QComboBox*>(control);
  if (list != nullptr && list->lineEdit() != nullptr) list->lineEdit()->setAccessibleName(spoken);
  return label;
}

QLabel* MakeStatusLine(QWidget* page) {
  auto* line = new QLabel(page);
  line->setObjectName("lblStatus");
  line->setTextFormat(Qt::PlainText);
  line->setWordWrap(true);
  // A path without blanks would otherwise ask for room for all of it, and push the buttons off the screen.
  line->setMinimumWidth(1);
  return line;
}

PathEdit::PathEdit(QWidget* parent) : QLineEdit(parent) {
  setAcceptDrops(true);
  connect(this, &QLineEdit::textChanged, this, [this](const QString& text) { setToolTip(PlainToolTip(text)); });
}

void PathEdit::paintEvent(QPaintEvent* event) {
  const int room = width() - 2 * style()->pixelMetric(QStyle::PM_DefaultFrameWidth) - 8;
  if (hasFocus() || fontMetrics().horizontalAdvance(text()) <= room) {
    QLineEdit::paintEvent(event);
    return;
  }
  QPainter painter(this);
  QStyleOptionFrame option;
  initStyleOption(&option);
  style()->drawPrimitive(QStyle::PE_PanelLineEdit, &option, &painter, this);
  const QRect inner = style()->subElementRect(QStyle::SE_LineEditContents, &option, this).adjusted(2, 0, -2, 0);
  painter.setPen(palette().color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::Text));
  painter.drawText(inner, Qt::AlignVCenter, fontMetrics().elidedText(text(), Qt::ElideMiddle, inner.width()));
}

void PathEdit::dragEnterEvent(QDragEnterEvent* event) {
  if (DroppedFile(event->mimeData()).isEmpty()) {
    QLineEdit::dragEnterEvent(event);
  } else {
    event->acceptProposedAction();
  }
}

void PathEdit::dropEvent(QDropEvent* event) {
  const QString path = DroppedFile(event->mimeData());
  if (path.isEmpty()) {
    QLineEdit::dropEvent(event);
    return;
  }
  setText(path);
  event->acceptProposedAction();
}

void TakeDroppedFiles(QWidget* page, std::function<bool(const QString& path)> take) {
  new DropTaker(page, std::move(take));
}

void BindKeys(QWidget* page, QAbstractButton* accept, QAbstractButton* reject) {
  BindKeys(page, accept, [reject] { PressByKey(reject); });
}

void BindKeys(QWidget* page, QAbstractButton* accept, std::function<void()> escape) {
  new KeyBinder(page, accept, std::move(escape));
}

void ShowAccessKeys(QWidget& window) {
  for (auto* button : window.findChildren<QAbstractButton*>()) {
    const QString key = button->shortcut().toString();
    const QString caption = button->text();
    if (!key.startsWith("Alt+") || caption.contains('&')) continue;
    const auto letter = caption.indexOf(key.back(), 0, Qt::CaseInsensitive);
    // The caption's key is the shortcut again.
    if (letter >= 0) button->setText(QString(caption).insert(letter, '&'));
  }
}

void TabReachesChosen(std::initializer_list<QRadioButton*> group) {
  for (QRadioButton* button : group) {
    const auto follow = [button](bool chosen) {
      button->setFocusPolicy(chosen ? Qt::StrongFocus : Qt::ClickFocus);
    };
    follow(button->isChecked());
    QObject::connect(button, &QRadioButton::toggled, button, follow);
  }
}

}  // namespace kestrel
