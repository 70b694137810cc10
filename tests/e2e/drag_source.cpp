// drag_source FILE: a small window from which the file can be dragged into another program, as from a file manager.
//
// Tells on its standard output what becomes of it: "accepted" where the window below the pointer would take the file,
// "dropped" or "refused" in the end.
#include <QApplication>
#include <QDrag>
#include <QFileInfo>
#include <QLabel>
#include <QMimeData>
#include <QMouseEvent>
#include <QUrl>
#include <cstdio>

namespace kestrel::testing {

namespace {

void Tell(const char* text) {
  std::puts(text);
  std::fflush(stdout);
}

class DragSource final : public QLabel {
 public:
  explicit DragSource(const QString& file) : QLabel(file), file_(QFileInfo(file).absoluteFilePath()) {
    setWindowTitle("drag_source");
    setMargin(20);
  }

 protected:
  void mouseMoveEvent(QMouseEvent* event) override {
    if (!(event->buttons() & Qt::LeftButton)) return;
    // Qt deletes it in the end.
    auto* drag = new QDrag(this);
    auto* data = new QMimeData;
    data->setUrls({QUrl::fromLocalFile(file_)});
    drag->setMimeData(data);
    connect(drag, &QDrag::actionChanged, this, [](Qt::DropAction action) {
      if (action != Qt::IgnoreAction) Tell("accepted");
    });
    Tell(drag->exec(Qt::CopyAction) == Qt::IgnoreAction ? "refused" : "dropped");
  }

 private:
  QString file_;
};

}  // namespace

}  // namespace kestrel::testing

int main(int count, char** arguments) {
  QApplication application(count, arguments);
  if (QApplication::arguments().size() != 2) {
    std::fprintf(stderr, "drag_source FILE\n");
    return 2;
  }
  kestrel::testing::DragSource source(QApplication::arguments().at(1));
  source.show();
  return QApplication::exec();
}
