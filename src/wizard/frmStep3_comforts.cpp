// What step 3 does beyond what it is known for: each part only where its comfort is on (kestrel/wizard_comforts.h).
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QShortcut>
#include <algorithm>

#include "check/date_proposal.h"
#include "kestrel/import_job.h"
#include "kestrel/wizard.h"
#include "platform/base/counted.h"
#include "platform/base/text.h"
#include "wizard/button_row.h"
#include "wizard/field_list_tools.h"
#include "wizard/field_samples.h"
#include "wizard/frmStep3.h"
#include "wizard/qt_text.h"
#include "wizard/result_tab.h"
#include "wizard/source_sampling.h"

namespace kestrel {

namespace {

constexpr std::size_t kSampledRecords = 100;
constexpr int kFewestLines = 4;  // of the list

// Without what the panel holds for other options than the one chosen.
AssignmentPanel Meant(const AssignmentPanel& panel) {
  switch (panel.option) {
    case kNotAssigned: break;
    case kConstantValue: return {.option = kConstantValue, .constant = panel.constant};
    case kImportField:
      return {.option = kImportField,
              .import_field = panel.import_field,
              .translate = panel.translate,
              .date_format = panel.date_format};
  }
  return {};
}

// The first records with different values in the column, those with a value first.
SourceExcerpt SomeValuesOf(const SourceExcerpt& sample, std::size_t column) {
  SourceExcerpt some{sample.columns, {}, {}};
  const auto take = [&](bool with_value) {
    for (const std::vector<ExcerptValue>& record : sample.records) {
      const ExcerptValue& value = record[column];
      const bool is_there = std::any_of(some.records.begin(), some.records.end(), [&](const auto& taken) {
        return taken[column].text == value.text && !taken[column].unreadable;
      });
      if (some.records.size() == static_cast<std::size_t>(FieldSamples::kLines)) return;
      const bool has_value = value.unreadable || !TrimBlanks(value.text).empty();
      if (has_value == with_value && !is_there) some.records.push_back(record);
    }
  };
  take(true);
  take(false);
  return some;
}

QString Listed(const std::vector<std::string_view>& formats) {
  QStringList names;
  for (const std::string_view format : formats) names << ToQt(format);
  const QString last = names.takeLast();
  return names.isEmpty() ? last : names.join(", ") + " und " + last;
}

}  // namespace

// --- Controls -----------------------------------------------------------------------------------

QVBoxLayout* frmStep3::LayOutBody() {
  const WizardComforts& comforts = wizard_.comforts();
  auto* fields = new QVBoxLayout;
  fields->setSpacing(10);
  if (comforts.field_search || comforts.assignment_by_name) {
    tools_ = new FieldListTools(comforts.field_search, comforts.assignment_by_name, this);
    fields->addWidget(tools_);
  }
  fields->addWidget(TDBImpList_, 1);
  if (samples_ != nullptr) {
    // With large fonts on a small screen the values would leave the list hardly a line.
    TDBImpList_->setMinimumHeight(TDBImpList_->horizontalHeader()->sizeHint().height() +
                                  kFewestLines * TDBImpList_->verticalHeader()->defaultSectionSize());
  }
  fields->addWidget(Frame1_);
  auto* body = fields;
  if (comforts.result_tab) {
    tabs_ = new QTabWidget(this);
    tabs_->setObjectName("tabStep3");
    tabs_->setAccessibleName("Felder und Ergebnis");
    auto* fields_tab = new QWidget(tabs_);
    fields_tab->setLayout(fields);
    result_ = new ResultTab(tabs_);
    tabs_->addTab(fields_tab, comforts.visible_access_keys ? "Fel&der" : "Felder");
    tabs_->addTab(result_, comforts.visible_access_keys ? "Er&gebnis" : "Ergebnis");
    body = new QVBoxLayout;
    body->setSpacing(10);
    body->addWidget(tabs_, 1);
  }
  body->addWidget(lblStatus_);
  return body;
}

void frmStep3::AddProposal(QBoxLayout* format) {
  if (!wizard_.comforts().proposed_date_formats) {
    format->addStretch(1);
    return;
  }
  cmdFormatVorschlag_ =
      SetUpButton(new CaptionButton(this), "cmdFormatVorschlag", "", "Das vorgeschlagene Format wählen", 'V');
  cmdFormatVorschlag_->hide();
  lblFormatHinweis_ = MakeStatusLine(this);
  lblFormatHinweis_->setObjectName("lblFormatHinweis");
  format->addWidget(cmdFormatVorschlag_);
  format->addWidget(lblFormatHinweis_, 1);
}

void frmStep3::ConnectComforts() {
  if (tools_ != nullptr && tools_->txtSuche != nullptr) {
    guard_.On(tools_->txtSuche, &QLineEdit::textChanged, &frmStep3::SearchFields);
    guard_.On(tools_, &FieldListTools::GoToList, &frmStep3::GoToList);
    guard_.On(new QShortcut(QKeySequence::Find, this), &QShortcut::activated, [this] {
      if (tabs_ != nullptr) tabs_->setCurrentIndex(0);
      tools_->txtSuche->setFocus(Qt::ShortcutFocusReason);
      tools_->txtSuche->selectAll();
    });
  }
  if (tools_ != nullptr && tools_->cmdNachNamen != nullptr) {
    guard_.On(tools_->cmdNachNamen, &QPushButton::clicked, &frmStep3::cmdNachNamen_Click);
    guard_.On(tools_->cmdRueckgaengig, &QPushButton::clicked, &frmStep3::cmdRueckgaengig_Click);
  }
  if (samples_ == nullptr && result_ == nullptr && cmdFormatVorschlag_ == nullptr) return;
  sampling_ = new SourceSampling(this);
  guard_.On(sampling_, &SourceSampling::Ready, &frmStep3::ShowSample);
  if (result_ != nullptr) guard_.On(tabs_, &QTabWidget::currentChanged, &frmStep3::ShowResult);
  if (cmdFormatVorschlag_ != nullptr) {
    guard_.On(cmdFormatVorschlag_, &QPushButton::clicked, &frmStep3::cmdFormatVorschlag_Click);
  }
  const auto follow = [this] { ShowSampleLater(); };
  for (const QAbstractButton* button :
       std::initializer_list<const QAbstractButton*>{optImportFeld_, optKonstanterWert_, chkUebersetzen_}) {
    guard_.On(button, &QAbstractButton::toggled, follow);
  }
  guard_.On(cboImportFeld_, &QComboBox::editTextChanged, follow);
  guard_.On(cboDatumsFormat_, &QComboBox::currentIndexChanged, follow);
  guard_.On(txtKonstanterWert_, &QLineEdit::textChanged, follow);
}

void frmStep3::LoadSample() {
  if (sampling_ == nullptr) return;
  guard_.Run([&] { sampling_->Start(session_, kSampledRecords); });
}

// --- The panel and the list ---------------------------------------------------------------------

void frmStep3::StoreChangedPanel() {
  if (SelectedLine() < 0) return;
  if (Meant(PanelValues()) == Meant(ReadAssignment(*list_, SelectedLine()))) return;
  MakeSelectedLineCurrent();
  StoreCurrentRow();
  session_.SchemaChanged = true;
}

// A search may hide the line that would tell.
void frmStep3::NamePanel() {
  if (!wizard_.comforts().field_search) return;
  const QModelIndex line = model_->index(panel_line_, kSourceName);
  Frame1_->setTitle("Zuordnung von " + line.data(Qt::AccessibleTextRole).toString().replace('&', "&&"));
}

void frmStep3::SearchFields(const QString& text) {
  lblStatus_->hide();
  selecting_ = true;
  shown_fields_->Search(text);
  // The field that the panel shows stays the same, whether it is to be seen or not.
  const QModelIndex line = shown_fields_->mapFromSource(model_->index(panel_line_, kSourceName));
  if (line.isValid()) {
    TDBImpList_->selectRow(line.row());
    TDBImpList_->setCurrentIndex(line);
    TDBImpList_->scrollTo(line);
  } else {
    TDBImpList_->selectionModel()->clear();
  }
  selecting_ = false;
  if (shown_fields_->rowCount() == 0 && model_->rowCount() > 0) {
    ShowStatus("Kein Feld enthält \"" + text + "\" im Namen.");
  }
}

void frmStep3::GoToList() {
  TDBImpList_->setFocus(Qt::TabFocusReason);
  if (!TDBImpList_->currentIndex().isValid()) TDBImpList_->setCurrentIndex(shown_fields_->index(0, 0));
}

void frmStep3::cmdNachNamen_Click() {
  StoreChangedPanel();
  NameAssignment step = AssignByName(*list_, HasUsableSourceFields(session_.SourceFieldNames)
                                                 ? OfferedSourceFields(session_.SourceFieldNames)
                                                 : std::vector<std::string>());
  if (step.rows.empty()) {
    ShowStatus("Kein weiteres Feld passt mit seinem Namen zu einer Spalte der Quelle.");
    return;
  }
  for (const NameAssignment::Row& row : step.rows) model_->RowChanged(static_cast<int>(row.row));
  ShowStatus(ToQt(Counted(static_cast<std::int64_t>(step.rows.size()), "Feld", "Felder") +
                  " nach Namen zugeordnet. \"Rückgängig\" nimmt das zurück."));
  by_name_ = std::move(step);
  session_.SchemaChanged = true;
  tools_->cmdRueckgaengig->setEnabled(true);
  ShowCurrentAssignment();
}

void frmStep3::cmdRueckgaengig_Click() {
  // A field that is being changed by hand is no longer what the step made of it.
  StoreChangedPanel();
  const std::vector<std::int64_t> rows = TakeBack(*list_, by_name_);
  by_name_ = {};
  for (const std::int64_t row : rows) model_->RowChanged(static_cast<int>(row));
  session_.SchemaChanged = true;
  ShowCurrentAssignment();
  tools_->cmdNachNamen->setFocus();
  tools_->cmdRueckgaengig->setEnabled(false);
  ShowStatus(ToQt("Die Zuordnung nach Namen ist zurückgenommen (" +
                  Counted(static_cast<std::int64_t>(rows.size()), "Feld", "Felder") + ")."));
}

void frmStep3::cmdFormatVorschlag_Click() {
  const QVariant proposed = cmdFormatVorschlag_->property("format");
  cboDatumsFormat_->setFocus();
  cboDatumsFormat_->setCurrentIndex(cboDatumsFormat_->findText(proposed.toString(), Qt::MatchExactly));
  session_.SchemaChanged = true;
}

// --- What the sample shows ----------------------------------------------------------------------

void frmStep3::ShowSampleLater() {
  if (sampling_ == nullptr || shows_sample_later_) return;
  shows_sample_later_ = true;
  guard_.Later(0, [this] {
    shows_sample_later_ = false;
    ShowSample();
  });
}

void frmStep3::ShowSample() {
  if (samples_ != nullptr) ShowValues();
  if (cmdFormatVorschlag_ != nullptr) ShowProposal();
  if (result_ != nullptr) ShowResult();
}

std::optional<std::size_t> frmStep3::SampledColumn() const {
  const SourceExcerpt* const sample = sampling_->sample();
  if (sample == nullptr || !optImportFeld_->isChecked()) return std::nullopt;
  // As the run looks for it.
  return RecordsOf(*sample)->FindColumn(ReplaceAll(PanelValues().import_field, "\"", ""));
}

std::shared_ptr<MemoryRecordset> frmStep3::AssignmentsWithPanel(Extent extent) const {
  const int line = SelectedLine();
  const bool is_one = extent == Extent::kSelected;
  std::shared_ptr<MemoryRecordset> list =
      CopyAssignments(*list_, is_one ? std::optional<std::int64_t>(line) : std::nullopt);
  if (line < 0 || Meant(PanelValues()) == Meant(ReadAssignment(*list_, line))) return list;
  if (!is_one) list->GoTo(line);
  // A text that is too long for the list is told when it is stored.
  Trap([&] { StoreCurrentAssignment(*list, PanelValues()); }, [](const RuntimeError&) {});
  return list;
}

void frmStep3::ShowValues() {
  std::vector<PreviewedField> values;
  const SourceExcerpt* const sample = sampling_->sample();
  const std::optional<std::size_t> column = SampledColumn();
  const bool reads = optImportFeld_->isChecked() && !cboImportFeld_->currentText().isEmpty();
  SourceExcerpt some;
  if (reads && sample == nullptr) {
    values.push_back({.raw = "wird gelesen..."});
  } else if (reads && sample->columns.empty()) {
    values.push_back(
        {.state = PreviewedField::State::kRefused, .reason = sample->failure, .raw = "nicht lesbar"});
  } else if (reads && column) {
    some = SomeValuesOf(*sample, *column);
  } else if (reads || optKonstanterWert_->isChecked()) {
    // The same for every record.
    some = {{}, {{}}, {}};
  }
  if (!some.records.empty() && SelectedLine() >= 0) {
    for (PreviewedRecord& record : PreviewRecords(session_, AssignmentsWithPanel(Extent::kSelected), some)) {
      values.push_back(std::move(record.front()));
    }
  }
  samples_->Show(std::move(values));
}

void frmStep3::ShowProposal() {
  cmdFormatVorschlag_->hide();
  lblFormatHinweis_->clear();
  const std::optional<std::size_t> column = SampledColumn();
  if (!column || !cboDatumsFormat_->isEnabled() || SelectedLine() < 0) return;
  const std::string field(CopyAssignments(*list_, SelectedLine())->TextAt(kSourceName));
  const DateProposal proposal = ProposeDateFormat(
      session_, chkUebersetzen_->isChecked() ? field : std::string(), *sampling_->sample(), *column);
  if (!proposal.has_values) return;
  if (proposal.formats.empty()) {
    lblFormatHinweis_->setText("Kein Format passt zu allen Beispielwerten.");
    return;
  }
  if (proposal.formats.size() > 1) {
    lblFormatHinweis_->setText("Mehrdeutig: Es passen " + Listed(proposal.formats) +
                               ". Prüfen Sie an einem bekannten Datum, was gilt.");
    return;
  }
  const QString format = ToQt(proposal.formats.front());
  if (proposal.day_could_be_month) {
    lblFormatHinweis_->setText("Kein Tag über 12; prüfen Sie, ob Tag und Monat vertauscht sind.");
  }
  if (cboDatumsFormat_->currentText() == format) return;
  cmdFormatVorschlag_->setProperty("format", format);
  cmdFormatVorschlag_->setText((wizard_.comforts().visible_access_keys ? "&Vorschlag: " : "Vorschlag: ") +
                               format);
  cmdFormatVorschlag_->setShortcut(QKeySequence("Alt+V"));
  cmdFormatVorschlag_->show();
}

void frmStep3::ShowResult() {
  if (tabs_->currentWidget() != result_) return;
  const SourceExcerpt* const sample = sampling_->sample();
  if (sample == nullptr) {
    result_->ShowText("Die Datenquelle wird gelesen...");
  } else if (sample->columns.empty()) {
    result_->ShowText("Die Datenquelle kann nicht gelesen werden. " + ToQt(sample->failure));
  } else {
    result_->Show(session_, AssignmentsWithPanel(Extent::kAll), *sample);
  }
}

}  // namespace kestrel
