#include "duplicates/address_kind.h"

#include <charconv>
#include <vector>

#include "platform/automation/optional_member.h"
#include "platform/base/text.h"

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

const AddressKind* SessionAddressKind::Of(const Session& session) {
  if (const AddressKind* kind = FindAddressKind(session.ImportClassProgID)) return kind;
  if (session.ImportClass != asked_) {
    told_kind_ = {};
    told_.clear();
    asked_ = session.ImportClass;
    if (auto member = FindOptional(asked_, "AddressKind")) told_ = member->Call().ToText();
    // What an import class tells; see kestrel/import_class.h.
    enum Line : std::size_t {
      kType,
      kNumber,
      kOverwrite,
      kPostcode,
      kTown,
      kStreet,
      kName1,
      kLines = kName1 + 3
    };
    std::vector<std::string_view> lines = Split(told_, '\n');
    lines.resize(kLines);
    std::from_chars(lines[kType].data(), lines[kType].data() + lines[kType].size(), told_kind_.type_code);
    told_kind_.number_field = lines[kNumber];
    told_kind_.overwrite_key = lines[kOverwrite];
    told_kind_.keys = {lines[kPostcode],
                       lines[kTown],
                       lines[kStreet],
                       {lines[kName1], lines[kName1 + 1], lines[kName1 + 2]},
                       true};
  }
  return told_kind_.type_code == 0 ? nullptr : &told_kind_;
}

}  // namespace kestrel
