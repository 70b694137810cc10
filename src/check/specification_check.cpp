#include "check/specification_check.h"

#include <array>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "duplicates/address_kind.h"
#include "mapping/translation.h"
#include "platform/base/number.h"
#include "platform/base/text.h"
#include "sources/source_kind.h"
#include "spec/profile_access.h"
#include "spec/source_columns.h"

namespace kestrel {

namespace {

// The keys of section Common that are read for a kind of source; of an unknown one those that most kinds have.
std::set<std::string> CommonKeysOf(const SourceKind* kind) {
  std::set<std::string> keys = {"DESCRIPTION", "APPLICATION", "IMPORTCLASS", "PROVIDER"};
  if (kind == nullptr) {
    keys.insert({"DATABASE", "TABLE"});
  } else {
    for (const CommonKey& key : kind->keys) keys.insert(UpperCase(key.name));
  }
  return keys;
}

// The keys of section CfgSettings that are switches, and all that are read of it.
constexpr std::array<const char*, 7> kSwitches = {"DublettenPruefen",
                                                  "DublettenKey1",
                                                  "DublettenKey2",
                                                  "DublettenKey3",
                                                  "KundenUeberschreiben",
                                                  "InteressentenUeberschreiben",
                                                  "LieferantenUeberschreiben"};

// An import class that the host does not bring has a key of its own for overwriting, by whatever name its table has.
std::set<std::string> SettingsKeys(const Session& session, const ProfileImage::Section& section) {
  std::set<std::string> keys = {"ADDRESSTYPECODE",       "DUBLETTENSCHWELLE",       "KUNDENNUMMERNVON",
                                "KUNDENNUMMERNBIS",      "INTERESSENTENNUMMERNVON", "INTERESSENTENNUMMERNBIS",
                                "LIEFERANTENNUMMERNVON", "LIEFERANTENNUMMERNBIS"};
  for (const char* key : kSwitches) keys.insert(UpperCase(key));
  if (FindAddressKind(session.ImportClassProgID) != nullptr) return keys;
  for (const auto& entry : section.entries) {
    const std::string key = UpperCase(entry.key);
    if (key.ends_with("UEBERSCHREIBEN") || key.ends_with("NUMMERNVON") || key.ends_with("NUMMERNBIS"))
      keys.insert(key);
  }
  return keys;
}

void CheckFlag(const ProfileImage& specification, const char* key, Findings& findings) {
  const std::string value = GetIniString(specification, "Common", key, "0");
  for (const char* known : {"True", "False", "Wahr", "Falsch"}) {
    if (EqualsIgnoringCase(value, known)) return;
  }
  if (value.find_first_not_of("0123456789") != std::string::npos || value.empty()) {
    findings.Warn({"Common", key}, "\"" + value + "\" ist kein Wahrheitswert und gilt als nein.",
                  "Möglich sind True, False, 1 und 0.");
  }
}

// Unlike the truth values of section Common these are switched on by 1 alone.
void CheckSwitches(const ProfileImage& specification, Findings& findings) {
  for (const char* key : kSwitches) {
    const std::string value = GetIniString(specification, "CfgSettings", key, "0");
    if (value == "0" || value == "1") continue;
    findings.Warn({"CfgSettings", key}, "\"" + value + "\" gilt als nein.", "Nur 1 schaltet ein.");
  }
}

// The settings of the source, as its kind wants them.
void CheckSourceSettings(const Session& session, const SourceKind& kind, const ProfileImage& specification,
                         Findings& findings) {
  for (const CommonKey& key : kind.keys) {
    if (key.truth != nullptr) CheckFlag(specification, key.name, findings);
  }
  if (kind.check == nullptr) return;
  std::vector<SettingFinding> found;
  kind.check(session, found);
  for (SettingFinding& finding : found) {
    findings.Add({finding.is_error ? Severity::kError : Severity::kWarning,
                  {"Common", finding.key},
                  std::move(finding.text),
                  std::move(finding.way_out)});
  }
}

void CheckTable(const ProfileImage::Section& section, const std::string& field, Findings& findings) {
  constexpr std::size_t kLongestSection = 4094;
  std::size_t length = 0;
  for (const auto& entry : section.entries) {
    length += LengthInCharacters(entry.key) + LengthInCharacters(entry.value) + 2;
    if (length > kLongestSection) {
      findings.Error({section.name, entry.key, field},
                     "Die Übersetzungstabelle ist länger als 4096 Zeichen; dieser Eintrag und alle folgenden "
                     "werden nicht gelesen.",
                     "Kürzen Sie die Tabelle.");
      return;
    }
  }
}

// Keys that are there twice, or that nobody reads.
void CheckKeys(const ProfileImage::Section& section, const std::set<std::string>& read, Findings& findings) {
  std::set<std::string> seen;
  for (const auto& entry : section.entries) {
    if (!seen.insert(UpperCase(entry.key)).second) {
      findings.Warn({section.name, entry.key}, "Der Schlüssel steht mehrfach da; gelesen wird nur der erste.");
    } else if (!read.contains(UpperCase(entry.key))) {
      findings.Warn({section.name, entry.key}, "Der Schlüssel wird für diese Datenquelle nicht gelesen.");
    }
  }
}

}  // namespace

void CheckCommonSection(const Session& session, const ProfileImage& specification, Findings& findings) {
  if (session.Description.empty()) {
    findings.Warn({"Common", "Description"},
                  "Ohne Beschreibung wird die Spezifikation im Assistenten nicht angeboten.");
  }
  if (const SourceKind* kind = KindOf(session)) {
    CheckSourceSettings(session, *kind, specification, findings);
    return;
  }
  std::string known;
  for (const SourceKind& kind : KindsOf(session)) {
    known += std::string(known.empty() ? "" : ", ") + "\"" + kind.name + "\"";
  }
  findings.Error({"Common", "Provider"}, "Unbekannte Art der Datenquelle \"" + session.Provider + "\".",
                 "Möglich sind, genau so geschrieben: " + known + ".");
}

void CheckTranslations(const ProfileImage& specification, Findings& findings) {
  constexpr std::string_view kPrefix = "TRANSLATION_";
  for (const auto& section : specification.Sections()) {
    if (!UpperCase(section.name).starts_with(kPrefix)) continue;
    const std::string field = section.name.substr(kPrefix.size());
    CheckTable(section, field, findings);
    const bool on = GetIniString(specification, "FieldTranslation", field, "0") == "1";
    if (!on && !section.entries.empty()) {
      findings.Warn({"FieldTranslation", field, field},
                    "Die Übersetzungstabelle ist da, aber nicht eingeschaltet (1).");
    }
  }
  for (const auto& section : specification.Sections()) {
    if (!EqualsIgnoringCase(section.name, "FieldTranslation")) continue;
    for (const auto& entry : section.entries) {
      if (entry.value == "1" && GetIniSection(specification, TranslationSection(entry.key)).empty()) {
        findings.Warn({"FieldTranslation", entry.key, entry.key},
                      "Die Übersetzung ist eingeschaltet, aber ihre Tabelle ist leer.");
      }
    }
  }
}

void CheckSettings(const ProfileImage& specification, Findings& findings) {
  CheckSwitches(specification, findings);
  const auto read = [&](const char* key) { return GetIniString(specification, "CfgSettings", key, "0"); };
  if (read("DublettenPruefen") != "1") return;
  if (read("DublettenKey1") != "1" && read("DublettenKey2") != "1" && read("DublettenKey3") != "1") {
    findings.Error({"CfgSettings", "DublettenKey1"},
                   "Die Dublettenprüfung ist eingeschaltet, aber kein Schlüssel; jede Prüfung schlägt fehl.",
                   "Setzen Sie mindestens einen auf 1.");
  }
  const std::string address_types = read("AddresstypeCode");
  if (address_types.empty() || address_types == "0") {
    findings.Warn({"CfgSettings", "AddresstypeCode"},
                  "Mit 0 wird keine Adressart durchsucht; es gibt nie Dubletten.");
  }
  const std::string threshold = GetIniString(specification, "CfgSettings", "DublettenSchwelle", "");
  const std::optional<double> per_cent = ParseNumber(threshold);
  if (!threshold.empty() && !(per_cent && *per_cent >= 0 && *per_cent <= 100)) {
    findings.Error({"CfgSettings", "DublettenSchwelle"}, "'" + threshold + "' ist keine Zahl von 0 bis 100.",
                   "Geben Sie die Schwelle in Prozent an, oder lassen Sie den Schlüssel weg.");
  }
}

void CheckUnreadEntries(const Session& session, const ProfileImage& specification, Findings& findings) {
  std::set<std::string> seen;
  for (const auto& section : specification.Sections()) {
    const std::string name = UpperCase(section.name);
    if (!seen.insert(name).second) {
      findings.Warn({section.name}, "Der Abschnitt steht mehrfach in der Datei; gelesen wird nur der erste.");
    } else if (name == "COMMON") {
      CheckKeys(section, CommonKeysOf(KindOf(session)), findings);
    } else if (name == "CFGSETTINGS") {
      CheckKeys(section, SettingsKeys(session, section), findings);
    } else if (name != "FIELDASSIGNMENTS" && name != "FIELDTRANSLATION" && name != "FIELDFORMAT" &&
               name != UpperCase(kSourceColumnsSection) && !name.starts_with("TRANSLATION_")) {
      findings.Warn({section.name}, "Der Abschnitt wird nicht gelesen.");
    }
  }
}

}  // namespace kestrel
