// The handles of one library and what they stand for.
//
// Invariants
//  1. A handle is the number of a place and how often that was used, so none comes twice, and one that was given
//     back is known to be.
//  2. What a place held goes after the place is empty, as the object's end may use the handles again.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "kestrel/kestrel.h"
#include "kestrel/object.h"

namespace kestrel::abi {

class Handles {
 public:
  // 0 for no object.
  kestrel_handle Add(ObjectPtr object) {
    if (object == nullptr) return 0;
    if (free_.empty()) {
      free_.push_back(static_cast<std::uint32_t>(places_.size()));
      places_.emplace_back();
    }
    const std::uint32_t place = free_.back();
    free_.pop_back();
    places_[place].object = std::move(object);
    return static_cast<kestrel_handle>(places_[place].use) << 32 | place;
  }

  // Null for a handle that stands for nothing.
  ObjectPtr Find(kestrel_handle handle) const { return IsValid(handle) ? PlaceOf(handle).object : nullptr; }

  // False for a handle that stands for nothing.
  bool Remove(kestrel_handle handle) {
    if (!IsValid(handle)) return false;
    Place& place = places_[static_cast<std::uint32_t>(handle)];
    const ObjectPtr leaving = std::move(place.object);
    place.object = nullptr;
    // A place that was used that often is not used again.
    if (++place.use != 0) free_.push_back(static_cast<std::uint32_t>(handle));
    return true;
  }

  void Clear() {
    std::vector<ObjectPtr> leaving;
    for (std::uint32_t place = 0; place < places_.size(); ++place) {
      if (places_[place].object == nullptr) continue;
      leaving.push_back(std::exchange(places_[place].object, nullptr));
      if (++places_[place].use != 0) free_.push_back(place);
    }
  }

 private:
  struct Place {
    ObjectPtr object;
    std::uint32_t use = 1;
  };
  const Place& PlaceOf(kestrel_handle handle) const { return places_[static_cast<std::uint32_t>(handle)]; }
  bool IsValid(kestrel_handle handle) const {
    return static_cast<std::uint32_t>(handle) < places_.size() && PlaceOf(handle).object != nullptr &&
           PlaceOf(handle).use == handle >> 32;
  }

  std::vector<Place> places_;
  std::vector<std::uint32_t> free_;
};

}  // namespace kestrel::abi
