// Step 1 with the comforts that find, name, copy and delete specifications, and those of saving a copy.
#include <QAction>
#include <QDir>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>

#include "platform/base/file.h"
#include "platform/profile/profile.h"
#include "spec/profile_access.h"
#include "wizard/recent_specifications.h"
#include "wizard/trash.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using testing::ClickOn;
using ::testing::ElementsAre;
using testing::FindIn;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::Spin;

SpecificationRun RunOf(const std::string& specification, const std::string& source = "",
                       const std::string& begin = "", const std::string& state = "", std::int64_t read = 0,
                       std::int64_t added = 0, std::int64_t not_stored = 0) {
  return {specification, source, begin, state, read, added, 0, not_stored};
}

WizardHost HostWithRuns(std::function<std::vector<SpecificationRun>()> last_runs) {
  return {nullptr, nullptr, std::move(last_runs)};
}

class ManagedSpecifications : public testing::WizardFixture {
 protected:
  explicit ManagedSpecifications(WizardComforts comforts = {.managed_specifications = true})
      : WizardFixture(comforts) {
    setenv("XDG_DATA_HOME", folder.File("daten").c_str(), 1);
  }
  ~ManagedSpecifications() override { unsetenv("XDG_DATA_HOME"); }

  void Add(const std::string& file, const std::string& name) {
    WriteSpecification(file.c_str(), "[Common]\nDescription=" + name +
                                         "\nApplication=2\nImportClass=test.import\nProvider=Textdatei\n"
                                         "[Translation_Ort]\nK=Köln\n");
  }
  std::vector<std::string> Shown() const {
    std::vector<std::string> names;
    auto& list = Find<QListWidget>("lstVorlage");
    for (int row = 0; row < list.count(); ++row) {
      if (!list.item(row)->isHidden()) names.push_back(FromQt(list.item(row)->text()));
    }
    return names;
  }
  void Select(int row) { Find<QListWidget>("lstVorlage").setCurrentRow(row); }
  std::string Path(const char* file) const { return JoinPath(session.SpecFolder, file); }
};

TEST_F(ManagedSpecifications, TheSearchShowsNamesWithTheTextAndGoesOnWithNothingHidden) {
  Add("A.IMP", "Kunden Nord");
  Add("B.IMP", "Kunden Süd");
  OpenStep1();
  Select(0);
  Find<QLineEdit>("txtSearch").setText("süd");
  EXPECT_THAT(Shown(), ElementsAre("Kunden Süd"));
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep1") << "the one that was selected is not seen any more";
  Find<QLineEdit>("txtSearch").clear();
  EXPECT_THAT(Shown(), ElementsAre("Kunden Nord", "Kunden Süd"));
}

TEST_F(ManagedSpecifications, TheSearchFindsTheLastOfMoreThan100) {
  for (int i = 100; i < 250; ++i) Add("S" + std::to_string(i) + ".IMP", "Nr" + std::to_string(i));
  OpenStep1();
  EXPECT_EQ(Shown().size(), 150u);
  Find<QLineEdit>("txtSearch").setText("nr249");
  EXPECT_THAT(Shown(), ElementsAre("Nr249"));
  EXPECT_THAT(ui.boxes, IsEmpty()) << "nothing is left out";
}

TEST_F(ManagedSpecifications, WhatIsDoneWithASpecificationNeedsOneAndNoTemplate) {
  Add("A.IMP", "Kunden");
  Add("V.IMT", "Vorlage");
  OpenStep1();
  EXPECT_FALSE(Find<QPushButton>("cmdRename").isEnabled());
  Select(0);
  for (const char* button : {"cmdRename", "cmdDuplicate", "cmdDelete"}) {
    EXPECT_TRUE(Find<QPushButton>(button).isEnabled()) << button;
  }
  Click("optVorlage");
  Select(0);
  for (const char* button : {"cmdRename", "cmdDuplicate", "cmdDelete"}) {
    EXPECT_FALSE(Find<QPushButton>(button).isEnabled()) << button;
  }
}

TEST_F(ManagedSpecifications, RenamingChangesTheNameAndKeepsTheFileAndTheSelection) {
  Add("A.IMP", "Kunden");
  Add("B.IMP", "Lieferanten");
  OpenStep1();
  Select(0);
  ui.replies = {"Zubehör"};
  Click("cmdRename");
  EXPECT_THAT(Shown(), ElementsAre("Lieferanten", "Zubehör"));
  EXPECT_EQ(GetIniString(Path("A.IMP"), "Common", "Description", ""), "Zubehör");
  EXPECT_EQ(Find<QListWidget>("lstVorlage").currentRow(), 1);
  ui.replies = {"Kunden"};
  Click("cmdRename");
  EXPECT_THAT(Shown(), ElementsAre("Kunden", "Lieferanten")) << "a name that was given up is free";
}

TEST_F(ManagedSpecifications, ANameThatAnotherOneHasAndABlankOneAreRefused) {
  Add("A.IMP", "Kunden");
  Add("B.IMP", "Lieferanten");
  OpenStep1();
  Select(0);
  ui.replies = {"Lieferanten", " "};
  Click("cmdRename");
  EXPECT_THAT(ui.boxes.back().text, HasSubstr("schon ein Schema mit dem Namen \"Lieferanten\""));
  Click("cmdRename");
  EXPECT_THAT(ui.boxes.back().text, HasSubstr("Bitte geben Sie einen Namen ein."));
  EXPECT_THAT(Shown(), ElementsAre("Kunden", "Lieferanten"));
}

TEST_F(ManagedSpecifications, ACopyHoldsEverythingAndIsSelected) {
  Add("A.IMP", "Kunden");
  OpenStep1();
  Select(0);
  ui.replies = {"Kunden (Kopie)"};
  Click("cmdDuplicate");
  EXPECT_THAT(Shown(), ElementsAre("Kunden", "Kunden (Kopie)"));
  EXPECT_EQ(GetIniString(Path("Kunden (Kopie).IMP"), "Translation_Ort", "K", ""), "Köln");
  EXPECT_EQ(GetIniString(Path("A.IMP"), "Common", "Description", ""), "Kunden");
  EXPECT_EQ(Find<QListWidget>("lstVorlage").currentRow(), 1);
}

TEST_F(ManagedSpecifications, DeletingAsksAndPutsTheFileIntoTheTrash) {
  Add("A.IMP", "Kunden");
  OpenStep1();
  Select(0);
  ui.answers = {Answer::kNo, Answer::kYes};
  Click("cmdDelete");
  EXPECT_TRUE(FileExists(Path("A.IMP")));
  Click("cmdDelete");
  EXPECT_FALSE(FileExists(Path("A.IMP")));
  EXPECT_THAT(Shown(), IsEmpty());
  EXPECT_EQ(ui.boxes.back(),
            Question("Möchten Sie das Schema \"Kunden\" in den Papierkorb legen?", "Löschen?"));
  EXPECT_TRUE(FileExists(folder.File("daten/Trash/files/A.IMP")));
}

TEST_F(ManagedSpecifications, WithoutATrashAFolderBesideTakesWhatIsDeletedAndKeepsWhatIsThere) {
  const auto no_trash = [](const std::string&) { return false; };
  for (int round = 0; round < 2; ++round) MoveToTrash(folder.Write("x.IMP", std::to_string(round)), no_trash);
  EXPECT_EQ(ReadWholeFile(folder.File("Gelöscht/x.IMP")), "0");
  EXPECT_EQ(ReadWholeFile(folder.File("Gelöscht/1-x.IMP")), "1");
}

class UnmanagedSpecifications : public ManagedSpecifications {
 protected:
  UnmanagedSpecifications() : ManagedSpecifications(WizardComforts{}) {}
};

TEST_F(UnmanagedSpecifications, AreDeletedForGoodAndThereIsNothingElseToDoWithThem) {
  Add("A.IMP", "Kunden");
  OpenStep1();
  EXPECT_EQ(Page().findChild<QWidget*>("txtSearch"), nullptr);
  EXPECT_EQ(Page().findChild<QWidget*>("cmdRename"), nullptr);
  Select(0);
  ui.answers = {Answer::kYes};
  FindIn<QAction>(Page(), "mnuDelete").trigger();
  EXPECT_FALSE(FileExists(Path("A.IMP")));
  EXPECT_FALSE(FolderExists(folder.File("daten/Trash")));
}

// --- Recent ones ----------------------------------------------------------------------------------

TEST(RecentSpecifications, StandOnTopTheLatestFirstWithSourceTimeAndFigures) {
  std::vector<SpecificationEntry> entries = {{"A", "/s/a.IMP"}, {"B", "/s/b.IMP"}, {"C", "/s/c.IMP"}};
  const std::vector<SpecificationRun> runs = {
      RunOf("/s/c.IMP", "/q/kunden.txt", "2026-11-21 14:05:09", "", 1200, 1190, 10), RunOf("/s/weg.IMP"),
      RunOf("/s/b.IMP", "/q/b.txt", "2026-11-20 08:00:00", "zurückgenommen"),
      RunOf("/s/c.IMP", "", "2026-11-01 00:00:00")};
  const std::vector<QString> lines = PutRecentFirst(entries, runs);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(FromQt(lines[0]),
            "zuletzt 21.11.2026, 14:05 aus kunden.txt: 1.200 gelesen, 1.190 neu, 0 geändert, "
            "10 nicht gespeichert");
  EXPECT_EQ(FromQt(lines[1]),
            "zuletzt 20.11.2026, 08:00 aus b.txt (zurückgenommen): 0 gelesen, 0 neu, "
            "0 geändert, 0 nicht gespeichert");
  EXPECT_EQ(entries[0].description + entries[1].description + entries[2].description, "CBA");
}

TEST(RecentSpecifications, AreFiveAtMost) {
  std::vector<SpecificationEntry> entries;
  std::vector<SpecificationRun> runs;
  for (int i = 0; i < 9; ++i) {
    entries.push_back({std::to_string(i), "/s/" + std::to_string(i)});
    runs.push_back(RunOf(entries.back().path));
  }
  EXPECT_EQ(PutRecentFirst(entries, runs).size(), 5u);
}

TEST_F(ManagedSpecifications, ARecentOneOpensAsAnyOther) {
  Add("A.IMP", "Kunden");
  Add("B.IMP", "Lieferanten");
  Wizard recent(nullptr, {.recent_specifications = true},
                HostWithRuns([this] { return std::vector<SpecificationRun>{RunOf(Path("B.IMP"))}; }));
  recent.ShowStep1(SharedSession());
  auto& list = FindIn<QListWidget>(*recent.CurrentPage(), "lstVorlage");
  ASSERT_EQ(list.count(), 2);
  EXPECT_THAT(FromQt(list.item(0)->text()), ::testing::StartsWith("Lieferanten\n"));
  EXPECT_EQ(list.item(1)->text(), "Kunden");
  list.setCurrentRow(0);
  ClickOn(FindIn<QWidget>(*recent.CurrentPage(), "cmdNext"));
  EXPECT_EQ(session.ChosenSpecFile, Path("B.IMP"));
  recent.Abandon();
}

TEST_F(ManagedSpecifications, ALedgerThatFailsIsToldAndTheListIsThere) {
  Add("A.IMP", "Kunden");
  Wizard recent(nullptr, {.recent_specifications = true},
                HostWithRuns([]() -> std::vector<SpecificationRun> { throw RuntimeError(3000, "weg"); }));
  recent.ShowStep1(SharedSession());
  EXPECT_EQ(FindIn<QListWidget>(*recent.CurrentPage(), "lstVorlage").count(), 1);
  EXPECT_EQ(ui.boxes.size(), 1u);
  recent.Abandon();
}

// --- Saving under a name --------------------------------------------------------------------------

class SavedAs : public testing::WizardFixture {
 protected:
  explicit SavedAs(WizardComforts comforts = {.goes_on_with_saved = true, .save_as = true})
      : WizardFixture(comforts) {}

  void OpenWithTable(const char* file_name) {
    OpenStep3(TextSpecification(WriteSource(),
                                "[FieldAssignments]\nName=FIELD:Name\n[FieldTranslation]\nName=1\n"
                                "[Translation_Name]\nMüller 1=Meier\n"),
              file_name);
  }
  std::vector<std::string> ImportedNames() {
    std::vector<std::string> names;
    import_class->Method("ImportRecord", [&](std::span<Argument> arguments) {
      names.emplace_back(ToRecordset(arguments[0].Get())->TextAt(0));
      return Value();
    });
    modals.Then("frmQuestionDlg", [](QWidget& question) {
      ClickOn(FindIn<QWidget>(question, "optImport"));
      ClickOn(FindIn<QWidget>(question, "cmdOK"));
    });
    Click("cmdOK");
    return names;
  }
  std::string Of(const char* file, const char* section, const char* key) const {
    return GetIniString(JoinPath(session.SpecFolder, file), section, key, "(fehlt)");
  }
};

TEST_F(SavedAs, BehindATemplateTheWizardGoesOnWithTheNewSpecificationAndItsTranslations) {
  OpenWithTable("Muster.IMT");
  ui.replies = {"Neu"};
  Click("cmdSave");
  EXPECT_EQ(FileNameOfPath(session.ChosenSpecFile), "Neu.IMP");
  const ProfileEdit translation{"Translation_Name", "Müller 2", "Huber"};
  ProfileStore().Write(session.SpecFile, std::span(&translation, 1));
  ui.replies = {};
  Click("cmdSave");
  EXPECT_EQ(Of("Neu.IMP", "Translation_Name", "Müller 2"), "Huber") << "saved in place, no name is asked for";
  EXPECT_EQ(Of("Muster.IMT", "Translation_Name", "Müller 2"), "(fehlt)");
  EXPECT_THAT(ImportedNames(), ElementsAre("Meier", "Huber", "Müller 3"));
}

TEST_F(SavedAs, ACopyOfAnOpenedOneHasItsTranslationsAndTheOriginalIsAsItWas) {
  OpenWithTable("Test.IMP");
  const std::string original = ReadWholeFile(JoinPath(session.SpecFolder, "Test.IMP"));
  ui.replies = {"Kopie"};
  FindIn<QAction>(Page(), "mnuSaveAs").trigger();
  EXPECT_EQ(FileNameOfPath(session.ChosenSpecFile), "Kopie.IMP");
  EXPECT_EQ(Of("Kopie.IMP", "Common", "Description"), "Kopie");
  EXPECT_EQ(Of("Kopie.IMP", "Translation_Name", "Müller 1"), "Meier");
  EXPECT_EQ(Of("Kopie.IMP", "FieldAssignments", "Name"), "FIELD:Name");
  EXPECT_EQ(ReadWholeFile(JoinPath(session.SpecFolder, "Test.IMP")), original);
  EXPECT_THAT(ImportedNames(), ElementsAre("Meier", "Müller 2", "Müller 3"));
}

TEST_F(SavedAs, OnStep2TheCopyHoldsWhatThePageShows) {
  OpenStep2(TextSpecification(WriteSource()));
  Type("txtTexterkenner", "'");
  ui.replies = {"Kopie"};
  FindIn<QAction>(Page(), "mnuSaveAs").trigger();
  EXPECT_EQ(Of("Kopie.IMP", "Common", "TextRecognition"), "'");
  EXPECT_EQ(Find<QLabel>("lblStatus").text().toStdString(), "Die Einstellungen sind gespeichert.");
}

TEST_F(SavedAs, ANameThatIsTakenSavesNothing) {
  OpenWithTable("Test.IMP");
  ui.replies = {"Test"};
  FindIn<QAction>(Page(), "mnuSaveAs").trigger();
  EXPECT_EQ(FileNameOfPath(session.ChosenSpecFile), "Test.IMP");
  EXPECT_THAT(ui.boxes.back().text, HasSubstr("bereits vorhanden"));
}

class SavedExactly : public SavedAs {
 protected:
  SavedExactly() : SavedAs(WizardComforts{}) {}
};

TEST_F(SavedExactly, BehindATemplateTheWizardGoesOnWithTheTemplateAndThereIsNoCopy) {
  OpenWithTable("Muster.IMT");
  EXPECT_EQ(Page().findChild<QAction*>("mnuSaveAs"), nullptr);
  ui.replies = {"Neu"};
  Click("cmdSave");
  EXPECT_EQ(FileNameOfPath(session.ChosenSpecFile), "Muster.IMT");
}

}  // namespace
}  // namespace kestrel
