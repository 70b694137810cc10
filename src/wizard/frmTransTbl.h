// The value editor: the translation table of one field, or the choice of a constant.
#pragma once

#include <QDialog>
#include <QLabel>
#include <QPushButton>
#include <QStandardItemModel>
#include <QTableView>
#include <QTimer>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "component/session.h"
#include "mapping/translation.h"
#include "wizard/event_guard.h"
#include "wizard/permitted_value_delegate.h"

namespace kestrel {

inline constexpr std::int16_t kTranslationMode = 1;
inline constexpr std::int16_t kConstantsMode = 2;

// One shared instance: set its properties, show it modally, read ReturnValue. It is hidden afterwards.
class frmTransTbl final : public QDialog {
  Q_OBJECT
 public:
  // `checks`: says as well what could not be saved before that is asked for.
  explicit frmTransTbl(Session& session, bool checks = false);

  std::int16_t TranslationMode() const { return translation_mode_; }
  void SetTranslationMode(std::int16_t mode) { translation_mode_ = mode; }
  void SetFieldName(std::string name) { field_name_ = std::move(name); }
  void SetDestinationName(std::string name) { destination_name_ = std::move(name); }
  void SetRowSource(std::string row_source) { row_source_ = std::move(row_source); }
  void SetRowSourceTyp(std::string row_source_typ) { row_source_typ_ = std::move(row_source_typ); }
  // The constant that the field has now, which is the one that is chosen at first.
  void SetPresentConstant(std::string constant) { present_constant_ = std::move(constant); }
  // The constant chosen in constants mode; empty until one was chosen.
  const std::string& ReturnValue() const { return return_value_; }

  // Fills the grid and waits until the dialog has closed. True where it was closed with its OK button, or the
  // changes were saved when it was closed in another way.
  bool ShowModal(QWidget* above);

 protected:
  bool event(QEvent* event) override;
  // Abbrechen, Escape and the close box: asks whether to save.
  void reject() override;

 private:
  void FillTranslations();
  void FillConstants();
  // Those of the source column, in another thread where a server is asked.
  DistinctValues ReadValues();
  void AppendEmptyRow();
  void Edited(QStandardItem* item);
  // Tells a screen reader the meaning of a translation, as the cell shows it.
  void NameTranslation(QStandardItem* item);
  void cmdOK_Click();
  // Writes the table, or takes the selected constant. False where the table could not be written as it was
  // typed: the reason has been shown, and the dialog stays open with everything in it.
  bool Save();
  void TellNotSaved(const std::string& reason);
  std::vector<TranslationRow> Rows() const;
  void Check();
  // What is told of the table as a whole stays, below what is wrong with an entry.
  void Tell(const QString& notice);

  Session& session_;
  EventGuard guard_;
  std::int16_t translation_mode_ = kTranslationMode;
  std::string field_name_;
  std::string destination_name_;
  std::string row_source_;
  std::string row_source_typ_;
  std::string present_constant_;
  std::string return_value_;
  bool saved_ = false;
  bool grows_ = false;  // entries can be typed in behind the last row
  QString notice_;

  QStandardItemModel model_;
  std::unique_ptr<PermittedValueDelegate> permitted_;  // of the translations that are shown
  QTableView* tdbGridTransl_;
  QLabel* lblStatus_;
  QPushButton* cmdOK_;
  QPushButton* cmdCancel_;
  QTimer check_;
};

}  // namespace kestrel
