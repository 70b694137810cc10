// What every page and dialog has in common: names, captions and tool tips to the letter, keyboard, screen
// readers, large fonts, remembered sizes.
#include <QAbstractScrollArea>
#include <QAccessible>
#include <QComboBox>
#include <QLineEdit>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QTableView>
#include <set>

#include "wizard/button_row.h"
#include "wizard/frmDrift.h"
#include "wizard/frmImport.h"
#include "wizard/frmPrev.h"
#include "wizard/frmQuestionDlg.h"
#include "wizard/frmStep1.h"
#include "wizard/frmStep2.h"
#include "wizard/frmStep3.h"
#include "wizard/frmTransTbl.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using testing::FindIn;
using testing::Spin;

struct ControlTexts {
  const char* page;
  const char* control;  // "" for the page itself
  const char* caption;
  const char* tool_tip = "";
};

const ControlTexts kTexts[] = {
    {"frmStep1", "", "KESTREL Import"},
    {"frmStep1", "optSchema", "Vorhandene Importe"},
    {"frmStep1", "optVorlage", "Neu aus Vorlage"},
    {"frmStep1", "cmdPrev", "Zurück"},
    {"frmStep1", "lstVorlage", "", "Auswahl aus Vorlage"},
    {"frmStep1", "cmdCancel", "Abbrechen", "Import abbrechen"},
    {"frmStep1", "cmdNext", "Weiter", "Weiter zu Schritt 2"},
    {"frmStep1", "Picture1", ""},
    {"frmStep1", "lblStepInfo", "Vorlage auswählen "},
    {"frmStep1", "lblStep", "Schritt 1"},
    {"frmStep1", "mnuPopup", "Popup"},

    {"frmStep2", "", "KESTREL Import"},
    {"frmStep2", "Picture1", ""},
    {"frmStep2", "Logo", ""},
    {"frmStep2", "lblStep", "Schritt 2"},
    {"frmStep2", "lblStepInfo", "Datenquelle auswählen"},
    {"frmStep2", "lblInfo", "Bitte wählen Sie nun die Datenquelle:"},
    {"frmStep2", "Label1", "Datenquellen-Typ:"},
    {"frmStep2", "cboDatenquelleTyp", ""},
    {"frmStep2", "fraFile", ""},
    {"frmStep2", "txtFilename", ""},
    {"frmStep2", "cmdFilename", "..."},
    {"frmStep2", "optTab", "Tabstop"},
    {"frmStep2", "optSemikolon", "Semikolon"},
    {"frmStep2", "optKomma", "Komma"},
    {"frmStep2", "optAnders", "Anderes"},
    {"frmStep2", "txtAnders", ""},
    {"frmStep2", "txtTexterkenner", ""},
    {"frmStep2", "chkZeileFeldname", "Erste Zeile enthält Feldnamen"},
    {"frmStep2", "optAnsi", "ANSI"},
    {"frmStep2", "optAscii", "ASCII"},
    {"frmStep2", "chkSichereDatei", "Datei vor dem Importieren sichern"},
    {"frmStep2", "lblSicherungspfad", "Sicherungspfad:"},
    {"frmStep2", "txtSicherungspfad", ""},
    {"frmStep2", "chkDateilöschen", "Datei nach erfolgreichem Import löschen"},
    {"frmStep2", "cmdVorschau", "Datenquelle testen"},
    {"frmStep2", "fraSQL", ""},
    {"frmStep2", "txtSQLServer", ""},
    {"frmStep2", "txtSQLUID", ""},
    {"frmStep2", "txtSQLKennwort", ""},
    {"frmStep2", "txtSQLDB", ""},
    {"frmStep2", "cboSQLTable", ""},
    {"frmStep2", "fraAccess", ""},
    {"frmStep2", "txtAccessDB", ""},
    {"frmStep2", "cmdAccessDB", "..."},
    {"frmStep2", "txtAccessBenutzer", ""},
    {"frmStep2", "txtAccessKennwort", ""},
    {"frmStep2", "cboAccessTable", ""},
    {"frmStep2", "fraExcel", ""},
    {"frmStep2", "txtExcelFile", ""},
    {"frmStep2", "cmdExcelFile", "..."},
    {"frmStep2", "cboExcelSheet", ""},
    {"frmStep2", "fradBase", ""},
    {"frmStep2", "txtdBaseFile", ""},
    {"frmStep2", "cmddBaseFile", "..."},
    {"frmStep2", "cbodBaseTable", ""},
    {"frmStep2", "cmdOptions", "Einstellungen", "Einstellungen anzeigen"},
    {"frmStep2", "cmdSave", "Speichern", "Einstellungen speichern"},
    {"frmStep2", "cmdPrev", "Zurück", "Zurück zu Schritt 1"},
    {"frmStep2", "cmdNext", "Weiter", "Weiter zu Schritt 3"},
    {"frmStep2", "cmdCancel", "Abbrechen", "Import abbrechen"},

    {"frmStep3", "", "KESTREL Import"},
    {"frmStep3", "lblStepInfo", "Felder zuordnen"},
    {"frmStep3", "lblStep", "Schritt 3"},
    {"frmStep3", "TDBImpList", ""},
    {"frmStep3", "Frame1", "*"},
    {"frmStep3", "optKeineZuweisung", "keine Zuweisung"},
    {"frmStep3", "optImportFeld", "Import-Feld:"},
    {"frmStep3", "cboImportFeld", ""},
    {"frmStep3", "optKonstanterWert", "Konstanter Wert:"},
    {"frmStep3", "txtKonstanterWert", ""},
    {"frmStep3", "cmdKonstanterWert", "..."},
    {"frmStep3", "chkUebersetzen", "Übersetzungstabelle verwenden"},
    {"frmStep3", "cmdUebersetzen", "Übersetzungstabelle bearbeiten"},
    {"frmStep3", "lblFormat", "Format:"},
    {"frmStep3", "cboDatumsFormat", ""},
    {"frmStep3", "cmdOptions", "Einstellungen", "Einstellungen anzeigen"},
    {"frmStep3", "cmdSave", "Speichern", "Einstellungen speichern"},
    {"frmStep3", "cmdPrev", "Zurück", "Zurück zu Schritt 2"},
    {"frmStep3", "cmdOK", "Fertigstellen", "Importvorgang starten"},
    {"frmStep3", "cmdCancel", "Abbrechen", "Import abbrechen"},

    {"frmQuestionDlg", "", "KESTREL Datenimport"},
    {"frmQuestionDlg", "cmdOK", "&OK"},
    {"frmQuestionDlg", "optTestMode", "Datenquelle testen"},
    {"frmQuestionDlg", "optImport", "Daten importieren"},
    {"frmQuestionDlg", "Label1",
     "Sie können nun die Daten importieren oder die Daten testen. Bitte sichern Sie vor dem Import ihre "
     "Datenbank!"},
    {"frmQuestionDlg", "Image1", ""},

    {"frmPrev", "TDBList1", ""},
    {"frmPrev", "txtPrev", ""},
    {"frmTransTbl", "tdbGridTransl", ""},
    {"frmTransTbl", "cmdOK", "OK"},
    {"frmTransTbl", "cmdCancel", "Abbrechen"},
    {"frmImport", "lblInfo", ""},
    {"frmImport", "ProgressBar", ""},

    {"frmDrift", "", "KESTREL Import"},
    {"frmDrift", "cmdPrev", "Zurück", "Zurück zur Datenquelle"},
    {"frmDrift", "cmdNext", "Weiter", "Weiter zu Schritt 3"},
};

QString CaptionOf(QWidget& widget) {
  if (const auto* button = qobject_cast<QAbstractButton*>(&widget)) return button->text();
  if (const auto* label = qobject_cast<QLabel*>(&widget)) return label->text();
  if (const auto* menu = qobject_cast<QMenu*>(&widget)) return menu->title();
  return widget.windowTitle();
}

class PagesTest : public testing::WizardFixture {
 protected:
  PagesTest() {
    // What the pages look at when they load.
    session.Provider = "Textdatei";
    session.Delimiter = ";";
    session.ColumnHeadings = true;
    session.FileFormat = "ANSI";
    session.FileName = WriteSource();
    session.ImportClassProgID = "test.import";
    session.ImportClass = import_class;
    UseSpecification(TextSpecification(session.FileName));
    WriteSpecification("Kunden.IMP", TextSpecification(session.FileName));
    wizard.ShowStep1(SharedSession());
    wizard.CurrentPage()->close();
    pages.push_back(std::make_unique<frmStep1>(job, wizard));
    pages.push_back(std::make_unique<frmStep2>(job, wizard));
    pages.push_back(std::make_unique<frmStep3>(job, wizard));
    pages.push_back(std::make_unique<frmQuestionDlg>(nullptr));
    pages.push_back(std::make_unique<frmPrev>(job, nullptr));
    pages.push_back(std::make_unique<frmTransTbl>(session));
    pages.push_back(std::make_unique<frmImport>(job, nullptr));
    Findings drift;
    drift.Warn({}, "Die Spalte 'Ort' fehlt jetzt.");
    pages.push_back(std::make_unique<frmDrift>(drift, nullptr));
  }

  QWidget& PageNamed(const QString& name) {
    for (const auto& page : pages) {
      if (page->objectName() == name) return *page;
    }
    throw std::runtime_error("no page " + name.toStdString());
  }
  // Whether the widget is a part of a control: the edit field and list of a box, headers and scroll bars.
  static bool IsPart(QWidget* widget) {
    for (QWidget* above = widget->parentWidget(); above != nullptr; above = above->parentWidget()) {
      if (qobject_cast<QComboBox*>(above) != nullptr || qobject_cast<QAbstractScrollArea*>(above) != nullptr) {
        return true;
      }
    }
    return false;
  }
  // The controls of a page that a person works with.
  static std::vector<QWidget*> Controls(QWidget& page) {
    std::vector<QWidget*> controls;
    for (QWidget* control : page.findChildren<QWidget*>()) {
      if (!IsPart(control) && control->focusPolicy() != Qt::NoFocus) controls.push_back(control);
    }
    return controls;
  }

  ImportJob job{session};
  std::vector<std::unique_ptr<QWidget>> pages;
};

TEST_F(PagesTest, EveryControlHasItsNameCaptionAndToolTip) {
  for (const ControlTexts& told : kTexts) {
    QWidget& page = PageNamed(told.page);
    QWidget& control = *told.control == '\0' ? page : FindIn<QWidget>(page, told.control);
    const std::string where = std::string(told.page) + "." + told.control;
    if (std::string(told.caption) != "*") {
      EXPECT_EQ(FromQt(CaptionOf(control)), told.caption) << where;
    }
    if (*told.tool_tip != '\0') {
      EXPECT_EQ(FromQt(control.toolTip()), told.tool_tip) << where;
    }
  }
}

TEST_F(PagesTest, TheMenuOfTheListHasOneEntry) {
  const auto actions = FindIn<QMenu>(PageNamed("frmStep1"), "mnuPopup").actions();
  ASSERT_EQ(actions.size(), 1);
  EXPECT_EQ(actions[0]->objectName(), "mnuDelete");
  EXPECT_EQ(actions[0]->text(), "Löschen");
}

TEST_F(PagesTest, LabelsOfInputsReadAsTold) {
  const std::vector<std::pair<const char*, const char*>> told = {{"txtFilename", "Dateiname:"},
                                                                 {"optTab", "getrennt durch:"},
                                                                 {"txtTexterkenner", "Texterkenner:"},
                                                                 {"txtSicherungspfad", "Sicherungspfad:"},
                                                                 {"txtSQLServer", "Server:"},
                                                                 {"txtSQLUID", "UID:"},
                                                                 {"txtSQLKennwort", "Kennwort:"},
                                                                 {"txtSQLDB", "Datenbank"},
                                                                 {"cboSQLTable", "Tabelle / Abfrage:"},
                                                                 {"txtAccessDB", "Datenbank:"},
                                                                 {"txtAccessBenutzer", "Benutzer:"},
                                                                 {"txtAccessKennwort", "Kennwort:"},
                                                                 {"cboAccessTable", "Tabelle / Abfrage:"},
                                                                 {"txtExcelFile", "Datei:"},
                                                                 {"cboExcelSheet", "Tabelle:"},
                                                                 {"txtdBaseFile", "Pfad:"},
                                                                 {"cbodBaseTable", "Tabelle:"}};
  for (const auto& [control, text] : told) {
    QWidget& page = PageNamed("frmStep2");
    QString found;
    for (const QLabel* label : page.findChildren<QLabel*>()) {
      if (label->buddy() == &FindIn<QWidget>(page, control)) found = label->text();
    }
    EXPECT_EQ(FromQt(found), text) << control;
  }
}

TEST_F(PagesTest, EveryControlHasANameForAScreenReader) {
  for (const auto& page : pages) {
    for (QWidget* control : Controls(*page)) {
      QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(control);
      ASSERT_NE(accessible, nullptr);
      EXPECT_NE(accessible->text(QAccessible::Name), "")
          << FromQt(page->objectName()) << "." << FromQt(control->objectName());
    }
  }
}

TEST_F(PagesTest, AButtonIsReadByItsCaptionUnlessThatSaysNothing) {
  for (const auto& page : pages) {
    for (const auto* button : page->findChildren<QAbstractButton*>()) {
      if (button->objectName().isEmpty() || button->text().isEmpty()) continue;
      if (button->text() == "...") {
        EXPECT_NE(button->accessibleName(), "") << FromQt(button->objectName());
      } else {
        EXPECT_EQ(button->accessibleName(), "") << FromQt(button->objectName());
      }
    }
  }
}

TEST_F(PagesTest, NoTwoControlsOfAPageShareAShortcut) {
  for (const auto& page : pages) {
    std::set<QString> keys;
    for (const auto* button : page->findChildren<QAbstractButton*>()) {
      if (button->shortcut().isEmpty()) continue;
      EXPECT_TRUE(keys.insert(button->shortcut().toString()).second)
          << FromQt(page->objectName()) << ": " << FromQt(button->shortcut().toString());
    }
  }
}

TEST_F(PagesTest, TheTabKeyWalksThroughAPageInTheOrderItIsRead) {
  const std::vector<std::pair<const char*, std::vector<const char*>>> orders = {
      {"frmStep1", {"optSchema", "lstVorlage", "cmdPrev", "cmdNext", "cmdCancel"}},
      {"frmStep2",
       {"cboDatenquelleTyp", "txtFilename", "cmdFilename", "optSemikolon", "txtAnders", "txtTexterkenner",
        "chkZeileFeldname", "optAnsi", "chkSichereDatei", "chkDateilöschen", "cmdVorschau", "cmdOptions",
        "cmdSave", "cmdPrev", "cmdNext", "cmdCancel"}},
      {"frmStep3",
       {"TDBImpList", "optKeineZuweisung", "cboImportFeld", "chkUebersetzen", "txtKonstanterWert",
        "cmdKonstanterWert", "cmdOptions", "cmdSave", "cmdPrev", "cmdOK", "cmdCancel"}}};
  for (const auto& [name, order] : orders) {
    QWidget& page = PageNamed(name);
    page.show();
    page.activateWindow();
    Spin();
    FindIn<QWidget>(page, order.front()).setFocus();
    for (std::size_t i = 1; i < order.size(); ++i) {
      QTest::keyClick(page.focusWidget(), Qt::Key_Tab);
      EXPECT_EQ(FromQt(page.focusWidget()->objectName()), order[i]) << name;
    }
    page.hide();
  }
}

TEST_F(PagesTest, NothingIsCutWithALargerFont) {
  const QFont normal = QApplication::font();
  QFont large = normal;
  large.setPointSizeF(normal.pointSizeF() * 1.25);
  QApplication::setFont(large);
  for (const auto& page : pages) {
    page->show();
    Spin();
    page->resize(page->minimumSizeHint());
    Spin();
    for (QWidget* control : page->findChildren<QWidget*>()) {
      const bool has_text = qobject_cast<QAbstractButton*>(control) != nullptr ||
                            qobject_cast<QLineEdit*>(control) != nullptr ||
                            qobject_cast<QComboBox*>(control) != nullptr;
      const bool is_plain_label = qobject_cast<QLabel*>(control) != nullptr &&
                                  !static_cast<QLabel*>(control)->wordWrap() &&
                                  static_cast<QLabel*>(control)->pixmap(Qt::ReturnByValue).isNull();
      if (!control->isVisible() || IsPart(control) || (!has_text && !is_plain_label)) continue;
      const std::string where = FromQt(page->objectName() + "." + control->objectName());
      EXPECT_GE(control->height(), control->minimumSizeHint().height()) << where;
      if (const auto* button = qobject_cast<QAbstractButton*>(control); button && button->text() == "...") {
        // Narrower than buttons are by habit, but not than its text.
        EXPECT_GT(button->width(), 2 * button->fontMetrics().horizontalAdvance("...")) << where;
      } else {
        EXPECT_GE(control->width(), control->minimumSizeHint().width()) << where;
      }
    }
    page->hide();
  }
  QApplication::setFont(normal);
}

TEST_F(PagesTest, ButtonsOfARowAreOfOneWidthAndLeaveAirAroundTheirCaptions) {
  for (const auto& page : pages) {
    for (const auto* row : page->findChildren<ButtonRow*>()) {
      std::set<int> widths;
      for (const auto* button : row->findChildren<CaptionButton*>()) {
        widths.insert(button->sizeHint().width());
        EXPECT_GT(button->sizeHint().width(), button->QPushButton::sizeHint().width())
            << FromQt(page->objectName() + "." + button->objectName());
      }
      EXPECT_EQ(widths.size(), 1u) << FromQt(page->objectName());
    }
  }
}

TEST_F(PagesTest, TheChosenKindOfSourceIsReadToItsEnd) {
  OpenStep2(TextSpecification(session.FileName));
  const auto& kinds = Find<QComboBox>("cboDatenquelleTyp");
  for (int kind = 0; kind < kinds.count(); ++kind) {
    EXPECT_GT(kinds.width(), kinds.fontMetrics().horizontalAdvance(kinds.itemText(kind))) << kind;
  }
}

TEST_F(PagesTest, AWindowRemembersItsSize) {
  OpenStep1();
  Page().resize(701, 533);
  Click("cmdCancel");
  OpenStep1();
  EXPECT_EQ(Page().size(), QSize(701, 533));
}

TEST_F(PagesTest, ALongPathElidesInTheMiddleAndStandsInTheToolTip) {
  PathEdit edit;
  const QString path = "/" + QString("ordner/").repeated(60) + "kunden.txt";
  edit.setText(path);
  edit.resize(200, edit.sizeHint().height());
  EXPECT_EQ(edit.toolTip(), path);
  // The end of the path is seen without the focus: two paths that differ only there look different.
  const QImage first = edit.grab().toImage();
  edit.setText(path + "x");
  EXPECT_NE(edit.grab().toImage(), first);
  EXPECT_EQ(edit.text(), path + "x");
}

}  // namespace
}  // namespace kestrel
