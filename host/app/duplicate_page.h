// The records that imports held back as suspected duplicates, and below the list the one that is chosen beside the
// address it repeats, with the two decisions a person can make.
#pragma once

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <cstdint>
#include <string>

#include "app/log_list.h"
#include "kestrel/component_registry.h"
#include "kestrel/connection.h"
#include "wizard/event_guard.h"

namespace kestrel::host {

class DuplicatePage final : public QWidget {
  Q_OBJECT
 public:
  // Works through the components kestrelhost.LogReader and kestrelhost.HeldBackRecords. The registry outlives the
  // page. `personal_nr` is the user at work.
  DuplicatePage(ComponentRegistry& components, ConnectionPtr connection, std::string personal_nr,
                QWidget* parent);

  void Refresh() { list_->Refresh(); }

 signals:
  // Something was decided, and perhaps stored.
  void Decided();

 private:
  QWidget* BuildComparison();
  RecordsetPtr ReadList(bool only_last, std::int64_t limit) const;
  void ShowChosen();
  void ShowComparison(Recordset& rows);
  QString WhatItRepeats() const;
  void ImportAnyway();
  void Discard();
  void TellDecision(const QString& record, const Value& decision);
  ObjectPtr Records() const;
  std::int64_t ChosenKey() const { return list_->Chosen("Zeile").toLongLong(); }

  ComponentRegistry& components_;
  ConnectionPtr connection_;
  const std::string personal_nr_;
  QCheckBox* only_open_;
  LogList* list_;
  QLabel* title_;
  QTableWidget* fields_;
  QLabel* status_;
  QPushButton* import_;
  QPushButton* discard_;
  EventGuard guard_;
};

}  // namespace kestrel::host
