// The sample host's window, opened on a fresh database.
#pragma once

#include <QLabel>
#include <QTableView>
#include <QTest>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "app/host_window.h"
#include "host/ledger_fixture.h"
#include "platform/dialogs/recording_user_interface.h"

namespace kestrel::testing {

class HostWindowFixture : public LedgerFixture {
 protected:
  HostWindowFixture() { qputenv("KESTREL_HOME", folder.path().c_str()); }

  void AddCustomer(const char* number, const char* name, const char* place, const char* since = "") {
    ASSERT_EQ(
        Import(Importer(), {{"KundenNummer", number}, {"Bez1", name}, {"Ort", place}, {"KundeSeit", since}}),
        "");
  }

  void Open() {
    // Imports are stored in groups; the window reads what is committed, over the same connection.
    window = std::make_unique<host::HostWindow>(ui, components, connection, "4711");
    window->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
  }

  template <class Control>
  Control& Find(const char* page, const char* name) {
    auto* owner = window->findChild<QWidget*>(page);
    auto* control = owner == nullptr ? nullptr : owner->findChild<Control*>(name);
    if (control == nullptr) throw std::runtime_error(std::string("no control ") + page + "/" + name);
    return *control;
  }

  // The texts of one column of a page's table, by its heading.
  std::vector<std::string> Column(const char* page, const QString& heading) {
    std::vector<std::string> texts;
    const QAbstractItemModel& model = *Find<QTableView>(page, "table").model();
    for (int column = 0; column < model.columnCount(); ++column) {
      if (model.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString() != heading) continue;
      for (int row = 0; row < model.rowCount(); ++row) {
        texts.push_back(model.index(row, column).data().toString().toStdString());
      }
    }
    return texts;
  }

  static bool Eventually(const std::function<bool()>& condition) { return QTest::qWaitFor(condition, 5000); }

  RecordingUserInterface ui;
  std::unique_ptr<host::HostWindow> window;
};

}  // namespace kestrel::testing
