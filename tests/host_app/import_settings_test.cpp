// "Einstellungen" of the sample import classes: what the dialog shows of section CfgSettings, and what it writes.
#include "app/import_settings.h"

#include <QLabel>
#include <QPushButton>

#include "host_app/host_window_fixture.h"
#include "platform/base/file.h"
#include "qt/drive.h"

namespace kestrel::testing {
namespace {

using ::testing::HasSubstr;

class ImportSettingsTest : public HostWindowFixture {
 protected:
  void Use(const std::string& settings) {
    specification = folder.Write("Test.IMP", "[Common]\r\nDescription=x\r\n[CfgSettings]\r\n" + settings);
    dialog = std::make_unique<host::ImportSettingsDialog>(specification, "Kunden", Lists(), nullptr);
    dialog->show();
  }
  static std::vector<host::ComparedList> Lists() {
    return {{"Kunden", 1}, {"Interessenten", 8}, {"Lieferanten", 32}};
  }
  QCheckBox& Box(const char* name) { return FindIn<QCheckBox>(*dialog, name); }
  std::string Stored() { return ReadWholeFile(specification); }
  void Press(const char* button) { FindIn<QPushButton>(*dialog, button).click(); }

  std::string specification;
  std::unique_ptr<host::ImportSettingsDialog> dialog;
};

TEST_F(ImportSettingsTest, ShowsWhatTheSpecificationHolds) {
  Use("DublettenPruefen=1\r\nAddresstypeCode=33\r\nDublettenKey2=1\r\nKundenUeberschreiben=1\r\n"
      "DublettenSchwelle=85\r\n");
  EXPECT_TRUE(Box("chkDublettenPruefen").isChecked());
  EXPECT_FALSE(Box("chkDublettenKey1").isChecked());
  EXPECT_TRUE(Box("chkDublettenKey2").isChecked());
  EXPECT_TRUE(Box("chkUeberschreiben").isChecked());
  EXPECT_TRUE(Box("chkArt1").isChecked());
  EXPECT_FALSE(Box("chkArt8").isChecked());
  EXPECT_TRUE(Box("chkArt32").isChecked());
  EXPECT_EQ(FindIn<QLineEdit>(*dialog, "txtSchwelle").text(), "85");
}

TEST_F(ImportSettingsTest, OfAnotherApplicationsTableWritesTheKeyThatItsImportAsksFor) {
  Use("DublettenPruefen=0\r\n");
  dialog = std::make_unique<host::ImportSettingsDialog>(
      specification, "crm.Kunde 1", std::vector<host::ComparedList>{{"kunden", 1}, {"haendler", 2}}, nullptr);
  dialog->show();
  EXPECT_EQ(FindIn<QCheckBox>(*dialog, "chkArt2").text(), "haendler");
  EXPECT_EQ(dialog->findChild<QCheckBox*>("chkArt8"), nullptr);
  Box("chkUeberschreiben").setChecked(true);
  Press("cmdOK");
  EXPECT_THAT(Stored(), HasSubstr("\r\ncrmKunde1Ueberschreiben=1\r\n"));
}

TEST_F(ImportSettingsTest, WritesOnlyWhatWasChanged) {
  Use("DublettenPruefen=1\r\nAddresstypeCode=65\r\nDublettenKey1=1\r\nDublettenKey3=ja\r\n");
  const std::string before = Stored();
  Press("cmdOK");
  EXPECT_EQ(Stored(), before);
  Use("DublettenPruefen=1\r\nAddresstypeCode=65\r\nDublettenKey1=1\r\nDublettenKey3=ja\r\n");
  Box("chkArt8").setChecked(true);
  Box("chkUeberschreiben").setChecked(true);
  FindIn<QLineEdit>(*dialog, "txtSchwelle").setText("72,5");
  Press("cmdOK");
  EXPECT_FALSE(dialog->isVisible());
  EXPECT_EQ(Stored(),
            "[Common]\r\nDescription=x\r\n[CfgSettings]\r\nDublettenPruefen=1\r\nAddresstypeCode=73\r\n"
            "DublettenKey1=1\r\nDublettenKey3=ja\r\nKundenUeberschreiben=1\r\nDublettenSchwelle=72,5\r\n")
      << "a bit that the dialog does not know stays";
}

TEST_F(ImportSettingsTest, AbbrechenWritesNothing) {
  Use("DublettenPruefen=0\r\n");
  const std::string before = Stored();
  Box("chkUeberschreiben").setChecked(true);
  Press("cmdCancel");
  EXPECT_EQ(Stored(), before);
}

TEST_F(ImportSettingsTest, TheNumberRangeIsShownWrittenAndTakenAway) {
  Use("KundenNummernVon=500\r\nKundenNummernBis=599\r\n");
  auto& begin = FindIn<QLineEdit>(*dialog, "txtNummernVon");
  auto& end = FindIn<QLineEdit>(*dialog, "txtNummernBis");
  EXPECT_EQ(begin.text(), "500");
  EXPECT_EQ(end.text(), "599");
  end.setText("499");
  Press("cmdOK");
  EXPECT_TRUE(dialog->isVisible());
  EXPECT_THAT(FindIn<QLabel>(*dialog, "lblStatus").text().toStdString(),
              HasSubstr("die erste und die letzte Nummer"));
  end.setText("699");
  Press("cmdOK");
  EXPECT_FALSE(dialog->isVisible());
  EXPECT_THAT(Stored(), HasSubstr("KundenNummernVon=500\r\nKundenNummernBis=699\r\n"));
  Use("KundenNummernVon=500\r\nKundenNummernBis=599\r\n");
  FindIn<QLineEdit>(*dialog, "txtNummernVon").clear();
  FindIn<QLineEdit>(*dialog, "txtNummernBis").clear();
  Press("cmdOK");
  EXPECT_THAT(Stored(), HasSubstr("KundenNummernVon=\r\nKundenNummernBis=\r\n"));
}

TEST_F(ImportSettingsTest, WhatCannotBeIsToldAndTheDialogStays) {
  Use("DublettenPruefen=0\r\n");
  const std::string before = Stored();
  Box("chkDublettenPruefen").setChecked(true);
  Press("cmdOK");
  EXPECT_TRUE(dialog->isVisible());
  EXPECT_THAT(FindIn<QLabel>(*dialog, "lblStatus").text().toStdString(), HasSubstr("womit verglichen wird"));
  Box("chkDublettenPruefen").setChecked(false);
  FindIn<QLineEdit>(*dialog, "txtSchwelle").setText("101");
  Press("cmdOK");
  EXPECT_TRUE(dialog->isVisible());
  EXPECT_THAT(FindIn<QLabel>(*dialog, "lblStatus").text().toStdString(), HasSubstr("0 bis 100"));
  EXPECT_EQ(Stored(), before);
}

TEST_F(ImportSettingsTest, TheKeysCanBeChosenOnlyWhereDuplicatesAreLookedFor) {
  Use("DublettenPruefen=0\r\n");
  EXPECT_FALSE(Box("chkDublettenKey1").isEnabled());
  Box("chkDublettenPruefen").setChecked(true);
  EXPECT_TRUE(Box("chkDublettenKey1").isEnabled());
}

TEST_F(ImportSettingsTest, AnImportClassShowsThemWhereThereIsAWindow) {
  const ObjectPtr importer = Importer();
  EXPECT_FALSE(GetProperty(importer, "HasConfig").ToBool()) << "no window has brought the dialog";
  Open();
  EXPECT_TRUE(GetProperty(importer, "HasConfig").ToBool());
  specification = folder.Write("Test.IMP", "[CfgSettings]\r\n");
  LetProperty(importer, "SpecificationFile", specification);
  ModalDriver modals([](const std::string& complaint) { ADD_FAILURE() << complaint; });
  modals.Then("importSettings", [](QWidget& shown) {
    FindIn<QCheckBox>(shown, "chkUeberschreiben").setChecked(true);
    FindIn<QPushButton>(shown, "cmdOK").click();
  });
  CallMethod(importer, "ShowConfig");
  EXPECT_EQ(Stored(), "[CfgSettings]\r\nKundenUeberschreiben=1\r\n");
}

}  // namespace
}  // namespace kestrel::testing
