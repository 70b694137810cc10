// The records of a run that were not stored, with the reasons, as a file that imports just these.
//
// Invariants
//  1. entries_ has each record once, with the reason told first.
//  2. After Complete it holds all it needs: the source may go.
//  3. Without a header the columns are known by their places only: reason and number stand behind every place that a
//     record fills or a field is assigned to, so that no field takes them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "component/session.h"
#include "kestrel/export.h"
#include "kestrel/record_outcome.h"
#include "kestrel/recordset.h"
#include "platform/base/spilled_bytes.h"
#include "sources/record_layout.h"

namespace kestrel {

class Rejects {
 public:
  // Of the session's source, which is open and not moved yet. Raises what reading its header raises.
  explicit Rejects(const Session& session);

  // The source stands on the record. Raises what reading it raises, and what keeping it does.
  void Add(std::int32_t record, std::string_view reason);
  // These were stored, as it seemed.
  void AddLater(std::int32_t first, std::int32_t last, std::string_view reason);
  // The source, which may be moved now, gives the records that were added later. Raises what going back raises.
  void Complete();

  std::int32_t count() const { return static_cast<std::int32_t>(entries_.size()); }
  // The file appears whole or not at all. Raises 70 where it is the source itself, an import specification or a
  // template, by its ending or beside the one in use, or a file of the host's database, and what writing it raises.
  void WriteTo(const std::string& path) const;
  // Raises what WriteTo would raise by the place alone.
  static void RequirePlace(const std::string& path, const Session& session);
  // The 70 of that, for any other file that a run is to write. Where there is none yet, nothing is in use.
  KESTREL_INTERNAL static void RequireNotInUse(const std::string& path, const Session& session);

 private:
  struct Entry {
    std::int32_t record;
    std::uint64_t offset;  // of the record's text in kept_, with its reason behind it
    std::size_t text_size;
    std::size_t reason_size;
  };
  struct Later {
    std::int32_t first;
    std::int32_t last;
    std::string reason;
  };
  void Keep(std::int32_t record, std::string_view reason);
  std::string LineOf(std::string_view text, std::string_view reason, std::int32_t record) const;

  RecordsetPtr source_;
  RecordLayout layout_;
  std::vector<std::string> forbidden_;  // files that must not be replaced
  SpilledBytes kept_;
  std::size_t widest_ = 0;      // without a header: so many places belong to the source
  std::vector<Entry> entries_;  // ascending by record once complete
  std::vector<Later> later_;
};

}  // namespace kestrel
