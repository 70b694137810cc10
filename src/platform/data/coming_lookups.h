// Which addresses are looked for next, so that a database far away can be asked for many of them at once.
//
// Who writes the address index may want to know (Want); who is about to look for the addresses of several records tells
// their key texts before the first of them is looked for (Tell). Each look-up then asks AbsentValues, which knows of keys
// that no row has, and here for the rows that have one (Find), and is run as ever where neither knows. Where nobody wants
// it, nothing is told. All of it under the connection's CallMutex.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "kestrel/attachments.h"
#include "kestrel/export.h"
#include "platform/data/absent_values.h"

namespace kestrel {

class Connection;

// A row of the address index, see kestrel/host_components.h.
struct FoundAddress {
  std::int64_t address_type = 0;
  std::string_view reference;
  // Empty where there is none; one that is none of those looked for may be told as another such.
  std::array<std::string_view, 3> keys;
};

class KESTREL_INTERNAL ComingLookUps final : public Attachment {
 public:
  // Key texts as BuildDoubletKey takes them, in the order in which they are looked for. They are foreseen: a record may
  // turn out to have another one. Raises nothing.
  using Take = std::function<void(std::span<const std::string> key_texts)>;
  // The rows that have one of these keys, in the order in which they were stored; none where that is not known. They
  // live until the next call of any member. Raises nothing.
  using Rows = std::optional<std::span<const FoundAddress>>;
  using Knows = std::function<Rows(std::span<const SoughtValue> keys)>;

  // Use Attachments::Of. The connection owns this object.
  explicit ComingLookUps(Connection&) {}

  // --- Who looks for addresses ---

  // Of how many records at once it is worth telling; 0 for none.
  std::size_t Wanted() const { return take_ ? at_once_ : 0; }
  void Tell(std::span<const std::string> key_texts) const {
    if (take_) take_(key_texts);
  }
  // Without keys there is no such query.
  Rows Find(std::span<const SoughtValue> keys) const {
    return knows_ && !keys.empty() ? knows_(keys) : std::nullopt;
  }

  // --- Who writes the index ---

  // Both are called until they are replaced, at the latest until the connection ends; empty ones for no more.
  void Want(std::size_t at_once, Take take, Knows knows) {
    at_once_ = at_once;
    take_ = std::move(take);
    knows_ = std::move(knows);
  }

 private:
  std::size_t at_once_ = 0;
  Take take_;
  Knows knows_;
};

}  // namespace kestrel
