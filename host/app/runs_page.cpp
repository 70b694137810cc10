#include "app/runs_page.h"

#include <QHBoxLayout>
#include <QItemSelectionModel>
#include <QVBoxLayout>
#include <vector>

#include "app/list_parts.h"
#include "app/shown_wait.h"
#include "wizard/ask_before_loss.h"
#include "wizard/button_row.h"
#include "wizard/german_number.h"
#include "wizard/page_parts.h"
#include "wizard/qt_text.h"
#include "wizard/table_look.h"

namespace kestrel::host {

namespace {

constexpr int kShownRuns = 1000;
constexpr int kShownRecords = 5000;
constexpr int kRunsForWizard = 200;
constexpr int kGapAbove = 6;
// The ledger's words for a run's state that matter here.
constexpr const char* kRunning = "läuft";
constexpr const char* kFinished = "fertig";
constexpr const char* kUndoing = "in Rücknahme";
constexpr const char* kUndone = "zurückgenommen";

const std::vector<AddressColumn>& RunColumns() {
  static const std::vector<AddressColumn> columns = {
      {"LaufNr", "Lauf", ColumnKind::kNumber},
      {"Zustand", "Zustand"},
      {"Beginn", "Beginn", ColumnKind::kTime},
      {"Tabelle", "Liste"},
      {"Gelesen", "Gelesen", ColumnKind::kCount},
      {"Neu", "Neu", ColumnKind::kCount},
      {"Aktualisiert", "Geändert", ColumnKind::kCount},
      {"Zurueckgehalten", "Zurückgehalten", ColumnKind::kCount},
      {"Abgewiesen", "Abgewiesen", ColumnKind::kCount},
      {"Fehler", "Fehler", ColumnKind::kCount},
      {"Gekuerzt", "Gekürzt", ColumnKind::kCount},
      {"Benutzer", "Benutzer"},
      {"Ende", "Ende", ColumnKind::kTime},
      {"Quelle", "Quelle"},
      {"Quellgroesse", "Größe", ColumnKind::kCount},
      {"Quellzeit", "Stand der Quelle", ColumnKind::kTime},
      {"Spezifikation", "Spezifikation"},
      {"Pruefsumme", "Prüfsumme"},
      {"GekuerzteFelder", "Gekürzt in"},
  };
  return columns;
}
std::int64_t LeftAloneBy(const UndoOutcome& outcome) {
  return outcome.left_alone == nullptr ? 0 : outcome.left_alone->RecordCount();
}

// From here on the columns stand below the list only.
constexpr int kFirstHidden = 13;

const std::vector<AddressColumn>& FateColumns() {
  static const std::vector<AddressColumn> columns = {
      {"Datensatz", "Datensatz", ColumnKind::kNumber},
      {"BisDatensatz", "bis", ColumnKind::kNumber},
      {"Ereignis", "Ereignis"},
      {"Nummer", "Nummer", ColumnKind::kNumber},
      {"BisNummer", "bis", ColumnKind::kNumber},
      {"Feld", "Feld"},
      {"Vorher", "Vorher"},
      {"Importiert", "Importiert"},
  };
  return columns;
}

const std::vector<AddressColumn>& LeftColumns() {
  static const std::vector<AddressColumn> columns = {
      {"Datensatz", "Datensatz", ColumnKind::kNumber},
      {"Nummer", "Nummer", ColumnKind::kNumber},
      {"Feld", "Feld"},
      {"Vorher", "Vorher"},
      {"Importiert", "Importiert"},
      {"Jetzt", "Jetzt"},
  };
  return columns;
}

}  // namespace

RunsPage::RunsPage(UserInterface& ui, ComponentRegistry& components, ConnectionPtr connection, QWidget* parent)
    : QWidget(parent),
      ui_(ui),
      components_(components),
      connection_(std::move(connection)),
      guard_(this, [this](const RuntimeError& error) { status_->setText(ToQt(error.Description())); }) {
  setObjectName("pageRuns");
  QWidget* const list = BuildList();
  StackListAndDetails(this, list, BuildDetails(), 35);
  guard_.On(table_->selectionModel(), &QItemSelectionModel::selectionChanged, &RunsPage::ShowChosen);
  guard_.On(undo_, &QPushButton::clicked, [this] { emit UndoAsked(); });
  Refresh();
}

QWidget* RunsPage::BuildList() {
  auto* list = new QWidget(this);
  runs_ = new QueryModel(RunColumns(), this);
  table_ = MakeTable(runs_, "Importläufe", list);
  table_->setSelectionMode(QAbstractItemView::SingleSelection);
  for (int column = kFirstHidden; column < runs_->columnCount(); ++column) table_->hideColumn(column);
  count_ = MakeStatusLine(list);
  count_->setObjectName("count");
  auto* parts = new QVBoxLayout(list);
  parts->setContentsMargins(0, 0, 0, 0);
  parts->addWidget(table_, 1);
  parts->addWidget(count_);
  return list;
}

QWidget* RunsPage::BuildDetails() {
  auto* details = new QWidget(this);
  origin_ = new QLabel(details);
  origin_->setObjectName("origin");
  origin_->setTextFormat(Qt::PlainText);
  origin_->setWordWrap(true);
  origin_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  title_ = new QLabel(details);
  title_->setObjectName("title");
  fates_ = new QueryModel(FateColumns(), this);
  left_alone_ = new QueryModel(LeftColumns(), this);
  records_ = MakeTable(fates_, "Datensätze des Importlaufs", details);
  records_->setObjectName("records");
  status_ = MakeStatusLine(details);
  status_->setObjectName("status");
  undo_ = SetUpButton(new CaptionButton(details), "cmdUndo", "Rückgängig machen...",
                      "Neue Adressen dieses Importlaufs löschen und geänderte wiederherstellen", 'R');
  auto* bottom = new QHBoxLayout;
  bottom->addWidget(status_, 1);
  bottom->addWidget(undo_);
  auto* parts = new QVBoxLayout(details);
  parts->setContentsMargins(0, kGapAbove, 0, 0);
  parts->addWidget(origin_);
  parts->addWidget(title_);
  parts->addWidget(records_, 1);
  parts->addLayout(bottom);
  return details;
}

ObjectPtr RunsPage::Ledger() const {
  ObjectPtr ledger = components_.CreateObject("kestrelhost.RunLedger");
  SetProperty(ledger, "Connection", connection_);
  return ledger;
}

void RunsPage::Refresh() {
  const auto tell = [this](const RuntimeError& error) { count_->setText(ToQt(error.Description())); };
  const auto read = [this] {
    const std::optional<std::int64_t> chosen = ChosenRun();
    const RecordsetPtr rows = ToRecordset(CallMethod(Ledger(), "LastRuns", kShownRuns));
    const bool more = runs_->SetRows(*rows, kShownRuns);
    FitColumns(*table_, kWidestColumn);
    count_->setText(more                     ? "Die letzten " + GermanCount(kShownRuns, "Lauf", "Läufe")
                    : runs_->rowCount() == 0 ? QString("Keine Importläufe")
                                             : GermanCount(runs_->rowCount(), "Importlauf", "Importläufe"));
    if (chosen) Choose(*chosen);
    ShowChosen();
  };
  Trap(read, tell);
}

void RunsPage::Choose(std::int64_t run) {
  for (int row = 0; row < runs_->rowCount(); ++row) {
    if (runs_->index(row, 0).data().toLongLong() == run) table_->selectRow(row);
  }
}

std::optional<std::int64_t> RunsPage::ChosenRun() const {
  const QModelIndexList rows = table_->selectionModel()->selectedRows();
  if (rows.isEmpty()) return std::nullopt;
  return rows.first().data().toLongLong();
}

QString RunsPage::Chosen(const char* column) const {
  const QModelIndexList rows = table_->selectionModel()->selectedRows();
  for (int i = 0; !rows.isEmpty() && i < runs_->columnCount(); ++i) {
    if (RunColumns()[static_cast<std::size_t>(i)].name == column)
      return rows.first().siblingAtColumn(i).data().toString();
  }
  return {};
}

void RunsPage::ShowChosen() {
  const std::optional<std::int64_t> run = ChosenRun();
  undo_->setEnabled(run && Chosen("Zustand") != kRunning);
  records_->setVisible(run.has_value());
  status_->clear();
  if (!run) {
    origin_->setText("Wählen Sie einen Importlauf, um zu sehen, was aus seinen Datensätzen wurde.");
    title_->clear();
    return;
  }
  QStringList lines;
  const auto add = [&](const char* heading, const QString& text) {
    if (!text.isEmpty()) lines << QString("%1: %2").arg(QString::fromUtf8(heading), text);
  };
  const QString size = Chosen("Quellgroesse");
  add("Quelle", Chosen("Quelle") +
                    (size.isEmpty() ? "" : QString(" (%1 Bytes, Stand %2)").arg(size, Chosen("Quellzeit"))));
  add("Spezifikation", Chosen("Spezifikation"));
  add("Prüfsumme", Chosen("Pruefsumme"));
  add("Gekürzt", Chosen("GekuerzteFelder"));
  origin_->setText(lines.join('\n'));
  ShowRecords(fates_, *ToRecordset(CallMethod(Ledger(), "Records", *run, kShownRecords + 1)),
              "Was aus den Datensätzen wurde:",
              "Die ersten %1 Zeilen; alle zeigt 'kestrel-import runs " + QString::number(*run) + "'.");
}

void RunsPage::ShowRecords(QueryModel* model, Recordset& rows, const QString& title, const QString& told) {
  const bool more = model->SetRows(rows, kShownRecords);
  if (records_->model() != model) records_->setModel(model);
  FitColumns(*records_, kWidestColumn);
  title_->setText(title);
  status_->setText(more ? told.arg(GermanNumber(kShownRecords)) : QString());
}

QString RunsPage::Question() const {
  const QString run = Chosen("LaufNr");
  const QString state = Chosen("Zustand");
  if (state == kUndone) {
    return QString(
               "Der Importlauf %1 ist zurückgenommen. Soll auch zurückgenommen werden, was seit dem Import "
               "geändert wurde und deshalb stehen geblieben ist?")
        .arg(run);
  }
  const QString what = state == kUndoing ? "Soll die Rücknahme des Importlaufs %1 vom %2 fortgesetzt werden?"
                                         : "Soll der Importlauf %1 vom %2 zurückgenommen werden?";
  return what.arg(run, Chosen("Beginn")) +
         QString(
             " Seine neuen Adressen (%1) werden gelöscht, die geänderten (%2) erhalten ihre alten Werte. Was "
             "seit dem Import geändert wurde, bleibt stehen.")
             .arg(Chosen("Neu"), Chosen("Aktualisiert"));
}

std::vector<SpecificationRun> RunsPage::LastRuns() const {
  std::vector<SpecificationRun> runs;
  const RecordsetPtr rows = ToRecordset(CallMethod(Ledger(), "LastRuns", kRunsForWizard));
  const auto text = [&](const char* column) { return std::string(rows->TextAt(rows->RequireColumn(column))); };
  const auto number = [&](const char* column) { return ToQt(text(column)).toLongLong(); };
  for (; !rows->IsEof(); rows->MoveNext()) {
    const std::string state = text("Zustand");
    runs.push_back({.specification = text("Spezifikation"),
                    .source = text("Quelle"),
                    .begin = text("Beginn"),
                    .state = state == kFinished ? "" : state,
                    .read = number("Gelesen"),
                    .added = number("Neu"),
                    .updated = number("Aktualisiert"),
                    .not_stored = number("Zurueckgehalten") + number("Abgewiesen")});
  }
  return runs;
}

void RunsPage::UndoChosen() {
  if (const std::optional<std::int64_t> run = ChosenRun()) Undo(*run, *window());
}

UndoneRun RunsPage::Undo(std::int64_t run, QWidget& window) {
  Choose(run);
  if (ChosenRun() != run) {
    return {.told = "Der Importlauf " + std::to_string(run) + " steht nicht in der Liste der Läufe."};
  }
  constexpr const char* kTitle = "Rückgängig machen";
  if (AskBeforeLoss(ui_, FromQt(Question()), kTitle) != Answer::kYes) return {};
  const QString before = Chosen("Zustand");
  UndoOutcome outcome;
  Trap([&] { outcome = UndoInDialog(Ledger(), *connection_, run, before == kUndone, &window); },
       [&](const RuntimeError& error) { outcome.failure = error; });
  if (outcome.failure) {
    ui_.MessageBox("Fehler: " + outcome.failure->Description(), kTitle, Icon::kStop, Buttons::kOk);
  }
  emit Undone();
  using State = UndoneRun::State;
  const bool has_begun = outcome.removed + outcome.restored > 0 || LeftAloneBy(outcome) > 0;
  if (outcome.failure && !has_begun)
    return {.told = {}, .state = before == kUndoing ? State::kPartly : State::kUnchanged};
  const bool is_whole = outcome.is_complete && LeftAloneBy(outcome) == 0;
  return {.told = FromQt(TellOutcome(outcome)), .state = is_whole ? State::kWholly : State::kPartly};
}

QString RunsPage::TellOutcome(const UndoOutcome& outcome) {
  const std::int64_t left = LeftAloneBy(outcome);
  if (left > 0) {
    ShowRecords(left_alone_, *outcome.left_alone,
                "Stehen geblieben, weil seit dem Import geändert:", "Die ersten %1 Zeilen");
  }
  QString text = GermanCount(outcome.removed, "Adresse", "Adressen") + " gelöscht, " +
                 GermanCount(outcome.restored, "Adresse", "Adressen") + " wiederhergestellt.";
  if (left > 0) {
    text +=
        " " + GermanCount(left, "Änderung", "Änderungen") +
        " seit dem Import stehen gelassen; %1 zeigt sie. \"Rückgängig machen...\" nimmt auf Wunsch auch sie "
        "zurück, doch keine Adresse, die andere Tabellen verwenden.";
  }
  if (!outcome.is_complete)
    text = "Angehalten: " + text + " \"Rückgängig machen...\" setzt die Rücknahme fort.";
  // Behind the place that `with` fills, as the reason may hold anything.
  const QString why = outcome.failure ? "\nGrund: " + ToQt(outcome.failure->Description()) : QString();
  const auto with = [&](const char* list) { return (left > 0 ? text.arg(list) : text) + why; };
  status_->setText(with("die Liste"));
  return with("die Seite \"Importläufe\"");
}

}  // namespace kestrel::host
