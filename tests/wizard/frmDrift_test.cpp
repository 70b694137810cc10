// What step 2 tells of columns that are not what they were, before it goes on to step 3.
#include "wizard/frmDrift.h"

#include <sys/stat.h>

#include <QListWidget>
#include <QTableView>
#include <functional>

#include "support/temp_folder.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using testing::FindIn;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

// Remembers "Orte", which WriteSource calls "Ort".
constexpr const char* kRemembering =
    "[FieldAssignments]\nName=FIELD:Name\nOrt=FIELD:Orte\nDatum=NOTASSIGNED\n"
    "[SourceColumns]\nCount=4\n1=\"Name\"\n2=\"Orte\"\n3=\"Datum\"\n4=\"Gruppe\"\n";
constexpr const char* kTold =
    "Die Spalte 'Orte' heißt jetzt 'Ort'? Sie ist zugeordnet: Ort. Ordnen Sie neu zu.";

class DriftTest : public testing::WizardFixture {
 protected:
  explicit DriftTest(WizardComforts comforts = {.column_drift = true}) : WizardFixture(comforts) {}

  // Step 2 of a specification whose source has changed.
  void Open(const char* remembering = kRemembering) {
    OpenStep2(TextSpecification(WriteSource(), remembering));
    ASSERT_EQ(PageName(), "frmStep2");
  }
  static std::vector<std::string> Lines(QWidget& dialog) {
    std::vector<std::string> lines;
    const auto& list = FindIn<QListWidget>(dialog, "lstDrift");
    for (int i = 0; i < list.count(); ++i) lines.push_back(FromQt(list.item(i)->text()));
    return lines;
  }
  static bool HasBox(QWidget& dialog, int line) {
    return FindIn<QListWidget>(dialog, "lstDrift").item(line)->data(Qt::CheckStateRole).isValid();
  }
  // Presses "Weiter" of step 2; `look` sees the dialog, which `button` closes.
  void GoOn(
      const char* button, std::function<void(QWidget&)> look = [](QWidget&) {}) {
    modals.Then("frmDrift", [look, button](QWidget& dialog) {
      look(dialog);
      testing::ClickOn(FindIn<QWidget>(dialog, button));
    });
    Click("cmdNext");
    EXPECT_TRUE(modals.Done());
  }
  // What step 3 shows behind the fields.
  std::vector<std::string> Assigned() const {
    std::vector<std::string> assigned;
    const auto& model = *Find<QTableView>("TDBImpList").model();
    for (int row = 0; row < model.rowCount(); ++row) {
      assigned.push_back(FromQt(model.index(row, kDspDestinationName).data().toString()));
    }
    return assigned;
  }
};

TEST_F(DriftTest, ItIsToldBeforeStep3AndThePersonCanGoOn) {
  Open();
  GoOn("cmdNext", [](QWidget& dialog) {
    EXPECT_THAT(Lines(dialog), ElementsAre(kTold));
    EXPECT_TRUE(HasBox(dialog, 0));
    EXPECT_TRUE(FindIn<QWidget>(dialog, "lblHint").isVisible());
  });
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_THAT(Assigned(), ElementsAre("«Name»", "", "")) << "nothing is taken over unasked";
  EXPECT_FALSE(session.SchemaChanged);
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(DriftTest, ANameThatIsTickedIsTakenOverIntoTheAssignmentAndSavedOnDemandOnly) {
  Open();
  const std::string saved = testing::ReadBytes(session.ChosenSpecFile);
  GoOn("cmdNext", [](QWidget& dialog) {
    auto& list = FindIn<QListWidget>(dialog, "lstDrift");
    EXPECT_EQ(list.item(0)->checkState(), Qt::Unchecked);
    QTest::keyClick(&list, Qt::Key_Space);
  });
  EXPECT_THAT(Assigned(), ElementsAre("«Name»", "«Ort»", ""));
  EXPECT_TRUE(session.SchemaChanged);
  EXPECT_EQ(testing::ReadBytes(session.ChosenSpecFile), saved);
  Click("cmdPrev");
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep3") << "it is not told again";
  Click("cmdSave");
  EXPECT_THAT(testing::ReadBytes(session.ChosenSpecFile),
              AllOf(HasSubstr("Ort=FIELD:Ort\r\n"), HasSubstr("2=\"Ort\"\r\n"), Not(HasSubstr("Orte"))));
}

TEST_F(DriftTest, BackAndEscapeStayOnStep2) {
  Open();
  GoOn("cmdPrev");
  EXPECT_EQ(PageName(), "frmStep2");
  modals.Then("frmDrift", [](QWidget& dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); });
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep2");
  GoOn("cmdNext");
  EXPECT_EQ(PageName(), "frmStep3");
}

TEST_F(DriftTest, AColumnWithoutASuccessorHasNothingToTick) {
  Open("[FieldAssignments]\nName=FIELD:Name\n[SourceColumns]\nCount=2\n1=\"Name\"\n2=\"Telefon\"\n");
  GoOn("cmdNext", [](QWidget& dialog) {
    EXPECT_THAT(Lines(dialog), ElementsAre("Die Spalte 'Telefon' fehlt jetzt."));
    EXPECT_FALSE(HasBox(dialog, 0));
    EXPECT_FALSE(FindIn<QWidget>(dialog, "lblHint").isVisible());
  });
}

TEST_F(DriftTest, ColumnsThatFieldsReadStandFirstAndJustTheTickedOneIsTakenOver) {
  Open(
      "[FieldAssignments]\nName=FIELD:Namen\nOrt=FIELD:Orte\n[SourceColumns]\nCount=4\n1=\"Gruppen\"\n"
      "2=\"Namen\"\n3=\"Orte\"\n4=\"Datum\"\n");
  GoOn("cmdNext", [](QWidget& dialog) {
    EXPECT_THAT(Lines(dialog), ElementsAre("Die Spalte 'Namen' heißt jetzt 'Name'? Sie ist zugeordnet: Name. "
                                           "Ordnen Sie neu zu.",
                                           kTold, "Die Spalte 'Gruppen' heißt jetzt 'Gruppe'?"));
    FindIn<QListWidget>(dialog, "lstDrift").item(1)->setCheckState(Qt::Checked);
  });
  EXPECT_THAT(Assigned(), ElementsAre("", "«Ort»", ""));
}

TEST_F(DriftTest, WhatSavingOnStep3RemembersIsNoDriftTheNextTime) {
  OpenStep3(TextSpecification(WriteSource()) + "[FieldAssignments]\nName=FIELD:Name\nOrt=FIELD:Ort\n");
  Click("cmdSave");
  const std::string saved = testing::ReadBytes(session.ChosenSpecFile);
  EXPECT_THAT(saved, HasSubstr("[SourceColumns]\r\nCount=4\r\n1=\"Name\"\r\n2=\"Ort\"\r\n3=\"Datum\"\r\n"
                               "4=\"Gruppe\"\r\n"));
  Click("cmdCancel");
  OpenStep1();
  Find<QListWidget>("lstVorlage").setCurrentRow(0);
  Click("cmdNext");
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep3");
}

TEST_F(DriftTest, TheSourceThatThePageNamesIsMeantNotTheStoredOne) {
  Open();
  Type("txtFilename", folder.Write("alt.txt", "Name;Orte;Datum;Gruppe\r\nMeier;Ulm;;\r\n").c_str());
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_THAT(Assigned(), ElementsAre("«Name»", "«Orte»", ""));
}

TEST_F(DriftTest, ASourceThatCannotBeReadIsToldOnceAndKeepsThePage) {
  Open();
  const std::string pipe = folder.File("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  Type("txtFilename", pipe.c_str());
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep2");
  ASSERT_EQ(ui.boxes.size(), 1u);
  EXPECT_THAT(ui.boxes[0].text, HasSubstr(pipe));
}

TEST_F(DriftTest, AnEmptyFileNameGoesOnToStep3WhereNothingIsRemembered) {
  OpenStep2(TextSpecification(""));
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep3");
}

class WithoutDriftTest : public DriftTest {
 protected:
  WithoutDriftTest() : DriftTest(WizardComforts{}) {}
};

TEST_F(WithoutDriftTest, Step3IsShownAtOnce) {
  Open();
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_THAT(Assigned(), ElementsAre("«Name»", "", ""));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

}  // namespace
}  // namespace kestrel
