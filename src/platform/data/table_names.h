// Other names for tables than those that statements call them by: a host whose tables stand in somebody else's database
// keeps them apart by a prefix, and its statements, and those that the component makes, stay as they are.
//
// Invariants
//  1. Only whole names that stand without quotes are other ones in the database. A name in quotes is the table of exactly
//     that name, whoever's it is.
//  2. As long as no name was given, statements are not looked at.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/attachments.h"
#include "kestrel/export.h"

namespace kestrel {

class Connection;

class KESTREL_INTERNAL TableNames final : public Attachment {
 public:
  // Use Attachments::Of. The connection owns this object.
  explicit TableNames(Connection&) {}

  // From now on these tables and indexes have `prefix` before their names, in any case. Statements that were compiled
  // before keep what they mean.
  void Prefix(std::string prefix, std::vector<std::string> names);
  bool AreOthers() const { return !prefix_.empty(); }

  // What a table is called in the database; `name` where it has no other one.
  std::string InDatabase(std::string_view name) const;
  // The name that statements have for a table of the database.
  std::string_view InStatements(std::string_view name) const;

  // The statement with the names of the database: `sql` itself, or what is then in `memory`.
  std::string_view Translate(std::string_view sql, std::string& memory) const;

 private:
  bool Has(std::string_view name) const;

  std::string prefix_;
  std::vector<std::string> names_;
};

}  // namespace kestrel
