// A connection to files that are only read: whole tables, no statement that changes anything.
#pragma once

#include <string>
#include <utility>

#include "kestrel/connection.h"
#include "platform/data/select_all.h"

namespace kestrel {

class ReadOnlyConnection : public Connection {
 public:
  // 3000 for every statement.
  std::int64_t Execute(std::string_view sql) final;
  // SELECT * FROM a table; see select_all.h.
  RecordsetPtr OpenRecordset(std::string_view sql) final;
  void Close() override { open_ = false; }
  bool IsOpen() const final { return open_; }

 protected:
  // The rows of a table; 3000 where there is none of that name.
  virtual RecordsetPtr OpenTable(const TableName& table) = 0;
  // 3704 on a closed connection.
  void RequireOpen() const;

  // Runs `read` and gives its result. What it raises becomes error 3000 with the file's path.
  template <class Read>
  static auto ReadingFile(const std::string& path, Read&& read) {
    try {
      return std::forward<Read>(read)();
    } catch (const RuntimeError& error) {
      std::string description = error.Description();
      if (description.find(path) == std::string::npos) description += " (" + path + ")";
      throw RuntimeError(ErrorNumber::kDatabase, std::move(description));
    }
  }

 private:
  bool open_ = true;
};

}  // namespace kestrel
