// The value editor over a server that takes its time: the windows stay alive, and nobody has to wait for it.
#include <QPushButton>
#include <QTableView>

#include "kestrel/open_connection.h"
#include "support/gate.h"
#include "support/sqlite_source_kind.h"
#include "wizard/frmTransTbl.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using testing::ClickOn;
using ::testing::ElementsAre;
using testing::FindIn;
using testing::Gate;
using ::testing::IsEmpty;

// What a kind of source opens with is a plain function.
Gate* slow_step = nullptr;

OpenedSource OpenSlowly(const SourceInputs& inputs, const ConnectionOpener& open) {
  slow_step->Pass();
  return testing::ConnectSqlite(inputs, open);
}

class SlowValueEditorTest : public testing::WizardFixture {
 protected:
  SlowValueEditorTest() {
    slow_step = gate.get();
    gate->Close();
    const ConnectionPtr data = OpenConnection(folder.File("k.sqlite"));
    data->Execute("CREATE TABLE Kunden (Name text, Gruppe text)");
    data->Execute("INSERT INTO Kunden VALUES ('Beck', 'B'), ('Amsel', 'A'), ('Star', 'B')");
    SourceKind kind = testing::SqliteSourceKind();
    kind.place = SourcePlace::kServer;
    kind.connect = OpenSlowly;
    kinds.Add(kind);
    session.platform.source_kinds = &kinds;
    UseSpecification("[Translation_Art]\nB=2\n");
    session.Provider = kind.name;
    session.Database = folder.File("k.sqlite");
    session.Table = "Kunden";
    editor.SetTranslationMode(kTranslationMode);
    editor.SetFieldName("Gruppe");
    editor.SetDestinationName("Art");
  }
  ~SlowValueEditorTest() override {
    gate->Open();
    session.platform.source_kinds = nullptr;
  }
  // The rows that the editor shows once it has come, behind whatever comes before.
  std::vector<std::string> RowsShown() {
    std::vector<std::string> rows;
    modals.Then("frmTransTbl", [&](QWidget& dialog) {
      const QAbstractItemModel& model = *FindIn<QTableView>(dialog, "tdbGridTransl").model();
      for (int row = 0; row < model.rowCount(); ++row) {
        rows.push_back(
            FromQt(model.index(row, 0).data().toString() + "=" + model.index(row, 1).data().toString()));
      }
      status = FromQt(FindIn<QLabel>(dialog, "lblStatus").text());
      ClickOn(FindIn<QWidget>(dialog, "cmdOK"));
    });
    editor.ShowModal(nullptr);
    return rows;
  }

  SourceKinds kinds;
  // The thread of an editor that has gone on may still stand in it.
  static inline const std::shared_ptr<Gate> gate = std::make_shared<Gate>();
  frmTransTbl editor{session};
  std::string status;
};

TEST_F(SlowValueEditorTest, TheWindowsAreAliveUntilItHasAnswered) {
  // The dialog can be acted in although nothing has been answered yet.
  modals.Then("readingDialog", [&](QWidget&) { gate->Open(); });
  EXPECT_THAT(RowsShown(), ElementsAre("B=2", "A="));
  EXPECT_THAT(ui.boxes, IsEmpty());
  EXPECT_EQ(session.SourceConnection, nullptr) << "it was read by a connection of its own";
}

TEST_F(SlowValueEditorTest, ASilentServerIsGivenUpAndTheTableCanStillBeTyped) {
  modals.Then("readingDialog", [](QWidget& dialog) { ClickOn(*dialog.findChild<QPushButton*>()); });
  EXPECT_THAT(RowsShown(), ElementsAre("="));
  EXPECT_EQ(status, "Die Werte wurden nicht gelesen. Sie können in der letzten Zeile eingetragen werden.");
}

TEST_F(SlowValueEditorTest, AServerThatCannotBeReachedIsTold) {
  gate->Open();
  session.Database = folder.File("weg/k.sqlite");
  EXPECT_THAT(RowsShown(), IsEmpty());
  ASSERT_EQ(ui.boxes.size(), 1u);
}

}  // namespace
}  // namespace kestrel
