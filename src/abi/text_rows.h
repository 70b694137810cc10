// Lists that are handed out as record sets of texts.
#pragma once

#include <initializer_list>
#include <memory>
#include <string_view>

#include "kestrel/memory_recordset.h"

namespace kestrel::abi {

class TextRows {
 public:
  explicit TextRows(std::initializer_list<const char*> columns) {
    for (const char* column : columns) set_->AppendColumn(column);
  }

  // One text a column.
  void Add(std::initializer_list<std::string_view> texts) {
    set_->AddNew();
    std::size_t column = 0;
    for (const std::string_view text : texts) set_->SetText(column++, text);
  }

  // At its first row, or at its end.
  std::shared_ptr<MemoryRecordset> Take() {
    set_->MoveFirst();
    return std::move(set_);
  }

 private:
  std::shared_ptr<MemoryRecordset> set_ = std::make_shared<MemoryRecordset>();
};

}  // namespace kestrel::abi
