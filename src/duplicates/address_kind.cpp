#include "duplicates/address_kind.h"

namespace kestrel {

namespace {

// Prospects are grouped like customers.
constexpr AddressKind kAddressKinds[] = {
    {"ksbimport.importkunden", 1, "KundenNummer", "Kundengruppe", "KundenUeberschreiben"},
    {"ksbimport.importinteressenten", 8, "Interessentennummer", "Kundengruppe", "InteressentenUeberschreiben"},
    {"ksbimport.importlieferanten", 32, "LieferantenNummer", "Lieferantengruppe", "LieferantenUeberschreiben"},
};

}  // namespace

const AddressKind* FindAddressKind(std::string_view import_class) {
  for (const AddressKind& kind : kAddressKinds) {
    if (kind.import_class == import_class) return &kind;
  }
  return nullptr;
}

}  // namespace kestrel
