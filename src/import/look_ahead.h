// Looks at the records that come next, so that the duplicate check of all of them costs one question
// (platform/data/coming_lookups.h). No component is called and nothing is read for it: only records that the source has
// in memory are looked at, and what cannot be foreseen is looked for when its turn comes.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "component/session.h"
#include "duplicates/duplicate_check.h"
#include "import/record_assembly.h"
#include "kestrel/memory_recordset.h"

namespace kestrel {

class LookAhead {
 public:
  // All outlive this object.
  LookAhead(const Session& session, const DuplicateCheck& duplicates, RecordAssembly& assembly)
      : session_(session), duplicates_(duplicates), assembly_(assembly) {}

  // Before the record at the source's current row is assembled; the source stands there again afterwards. Raises
  // nothing.
  void BeforeRecord(const RecordsetPtr& source);

 private:
  void MakeRecord(const AddressKind& kind);
  void Tell(Connection& host, const RecordsetPtr& source);

  const Session& session_;
  const DuplicateCheck& duplicates_;
  RecordAssembly& assembly_;
  std::size_t passed_ = 0;  // records still to come before it is time to look again
  SessionAddressKind session_kind_;
  const AddressKind* kind_ = nullptr;        // of record_
  std::shared_ptr<MemoryRecordset> record_;  // the fields that key texts are made of
  KeptColumns columns_;
  std::vector<std::string> key_texts_;
};

}  // namespace kestrel
