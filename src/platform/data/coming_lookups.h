// Which addresses are looked for next, so that a database far away can be asked for many of them at once.
//
// Who writes the address index may want to know (Want); who is about to look for the addresses of several records tells
// their key texts before the first of them is looked for (Tell). Each look-up then asks AbsentValues and is run as ever
// where that does not know. Where nobody wants it, nothing is told. All of it under the connection's CallMutex.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <utility>

#include "kestrel/attachments.h"
#include "kestrel/export.h"

namespace kestrel {

class Connection;

class KESTREL_INTERNAL ComingLookUps final : public Attachment {
 public:
  // Key texts as BuildDoubletKey takes them, in the order in which they are looked for. They are foreseen: a record may
  // turn out to have another one. Raises nothing.
  using Take = std::function<void(std::span<const std::string> key_texts)>;

  // Use Attachments::Of. The connection owns this object.
  explicit ComingLookUps(Connection&) {}

  // --- Who looks for addresses ---

  // Of how many records at once it is worth telling; 0 for none.
  std::size_t Wanted() const { return take_ ? at_once_ : 0; }
  void Tell(std::span<const std::string> key_texts) const {
    if (take_) take_(key_texts);
  }

  // --- Who writes the index ---

  // `take` is called until it is replaced, at the latest until the connection ends; an empty one for no more.
  void Want(std::size_t at_once, Take take) {
    at_once_ = at_once;
    take_ = std::move(take);
  }

 private:
  std::size_t at_once_ = 0;
  Take take_;
};

}  // namespace kestrel
