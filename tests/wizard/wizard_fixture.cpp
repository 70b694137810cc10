#include "wizard/wizard_fixture.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QListWidget>

#include "spec/profile_access.h"

namespace kestrel::testing {

namespace {

std::shared_ptr<MemoryRecordset> NewRecord(const std::vector<DestinationField>& fields) {
  auto record = std::make_shared<MemoryRecordset>();
  for (const DestinationField& field : fields) record->AppendColumn(field.name);
  record->AddNew();
  return record;
}

}  // namespace

// --- WizardFixture ------------------------------------------------------------------------------

WizardFixture::WizardFixture(WizardComforts comforts) : wizard(nullptr, comforts) {
  setenv("KESTREL_HOME", folder.path().c_str(), 1);
  import_class = AddComponent("test.import");
  for (const char* property : {"PersonalNr", "Application", "SpecificationFile"}) import_class->Let(property);
  import_class->Set("Connection")
      .Get("HasConfig", true)
      .Method("ShowConfig")
      .Method("BeforeImport")
      .Method("ImportRecord")
      .Method("AfterImport")
      .Get("ErrorCode", 0)
      .Get("ErrorDescription", "");
  UseFields({{"Name", true}, {"Ort"}, {"Datum", false, true}});
}

WizardFixture::~WizardFixture() { unsetenv("KESTREL_HOME"); }

void WizardFixture::UseFields(const std::vector<DestinationField>& fields) {
  import_class->Method("GetFields", [fields](std::span<Argument>) { return Value(FieldList(fields)); });
  import_class->Method("GetNewRecord", [fields](std::span<Argument>) { return Value(NewRecord(fields)); });
}

std::string WizardFixture::TextSpecification(const std::string& file_name, const std::string& more) {
  return "[Common]\nDescription=Test\nApplication=2\nImportClass=test.import\nProvider=Textdatei\nFileName=" +
         file_name + "\nDelimiter=;\nColumnHeadings=True\n" + more;
}

std::string WizardFixture::WriteSource(int records) {
  std::string text = "Name;Ort;Datum;Gruppe\r\n";
  for (int record = 1; record <= records; ++record) {
    text += "Müller " + std::to_string(record) + ";Köln;01.02.2024;" + (record % 2 == 0 ? "B" : "A") + "\r\n";
  }
  return folder.Write("quelle.txt", text);
}

std::string WizardFixture::Stored(const char* section, const std::string& key) {
  return GetIniString(session.SpecFile, section, key, "(fehlt)");
}

std::vector<std::string> WizardFixture::FilesOfSpecFolder() const {
  std::vector<std::string> names;
  for (const QString& name : QDir(ToQt(session.SpecFolder)).entryList(QDir::Files)) {
    names.push_back(FromQt(name));
  }
  return names;
}

void WizardFixture::OpenStep1() {
  wizard.ShowStep1(SharedSession());
  Spin();
}

void WizardFixture::OpenStep2(const std::string& content, const std::string& file_name) {
  WriteSpecification(file_name, content);
  OpenStep1();
  if (file_name.ends_with(".IMT")) Click("optVorlage");
  Find<QListWidget>("lstVorlage").setCurrentRow(0);
  Click("cmdNext");
}

void WizardFixture::OpenStep3(const std::string& content, const std::string& file_name) {
  OpenStep2(content, file_name);
  Click("cmdNext");
  ASSERT_EQ(PageName(), "frmStep3");
}

QWidget& WizardFixture::Page() const {
  QWidget* page = wizard.CurrentPage();
  if (page == nullptr) throw std::runtime_error("no page is shown");
  return *page;
}

std::string WizardFixture::PageName() const {
  const QWidget* page = wizard.CurrentPage();
  return page == nullptr ? "" : FromQt(page->objectName());
}

void WizardFixture::Click(const char* object_name) {
  ClickOn(Find<QWidget>(object_name));
  Settle();
}

void WizardFixture::Focus(const char* object_name) {
  Find<QWidget>(object_name).setFocus(Qt::TabFocusReason);
  Settle();
}

void WizardFixture::Settle() const {
  Spin();
  const auto waits_for_a_file = [this] {
    return PageName() == "frmStep2" && !Find<QWidget>("cmdNext").isEnabled() &&
           Find<QComboBox>("cboDatenquelleTyp").currentText() != "Microsoft SQL-Server";
  };
  while (waits_for_a_file()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

void WizardFixture::Type(const char* object_name, const char* text) {
  auto& edit = Find<QLineEdit>(object_name);
  edit.setFocus(Qt::TabFocusReason);
  edit.selectAll();
  QTest::keyClick(&edit, Qt::Key_Delete);
  for (const QChar character : QString::fromUtf8(text)) {
    QTest::sendKeyEvent(QTest::Click, &edit, Qt::Key_unknown, QString(character), Qt::NoModifier);
  }
}

void WizardFixture::Choose(const char* object_name, const char* entry) {
  auto& list = Find<QComboBox>(object_name);
  const int index = list.findText(QString::fromUtf8(entry), Qt::MatchExactly);
  ASSERT_GE(index, 0) << object_name << " lacks " << entry;
  list.setCurrentIndex(index);
  // What a choice from the open list does beside setting the index.
  emit list.activated(index);
  emit list.textActivated(list.itemText(index));
}

RecordingUserInterface::Box WizardFixture::Information(const std::string& text, const std::string& title) {
  return {text, title, Icon::kInformation, Buttons::kOk};
}

RecordingUserInterface::Box WizardFixture::Question(const std::string& text, const std::string& title) {
  return {text, title, Icon::kQuestion, Buttons::kYesNo};
}

RecordingUserInterface::Box WizardFixture::Plain(const std::string& text) {
  return {text, "", Icon::kNone, Buttons::kOk};
}

}  // namespace kestrel::testing
