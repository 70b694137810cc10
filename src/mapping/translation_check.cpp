// Whether a translation table comes back as it was typed. The rows are written in memory and read again in both
// ways, by the editor and by the run; only where that fails is a reason looked for.
#include "mapping/translation_edits.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "platform/profile/profile_text.h"
#include "spec/profile_access.h"

namespace kestrel {
namespace {

// One state of the table, as it is or as it would be. The image outlives it.
class StoredTable {
 public:
  StoredTable(const ProfileImage& image, const std::string& section)
      : image_(image), section_(section), table_(GetIniSection(image, section)) {}

  std::string Edited(std::string_view shown) const { return StoredTranslation(image_, section_, shown); }
  std::string Applied(std::string_view shown) const { return std::string(table_.Find(shown).value_or("")); }

 private:
  const ProfileImage& image_;
  const std::string& section_;
  TranslationTable table_;
};

bool HasOuterBlanks(std::string_view text) { return TrimProfileBlanks(text) != text; }

bool HasLineBreak(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos;
}

bool IsQuoted(std::string_view text) {
  return text.size() >= 2 && (text.front() == '"' || text.front() == '\'') && text.front() == text.back();
}

// What no file of this kind can hold as a key; empty where nothing is wrong with it.
std::string FaultOfSourceValue(std::string_view value) {
  if (HasOuterBlanks(value)) return "Der Quellwert beginnt oder endet mit einem Leerzeichen oder Tabulator";
  if (HasLineBreak(value)) return "Der Quellwert enthält einen Zeilenumbruch";
  if (value.starts_with(';') || value.starts_with('[')) {
    return "Der Quellwert beginnt mit \"" + std::string(value.substr(0, 1)) + "\"";
  }
  if (value.find('=') != std::string_view::npos) return "Der Quellwert enthält ein Gleichheitszeichen";
  return {};
}

std::string FaultOfTranslation(std::string_view value) {
  if (HasOuterBlanks(value)) return "Die Übersetzung beginnt oder endet mit einem Leerzeichen oder Tabulator";
  if (HasLineBreak(value)) return "Die Übersetzung enthält einen Zeilenumbruch";
  if (IsQuoted(value)) return "Die Übersetzung steht in Anführungszeichen";
  if (LengthInCharacters(value) > kMaxTranslationLength) {
    return "Die Übersetzung hat mehr als " + std::to_string(kMaxTranslationLength) + " Zeichen";
  }
  return {};
}

std::string FaultOf(const std::vector<TranslationRow>& rows, std::size_t index, const StoredTable& after) {
  const TranslationRow& row = rows[index];
  const std::string_view shown = ShownSourceValue(row.field_name);
  if (std::string fault = FaultOfTranslation(row.translate_name); !fault.empty()) return fault;
  for (const TranslationRow& other : rows) {
    const std::string_view other_shown = ShownSourceValue(other.field_name);
    if (other.translate_name.empty() || &other == &row || !CaselessEqual()(other_shown, shown)) continue;
    return other_shown == shown ? "Der Quellwert steht mehrfach da"
                                : "Der Quellwert unterscheidet sich von \"" + std::string(other_shown) +
                                      "\" nur in der Groß- und Kleinschreibung, auf die die Datei nicht achtet";
  }
  if (after.Edited(shown) == row.translate_name) {
    return after.Applied(shown).empty()
               ? "Beim Import würde der Eintrag nicht gefunden: die Tabelle ist länger als 4094 Zeichen, oder "
                 "der "
                 "Quellwert steht in anderer Groß- und Kleinschreibung schon in der Datei"
               : "Die Tabelle ist länger als 4094 Zeichen; der Eintrag wird beim Import abgeschnitten";
  }
  return "Ein Zeichen fehlt im Zeichensatz der Datei (Windows-1252)";
}

}  // namespace

std::optional<RefusedRow> FindRefusedRow(Session& session, std::string_view destination_field,
                                         const std::vector<TranslationRow>& rows) {
  const std::string section = TranslationSection(destination_field);
  const std::shared_ptr<const ProfileImage> image = ProfileStore().Require(session.SpecFile);
  const auto refusal = [&](std::size_t index, const std::string& fault) {
    return RefusedRow{index,
                      "Zeile " + std::to_string(index + 1) + " (\"" +
                          std::string(ShownSourceValue(rows[index].field_name)) + "\"): " + fault +
                          ". So kann sie nicht gespeichert werden. Ändern oder leeren Sie die Übersetzung."};
  };
  const StoredTable before(*image, section);
  const auto is_new = [&](const TranslationRow& row) {
    return !row.translate_name.empty() && row.translate_name != before.Edited(ShownSourceValue(row.field_name));
  };
  // A source value that no file can hold cannot be tried either.
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const std::string fault = is_new(rows[i]) ? FaultOfSourceValue(ShownSourceValue(rows[i].field_name)) : "";
    if (!fault.empty()) return refusal(i, fault);
  }

  const std::string bytes = FileExists(session.SpecFile) ? ReadWholeFile(session.SpecFile) : std::string();
  const ProfileImage edited(EditedProfile(bytes, TranslationEdits(section, rows)));
  const StoredTable after(edited, section);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const TranslationRow& row = rows[i];
    if (row.translate_name.empty()) continue;
    const std::string_view shown = ShownSourceValue(row.field_name);
    const std::string applied = after.Applied(shown);
    const bool found = applied == row.translate_name || (!is_new(row) && applied == before.Applied(shown));
    if (!found || after.Edited(shown) != row.translate_name) return refusal(i, FaultOf(rows, i, after));
  }
  return std::nullopt;
}

}  // namespace kestrel
