// The settings of one import that its import class understands: what counts as a duplicate, and what may be changed.
#pragma once

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/component_registry.h"
#include "platform/profile/profile.h"
#include "wizard/event_guard.h"

namespace kestrel::host {

// A list with which addresses can be compared.
struct ComparedList {
  QString title;
  std::int64_t address_type = 0;  // its bit of AddresstypeCode
};

// Shows section CfgSettings of a specification and writes what was changed into it; all else stays as it stands.
class ImportSettingsDialog final : public QDialog {
  Q_OBJECT
 public:
  // `table` is the one that is imported into. Raises what keeps the file from being read.
  ImportSettingsDialog(std::string specification, std::string_view table, std::vector<ComparedList> lists,
                       QWidget* parent);

 protected:
  // What cannot be stored is told, and the dialog stays open.
  void accept() override;

 private:
  struct Switch {
    std::string key;
    QCheckBox* box;
  };
  QCheckBox* AddSwitch(const std::string& key, const char* object_name, const QString& caption);
  QWidget* BuildKeys();
  QWidget* BuildLists();
  QWidget* BuildRange();
  void EnableByCheck();
  std::string Stored(std::string_view key, std::string_view fallback) const;
  std::string Mask() const;
  void Save();

  EventGuard guard_;
  std::string specification_;
  std::string table_;
  std::vector<ComparedList> compared_;
  std::shared_ptr<const ProfileImage> stored_;
  std::vector<Switch> switches_;
  QCheckBox* check_;
  QWidget* keys_;
  QWidget* lists_;
  std::vector<QCheckBox*> list_boxes_;  // one for each of compared_
  QLineEdit* threshold_;
  QLineEdit* range_begin_;
  QLineEdit* range_end_;
  QLabel* status_;
};

// Registers the object "kestrelhost.ImportSettings", whose method Show(specification, table) shows the dialog above
// `window` and returns when it has closed. The import classes find it by that name.
void RegisterImportSettings(ComponentRegistry& components, QWidget* window, std::vector<ComparedList> lists);

}  // namespace kestrel::host
