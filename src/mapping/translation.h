// Translation tables: source value -> destination value, one section "Translation_" + field per field.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "component/session.h"
#include "kestrel/export.h"
#include "platform/profile/profile.h"

namespace kestrel {

inline constexpr const char* kEmptySourceValue = "<Empty>";

std::string TranslationSection(std::string_view field_name);
// How the editor shows and stores a source value: itself, or "<Empty>". The run compares the value as it is.
inline std::string_view ShownSourceValue(std::string_view source_value) {
  return source_value.empty() ? std::string_view(kEmptySourceValue) : source_value;
}

// --- Applying -----------------------------------------------------------------------------------

// The entries of one section in file order, as the run looks them up.
class TranslationTable {
 public:
  // Parses the text of GetIniSection: pieces between NUL characters but the last, each cut at its first
  // "=" into key and translation.
  explicit TranslationTable(std::string_view section);

  bool empty() const { return entries_.empty(); }
  // The translation of the first entry whose key equals the value exactly; none where nothing matches. The
  // view lives as long as the table.
  std::optional<std::string_view> Find(std::string_view source_value) const;

 private:
  struct Entry {
    std::string key;
    std::string translation;
  };
  // The bucket that holds the key's entry, or the free one where it would go.
  std::size_t BucketOf(std::string_view key) const;

  std::vector<Entry> entries_;          // of equal keys only the first
  std::vector<std::uint32_t> buckets_;  // entry + 1, or 0; a power of two, at most half full
};

// The table of a field as the working copy holds it now; parsed again only when the file has changed.
class TranslationLookup {
 public:
  explicit TranslationLookup(std::string_view field_name) : section_(TranslationSection(field_name)) {}
  const TranslationTable& Table(const std::shared_ptr<const ProfileImage>& image);

 private:
  std::string section_;
  std::shared_ptr<const ProfileImage> image_;
  std::optional<TranslationTable> table_;
};

// --- Storage, for the editor --------------------------------------------------------------------

struct TranslationRow {
  std::string field_name;      // the source value; "<Empty>" for an empty one
  std::string translate_name;  // its translation, at most 255 characters
  friend bool operator==(const TranslationRow&, const TranslationRow&) = default;
};

// At most this many distinct values are listed.
inline constexpr std::size_t kMaxDistinctValues = 10000;

struct DistinctValues {
  std::vector<std::string> values;  // in order of first appearance; empty values as "<Empty>"
  bool cut = false;                 // the source may hold more
};
// The distinct values of a source column, read through the source reader. A column the source lacks gives none.
// `go_on`, where given, is asked now and then; the reading ends where it answers no.
KESTREL_INTERNAL DistinctValues CollectDistinctValues(Session& session, std::string_view column,
                                                      const std::function<bool()>& go_on = {});

// The values with the translations that the working copy holds.
KESTREL_INTERNAL std::vector<TranslationRow> ReadTranslationRows(Session& session,
                                                                 std::string_view destination_field,
                                                                 const std::vector<std::string>& values);
// Writes every row whose translation is not empty; the section is not cleared. Raises what ProfileStore::Write
// raises; nothing is written then.
KESTREL_INTERNAL void WriteTranslationRows(Session& session, std::string_view destination_field,
                                           const std::vector<TranslationRow>& rows);
// The first row of which the file would not hold, or the run not find, what it says: blanks at an end, quotes
// around it, "=" in the source value, a table longer than a section may be, and so on. The text names the row
// (from 1), the reason and a way out. None where all can be written. A row that says what the file held before
// only has to stay as it was. Raises what ProfileStore::Require raises.
struct RefusedRow {
  std::size_t row;  // from 0
  std::string text;
};
KESTREL_INTERNAL std::optional<RefusedRow> FindRefusedRow(Session& session, std::string_view destination_field,
                                                          const std::vector<TranslationRow>& rows);

struct PermittedValue {
  std::string value;
  std::string display;
  friend bool operator==(const PermittedValue&, const PermittedValue&) = default;
};
// The permitted values of a field. Kind 0: RowSource is a query on the host, each row a value (first column)
// and its Description. Kind 1: items separated by "#", each a value and a display text joined by "*". Any
// other kind: none in translation mode; the query in constants mode. An empty RowSource gives none. Raises what
// the host connection raises, 3265 for a query without a column Description.
enum class ValueListUse { kTranslation = 1, kConstants = 2 };
KESTREL_INTERNAL std::vector<PermittedValue> ReadPermittedValues(Session& session, std::string_view row_source,
                                                                 std::string_view row_source_typ,
                                                                 ValueListUse use);

}  // namespace kestrel
