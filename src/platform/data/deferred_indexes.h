#pragma once

namespace kestrel {

// The indexes of one table, kept in memory instead of in the database while many rows are added to it; made by
// Connection::DeferIndexes. Its end restores them, raising nothing.
class DeferredIndexes {
 public:
  DeferredIndexes() = default;
  DeferredIndexes(const DeferredIndexes&) = delete;
  DeferredIndexes& operator=(const DeferredIndexes&) = delete;
  virtual ~DeferredIndexes() = default;

  // Writes the indexes into the database, in the open transaction, with whose rollback they would be missing
  // again, or in one of their own; takes some seconds for a million rows. Nothing happens where they are there.
  // Error 3000, also where a record set still reads the table; then it may be called again.
  virtual void Restore() = 0;
};

}  // namespace kestrel
