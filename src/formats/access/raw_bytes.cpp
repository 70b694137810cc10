#include "formats/access/raw_bytes.h"

namespace kestrel::access {

RuntimeError Damaged(std::string_view what) {
  return RuntimeError(ErrorNumber::kDatabase,
                      "Die Access-Datei ist beschädigt (" + std::string(what) +
                          "). Bitte die Datei in Access komprimieren und reparieren oder neu exportieren.");
}

}  // namespace kestrel::access
