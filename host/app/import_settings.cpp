#include "app/import_settings.h"

#include <QApplication>
#include <QGroupBox>
#include <QLabel>
#include <QPointer>
#include <QVBoxLayout>
#include <memory>
#include <utility>

#include "kestrel/bound_object.h"
#include "platform/base/number.h"
#include "schema/number_range.h"
#include "schema/overwrite_key.h"
#include "wizard/button_row.h"
#include "wizard/page_parts.h"
#include "wizard/qt_text.h"
#include "wizard/window_frame.h"

namespace kestrel::host {

namespace {

constexpr const char* kSection = "CfgSettings";
constexpr const char* kMaskKey = "AddresstypeCode";
constexpr const char* kThresholdKey = "DublettenSchwelle";
constexpr int kThresholdCharacters = 8;
constexpr int kNumberCharacters = 24;
constexpr int kMargin = 16;
constexpr double kGreatestThreshold = 100;

std::int64_t MaskOf(const std::string& text) { return ParseWholeNumber(text).value_or(0); }

}  // namespace

ImportSettingsDialog::ImportSettingsDialog(std::string specification, std::string_view table,
                                           std::vector<ComparedList> lists, QWidget* parent)
    : QDialog(parent),
      guard_(this, [this](const RuntimeError& error) { status_->setText(ToQt(error.Description())); }),
      specification_(std::move(specification)),
      table_(table),
      compared_(std::move(lists)),
      stored_(ProfileStore().Require(specification_)) {
  setObjectName("importSettings");
  setWindowTitle("Einstellungen");
  GiveIcon(this);
  check_ = AddSwitch("DublettenPruefen", "chkDublettenPruefen", "Adressen auf Dubletten &prüfen");
  keys_ = BuildKeys();
  lists_ = BuildLists();
  threshold_ = new QLineEdit(ToQt(Stored(kThresholdKey, "")), this);
  threshold_->setObjectName("txtSchwelle");
  threshold_->setMaximumWidth(fontMetrics().averageCharWidth() * kThresholdCharacters * 2);
  threshold_->setToolTip("0 bis 100; leer: wie im Adressbestand eingestellt");
  auto* threshold_row = new QHBoxLayout;
  threshold_row->addWidget(MakeLabel("Ähnlichkeit ab (Prozent):", threshold_));
  threshold_row->addWidget(threshold_);
  threshold_row->addStretch(1);
  auto* overwrite = AddSwitch(OverwriteKeyOf(table), "chkUeberschreiben",
                              QString("Vorhandene Nummern ü&berschreiben (%1)").arg(ToQt(table)));
  overwrite->setToolTip("Sonst wird ein Datensatz, dessen Nummer es schon gibt, als Fehler gemeldet");
  status_ = MakeStatusLine(this);
  QWidget* range = BuildRange();
  auto* ok = SetUpButton(new CaptionButton(this), "cmdOK", "&OK", "", 0);
  ok->setDefault(true);
  auto* cancel = SetUpButton(new CaptionButton(this), "cmdCancel", "&Abbrechen", "", 0);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(status_, 1);
  buttons->addWidget(ok);
  buttons->addWidget(cancel);

  auto* body = new QVBoxLayout(this);
  body->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
  body->setSpacing(10);
  body->addWidget(check_);
  body->addWidget(keys_);
  body->addWidget(lists_);
  body->addLayout(threshold_row);
  body->addWidget(range);
  body->addWidget(overwrite);
  body->addStretch(1);
  body->addLayout(buttons);
  EnableByCheck();
  guard_.On(check_, &QCheckBox::toggled, &ImportSettingsDialog::EnableByCheck);
  connect(ok, &QPushButton::clicked, this, &QDialog::accept);
  connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
}

QCheckBox* ImportSettingsDialog::AddSwitch(const std::string& key, const char* object_name,
                                           const QString& caption) {
  auto* box = new QCheckBox(caption, this);
  box->setObjectName(QString::fromUtf8(object_name));
  box->setChecked(Stored(key, "0") == "1");
  switches_.push_back({key, box});
  return box;
}

QWidget* ImportSettingsDialog::BuildKeys() {
  auto* group = new QGroupBox("Gesucht wird nach Adressen mit", this);
  auto* column = new QVBoxLayout(group);
  column->addWidget(
      AddSwitch("DublettenKey1", "chkDublettenKey1", "&gleich klingendem Namen in derselben PLZ"));
  column->addWidget(AddSwitch("DublettenKey2", "chkDublettenKey2",
                              "g&leicher Hausnummer und gleich klingendem Namen in der Region"));
  column->addWidget(AddSwitch("DublettenKey3", "chkDublettenKey3", "gleich klingender S&traße im selben Ort"));
  return group;
}

QWidget* ImportSettingsDialog::BuildLists() {
  auto* group = new QGroupBox("Verglichen wird mit", this);
  auto* row = new QHBoxLayout(group);
  const std::int64_t mask = MaskOf(Stored(kMaskKey, "0"));
  for (const ComparedList& list : compared_) {
    auto* box = new QCheckBox(list.title, group);
    box->setObjectName(QString("chkArt%1").arg(list.address_type));
    box->setChecked((mask & list.address_type) != 0);
    row->addWidget(box);
    list_boxes_.push_back(box);
  }
  row->addStretch(1);
  return group;
}

QWidget* ImportSettingsDialog::BuildRange() {
  auto* group = new QGroupBox("Nummern neuer Adressen ohne eigene Nummer", this);
  auto* row = new QHBoxLayout(group);
  const auto add = [&](const char* caption, const std::string& key, const char* object_name) {
    auto* edit = new QLineEdit(ToQt(Stored(key, "")), group);
    edit->setObjectName(object_name);
    edit->setMaximumWidth(fontMetrics().averageCharWidth() * kNumberCharacters);
    edit->setToolTip("Leer: die nächste freie Nummer nach der größten");
    row->addWidget(MakeLabel(caption, edit));
    row->addWidget(edit);
    return edit;
  };
  range_begin_ = add("&von", RangeBeginKey(table_), "txtNummernVon");
  range_end_ = add("bi&s", RangeEndKey(table_), "txtNummernBis");
  row->addStretch(1);
  return group;
}

void ImportSettingsDialog::EnableByCheck() {
  for (QWidget* part : {keys_, lists_, static_cast<QWidget*>(threshold_)})
    part->setEnabled(check_->isChecked());
}

std::string ImportSettingsDialog::Stored(std::string_view key, std::string_view fallback) const {
  return std::string(stored_->Find(kSection, key).value_or(fallback));
}

std::string ImportSettingsDialog::Mask() const {
  std::int64_t mask = MaskOf(Stored(kMaskKey, "0"));
  for (std::size_t i = 0; i < list_boxes_.size(); ++i) {
    const std::int64_t bit = compared_[i].address_type;
    mask = list_boxes_[i]->isChecked() ? mask | bit : mask & ~bit;
  }
  return std::to_string(mask);
}

void ImportSettingsDialog::Save() {
  const std::string threshold = FromQt(threshold_->text().trimmed());
  if (const auto number = ParseNumber(threshold);
      !threshold.empty() && (!number || *number < 0 || *number > kGreatestThreshold)) {
    threshold_->setFocus();
    throw RuntimeError(ErrorNumber::kInvalidProcedureCall,
                       "Die Ähnlichkeit ist eine Zahl von 0 bis 100, oder das Feld bleibt leer.");
  }
  const std::string begin = FromQt(range_begin_->text().trimmed());
  const std::string end = FromQt(range_end_->text().trimmed());
  Trap([&] { ReadNumberRange(table_, begin, end); },
       [this](const RuntimeError&) {
         range_begin_->setFocus();
         throw RuntimeError(
             ErrorNumber::kInvalidProcedureCall,
             "Geben Sie die erste und die letzte Nummer an, ganze Zahlen ab 1, oder keine von beiden.");
       });
  bool has_key = false;
  for (const char* key : {"chkDublettenKey1", "chkDublettenKey2", "chkDublettenKey3"}) {
    has_key = has_key || findChild<QCheckBox*>(key)->isChecked();
  }
  if (check_->isChecked() && (!has_key || Mask() == "0")) {
    throw RuntimeError(ErrorNumber::kInvalidProcedureCall,
                       "Wählen Sie, was als dieselbe Adresse gilt und womit verglichen wird.");
  }
  std::vector<ProfileEdit> edits;
  const auto edit = [&](const std::string& key, const std::string& value, std::string_view fallback) {
    if (Stored(key, fallback) != value) edits.push_back({kSection, key, value});
  };
  for (const Switch& one : switches_) {
    // What is neither counts as off, and stays so unless it is switched.
    const bool was_on = Stored(one.key, "0") == "1";
    if (one.box->isChecked() != was_on) edit(one.key, one.box->isChecked() ? "1" : "0", "");
  }
  if (MaskOf(Mask()) != MaskOf(Stored(kMaskKey, "0"))) edit(kMaskKey, Mask(), "");
  edit(kThresholdKey, threshold, "");
  edit(RangeBeginKey(table_), begin, "");
  edit(RangeEndKey(table_), end, "");
  if (!edits.empty()) ProfileStore().Write(specification_, edits);
}

void ImportSettingsDialog::accept() {
  if (guard_.Run([this] { Save(); })) QDialog::accept();
}

namespace {

class ImportSettings final : public BoundObject<ImportSettings> {
 public:
  ImportSettings(QPointer<QWidget> window, std::vector<ComparedList> lists)
      : window_(std::move(window)), lists_(std::move(lists)) {}
  static void Bind(Members& members) { members.Method("Show", &ImportSettings::Show); }

 private:
  void Show(std::string_view specification, std::string_view table) {
    QWidget* above = QApplication::activeWindow();
    ImportSettingsDialog(std::string(specification), table, lists_, above != nullptr ? above : window_.data())
        .exec();
  }

  QPointer<QWidget> window_;
  std::vector<ComparedList> lists_;
};

}  // namespace

void RegisterImportSettings(ComponentRegistry& components, QWidget* window, std::vector<ComparedList> lists) {
  components.Register("kestrelhost.ImportSettings", [window = QPointer(window), lists = std::move(lists)] {
    return std::make_shared<ImportSettings>(window, lists);
  });
}

}  // namespace kestrel::host
