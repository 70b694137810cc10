#include "formats/access/raw_bytes.h"

#include <utility>

namespace kestrel::access {

FormatError Damaged(std::string_view what, FilePlace place) {
  return FormatError("Die Access-Datei ist beschädigt (" + std::string(what) +
                         "). Bitte die Datei in Access komprimieren und reparieren oder neu exportieren.",
                     std::move(place));
}

FormatError Damaged(std::string_view what) { return Damaged(what, {}); }

}  // namespace kestrel::access
