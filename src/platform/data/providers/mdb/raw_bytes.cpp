#include "platform/data/providers/mdb/raw_bytes.h"

namespace kestrel::mdb {

RuntimeError Damaged(std::string_view what) {
  return RuntimeError(ErrorNumber::kDatabase,
                      "Die Access-Datei ist beschädigt (" + std::string(what) +
                          "). Bitte die Datei in Access komprimieren und reparieren oder neu exportieren.");
}

}  // namespace kestrel::mdb
