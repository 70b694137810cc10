#include "app/error_log_page.h"

#include <QRegularExpression>
#include <QStringList>
#include <string>
#include <utility>

#include "app/list_parts.h"
#include "wizard/qt_text.h"

namespace kestrel::host {

namespace {

using Room = LogColumn::Room;

constexpr const char* kMessage = "Spalte0";

// The details have them all, in another order.
const std::vector<LogColumn>& Columns() {
  static const std::vector<LogColumn> columns = {
      {"Feld", "Feld"},
      {kMessage, "Meldung", ColumnKind::kText, Room::kAllThatIsLeft},
      {"Quelldatei", "Quelle", ColumnKind::kText, Room::kNarrow},
      {"DatensatzBis", "bis", ColumnKind::kNumber, Room::kHidden},
      {"Quellspalte", "Quellspalte", ColumnKind::kText, Room::kHidden},
      {"Rohwert", "Rohwert", ColumnKind::kText, Room::kHidden},
      {"Datei", "Spezifikation", ColumnKind::kText, Room::kHidden},
      {"Quelle", "Art der Quelle", ColumnKind::kText, Room::kHidden},
  };
  return columns;
}

// The number that the message begins with.
QString ErrorNumberIn(const QString& message) {
  static const QRegularExpression pattern("^Fehler:? (-?\\d+)\\b");
  return pattern.match(message).captured(1);
}

}  // namespace

ErrorLogPage::ErrorLogPage(ComponentRegistry& components, ConnectionPtr connection, QWidget* parent)
    : QWidget(parent),
      guard_(this, [this](const RuntimeError& error) { details_->setPlainText(ToQt(error.Description())); }) {
  setObjectName("logLST_Import");
  const auto read = [&components, connection = std::move(connection)](bool only_last, std::int64_t limit) {
    const ObjectPtr reader = components.CreateObject("kestrelhost.LogReader");
    SetProperty(reader, "Connection", connection);
    return ToRecordset(CallMethod(reader, "ReadLog", "LST_Import", only_last, limit));
  };
  list_ = new LogList("Importprotokoll", Columns(), read, this);
  details_ = new QPlainTextEdit(this);
  details_->setObjectName("details");
  details_->setAccessibleName("Einzelheiten des Fehlers");
  details_->setPlaceholderText("Wählen Sie eine Zeile, um alles über den Fehler zu lesen.");
  details_->setReadOnly(true);
  details_->setTabChangesFocus(true);
  StackListAndDetails(this, list_, details_);
  guard_.On(list_, &LogList::ChoiceChanged, &ErrorLogPage::ShowDetails);
  Refresh();
}

void ErrorLogPage::ShowDetails() {
  QStringList lines;
  const auto add = [&](const char* heading, const QString& text) {
    if (!text.isEmpty()) lines << QString("%1: %2").arg(QString::fromUtf8(heading), text);
  };
  const auto chosen = [this](const char* column) { return list_->Chosen(column); };
  const QString last = chosen("DatensatzBis");
  add("Datensatz", chosen("Datensatz") + (last.isEmpty() ? "" : " bis " + last));
  add("Feld", chosen("Feld"));
  add("Quellspalte", chosen("Quellspalte"));
  add("Rohwert", chosen("Rohwert"));
  add("Fehlernummer", ErrorNumberIn(chosen(kMessage)));
  add("Meldung", chosen(kMessage));
  add("Quelle", chosen("Quelldatei").isEmpty() ? chosen("Quelle") : chosen("Quelldatei"));
  add("Spezifikation", chosen("Datei"));
  details_->setPlainText(lines.join('\n'));
}

}  // namespace kestrel::host
