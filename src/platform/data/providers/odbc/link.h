// Open connections to one ODBC source. Many drivers allow one active statement a connection only, so every
// record set that is still being read has a link of its own; links at rest are used again.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::odbc {

// What ODBC calls SQLHANDLE; its headers stay in the .cpp files.
using Handle = void*;

// An ODBC handle that is freed at the end; a connection is disconnected before.
class OwnedHandle {
 public:
  // `type`: SQL_HANDLE_..., `parent`: what it belongs to. Error 7 where none is to be had.
  OwnedHandle(std::int16_t type, Handle parent);
  ~OwnedHandle();
  OwnedHandle(const OwnedHandle&) = delete;
  OwnedHandle& operator=(const OwnedHandle&) = delete;
  Handle get() const { return handle_; }

 private:
  std::int16_t type_;
  Handle handle_ = nullptr;
};

// How to reach a source.
struct Target {
  std::string connection_string;
  // Kept out of error texts.
  std::string password;
  // Narrow texts come as UTF-8; otherwise texts are fetched as UTF-16.
  bool narrow_utf8 = false;
};

class Link {
 public:
  // Error 3000 with the driver's reason.
  explicit Link(std::shared_ptr<const Target> target);

  Handle Connection() const { return connection_.get(); }
  const Target& target() const { return *target_; }
  // The database's name as the driver tells it, such as "Microsoft SQL Server".
  std::string DatabaseName() const;
  // False after an error that told of a broken connection.
  bool IsUsable() const { return usable_; }

  // Error 3000 with the reasons that ODBC keeps for the handle of that type (SQL_HANDLE_...). `where` comes
  // before them.
  [[noreturn]] void Fail(std::int16_t handle_type, Handle handle, std::string_view where = {});

 private:
  std::shared_ptr<const Target> target_;
  OwnedHandle environment_;
  OwnedHandle connection_;
  bool usable_ = true;
};

// The links of one source that are at rest. Shared by a connection, its record sets and the threads of their calls.
class LinkPool {
 public:
  explicit LinkPool(Target target) : target_(std::make_shared<const Target>(std::move(target))) {}

  // A link at rest, or a new one.
  std::unique_ptr<Link> Take();
  // Gives back a link without active statement.
  void Return(std::unique_ptr<Link> link);
  // Closes the links at rest, and those returned from now on.
  void Close();

 private:
  std::shared_ptr<const Target> target_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<Link>> at_rest_;
  bool closed_ = false;
};

// One statement on a link; both are given back together.
class ActiveStatement {
 public:
  explicit ActiveStatement(std::shared_ptr<LinkPool> pool);
  ~ActiveStatement();
  ActiveStatement(const ActiveStatement&) = delete;
  ActiveStatement& operator=(const ActiveStatement&) = delete;

  Handle handle() const { return statement_->get(); }
  const Link& link() const { return *link_; }
  // Runs one query. Error 3000.
  void Execute(std::string_view sql);
  // Error 3000 unless `result` (an SQLRETURN) tells of success.
  void Check(std::int16_t result) const;
  // The next row or block; false behind the last one. A block of which the driver says that a row could not be
  // read is no error here: see FailedCell.
  bool Fetch();
  // Whether the last Fetch came with remarks.
  bool HasRemarks() const { return has_remarks_; }
  // Number in the block (from 1) and column (from 1) of the first value that the last Fetch could not read,
  // each 0 where the driver does not say.
  struct Cell {
    std::int64_t row = 0;
    std::int64_t column = 0;
  };
  Cell FailedCell() const;
  // Error 3000 with the driver's reasons. `where` comes before them.
  [[noreturn]] void Fail(std::string_view where) const;
  // Column `column` (from 1) of the current row as text, read piece by piece; null is empty.
  std::string TextOf(std::uint16_t column);

 private:
  std::shared_ptr<LinkPool> pool_;
  std::unique_ptr<Link> link_;
  // Empty only while this is being made or ended, as the statement goes before its link.
  std::optional<OwnedHandle> statement_;
  bool has_remarks_ = false;
};

}  // namespace kestrel::odbc
