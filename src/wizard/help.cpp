#include "wizard/help.h"

#include <QAction>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QToolButton>
#include <QUrl>

#include "wizard/button_row.h"
#include "wizard/event_guard.h"
#include "wizard/page_parts.h"
#include "wizard/qt_text.h"

namespace kestrel {

namespace {

struct Named {
  const char* object;
  const char* text;
};

constexpr Named kPages[] = {
    {"frmStep1", "schritt1.html"},    {"frmStep2", "schritt2.html"}, {"frmStep3", "schritt3.html"},
    {"frmPrev", "vorschau.html"},     {"frmDrift", "spalten.html"},  {"frmTransTbl", "uebersetzung.html"},
    {"frmQuestionDlg", "start.html"}, {"frmImport", "import.html"},  {"frmResult", "ergebnis.html"}};

constexpr Named kToolTips[] = {
    {"cboDatenquelleTyp", "Woher die Daten kommen; die Angaben darunter richten sich danach"},
    {"optAnders", "Ein anderes Trennzeichen, das rechts daneben steht"},
    {"txtAnders", "Das Zeichen, das die Spalten trennt"},
    {"txtTexterkenner", "Das Zeichen um Texte, in denen das Trennzeichen vorkommen kann; meist \""},
    {"chkZeileFeldname", "Die erste Zeile nennt die Spalten und wird nicht importiert"},
    {"optAnsi", "Zeichensatz von Windows; UTF-8 wird von selbst erkannt"},
    {"optAscii", "Zeichensatz von DOS"},
    {"chkSichereDatei", "Kopiert die Datei vor dem Import in den Ordner darunter"},
    {"txtSicherungspfad", "Der Ordner für die Sicherungskopie; eine Datei gleichen Namens wird ersetzt"},
    {"chkDateilöschen", "Nach einem Import ohne Fehler wird die Datei gelöscht"},
    {"txtSQLServer",
     "Name oder Adresse des Servers, auch mit Instanz oder Port: SERVER\\INSTANZ oder SERVER,1433"},
    {"txtSQLUID", "Der Benutzer der Datenbank"},
    {"txtSQLKennwort", "Das Kennwort dieses Benutzers; gespeichert wird es mit der Spezifikation"},
    {"txtSQLDB", "Der Name der Datenbank auf dem Server"},
    {"cboSQLTable", "Tabelle oder Sicht; die Liste füllt sich, sobald der Server erreicht ist"},
    {"txtAccessDB", "Die Datei der Datenbank (.mdb oder .accdb)"},
    {"txtAccessBenutzer", "Bleibt leer, wenn die Datenbank keine Benutzer kennt"},
    {"txtAccessKennwort", "Das Kennwort der Datenbank; bleibt leer, wenn sie keines hat"},
    {"cboAccessTable", "Tabelle oder gespeicherte Abfrage der Datenbank"},
    {"txtExcelFile", "Die Arbeitsmappe (.xls oder .xlsx)"},
    {"cboExcelSheet", "Tabellenblatt, dessen erste Zeile die Spalten nennt"},
    {"txtdBaseFile", "Der Ordner, in dem die Tabellen (.dbf) liegen"},
    {"cbodBaseTable", "Tabelle des Ordners"},
    {"tblVorschau", "Die ersten Datensätze, wie sie mit diesen Angaben gelesen werden"},
    {"TDBImpList", "Die Felder des Ziels und was ihnen zugewiesen ist; Pflichtfelder stehen fett"},
    {"optKeineZuweisung", "Das Feld erhält beim Import keinen Wert"},
    {"optImportFeld", "Das Feld erhält den Wert einer Spalte der Datenquelle"},
    {"cboImportFeld", "Die Spalte der Datenquelle"},
    {"optKonstanterWert", "Das Feld erhält bei jedem Datensatz denselben Wert"},
    {"txtKonstanterWert", "Der Wert für alle Datensätze"},
    {"chkUebersetzen", "Ersetzt Werte der Spalte nach einer Tabelle, zum Beispiel D durch Deutschland"},
    {"cmdUebersetzen", "Legt fest, welcher Wert durch welchen ersetzt wird"},
    {"cboDatumsFormat", "Wie das Datum in der Datenquelle geschrieben ist: T Tag, M Monat, J Jahr"},
    {"lstBeispiele", "Werte der Datenquelle und was für sie gespeichert würde"},
    {"lstErgebnis",
     "Die ersten Datensätze, wie sie gespeichert würden; zu markierten Werten steht unten der Grund"},
    {"optTestMode", "Liest und prüft alle Datensätze und speichert nichts"},
    {"optImport", "Speichert die Datensätze"},
    {"lstDrift", "Was angehakt ist, nimmt der neue Name der Spalte den Platz des alten ein"},
};

// The guide as it is installed beside the program; else as it lies in the sources from which that was built.
QString GuideFolder() {
  const QDir programs(QCoreApplication::applicationDirPath());
  const QString installed = programs.filePath("../share/kestrel-import/bedienung");
  return QFileInfo::exists(installed) ? installed : programs.filePath("../../../docs/bedienung");
}

void Open(const QString& page, UserInterface& ui) {
  const QString path = QDir::cleanPath(qEnvironmentVariable("KESTREL_GUIDE", GuideFolder()) + '/' + page);
  const auto tell = [&](const char* what, const char* way_out) {
    ui.MessageBox("Die Bedienungsanleitung " + std::string(what) + ": ''" + FromQt(path) + "''. " + way_out,
                  "Hilfe", Icon::kInformation, Buttons::kOk);
  };
  if (!QFileInfo::exists(path)) {
    tell("ist nicht installiert", "Sie gehört zum Programm; installieren Sie es mit seinen Datendateien.");
  } else if (!QDesktopServices::openUrl(QUrl::fromLocalFile(path))) {
    tell("lässt sich nicht anzeigen", "Öffnen Sie die Datei mit einem Browser.");
  }
}

}  // namespace

QString HelpPageOf(const QString& object_name) {
  for (const Named& page : kPages) {
    if (object_name == page.object) return page.text;
  }
  return {};
}

void AddHelpPage(QWidget& window, UserInterface& ui) {
  const QString page = HelpPageOf(window.objectName());
  if (page.isEmpty()) return;
  auto* action = new QAction("?", &window);
  action->setObjectName("mnuHelp");
  action->setShortcut(QKeySequence(Qt::Key_F1));
  window.addAction(action);
  EventGuard(&window, ui).On(action, &QAction::triggered, [page, &ui] { Open(page, ui); });
  QToolButton* button = nullptr;
  if (auto* header = window.findChild<PageHeader*>()) {
    button = new QToolButton(header);
    header->layout()->addWidget(button);
    header->layout()->setAlignment(button, Qt::AlignTop);
  } else if (auto* row = window.findChild<ButtonRow*>()) {
    button = new QToolButton(row);
    row->AddNarrow(button);
  } else {
    return;
  }
  button->setDefaultAction(action);
  button->setObjectName("cmdHelp");
  button->setAccessibleName("Hilfe zu diesem Fenster");
  button->setToolTip("Öffnet die Seite der Bedienungsanleitung zu diesem Fenster (F1)");
  button->setFocusPolicy(Qt::StrongFocus);
}

void AddToolTips(QWidget& window) {
  for (const Named& tip : kToolTips) {
    auto* control = window.findChild<QWidget*>(QString::fromUtf8(tip.object));
    if (control != nullptr && control->toolTip().isEmpty()) control->setToolTip(QString::fromUtf8(tip.text));
  }
}

}  // namespace kestrel
