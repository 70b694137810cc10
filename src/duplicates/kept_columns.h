// Where the records of a run have their columns: found by name once, and kept while the records have the same ones.
#pragma once

#include <array>
#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/recordset.h"

namespace kestrel {

class KeptColumns {
 public:
  // Each for one name at a time.
  enum Place : std::size_t { kReference, kGroup, kPostcode, kTown, kStreet, kName1, kName2, kName3, kPlaces };

  // Before the others, for each record: forgets what was found where its columns are others. `same_object`: it is
  // the object of the last call, which keeps its columns.
  void Begin(const Recordset& record, bool same_object = false);
  // As record.RequireColumn(name).
  std::size_t Require(const Recordset& record, Place place, std::string_view name);
  std::string_view TextAt(const Recordset& record, Place place, std::string_view name) {
    return record.TextAt(Require(record, place, name));
  }

 private:
  static constexpr std::size_t kNowhere = std::numeric_limits<std::size_t>::max();

  std::vector<std::string> names_;  // of the columns up to the last one found
  std::array<std::size_t, kPlaces> found_{};
};

}  // namespace kestrel
