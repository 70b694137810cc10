// Translation tables as the editor reads and writes them.
#include "kestrel/connection.h"
#include "mapping/translation.h"
#include "mapping/translation_edits.h"
#include "platform/base/number.h"
#include "platform/base/text.h"
#include "spec/profile_access.h"

namespace kestrel {

namespace {

// A column of a host query by name; databases that fold names to one case are served too.
std::size_t RequireQueryColumn(const Recordset& rows, std::string_view name) {
  if (const auto exact = rows.FindColumn(name)) return *exact;
  for (std::size_t column = 0; column < rows.ColumnCount(); ++column) {
    if (EqualsIgnoringCase(rows.ColumnName(column), name)) return column;
  }
  return rows.RequireColumn(name);
}

std::vector<PermittedValue> QueryPermittedValues(Session& session, std::string_view query) {
  std::vector<PermittedValue> values;
  const RecordsetPtr rows = RequireConnection(session.HostConnection).OpenRecordset(query);
  const std::size_t description = RequireQueryColumn(*rows, "Description");
  for (; !rows->IsEof(); rows->MoveNext()) {
    values.push_back({std::string(rows->TextAt(0)), std::string(rows->TextAt(description))});
  }
  return values;
}

// An item without a display text shows its value; empty items are none.
std::vector<PermittedValue> ListPermittedValues(std::string_view list) {
  std::vector<PermittedValue> values;
  for (const std::string_view item : Split(list, '#')) {
    if (item.empty()) continue;
    const std::vector<std::string_view> parts = Split(item, '*');
    values.push_back({std::string(parts[0]), std::string(parts.size() > 1 ? parts[1] : parts[0])});
  }
  return values;
}

}  // namespace

std::string StoredTranslation(const ProfileImage& image, const std::string& section, std::string_view shown) {
  return std::string(Left(GetIniString(image, section, shown, ""), kMaxTranslationLength));
}

std::vector<TranslationRow> ReadTranslationRows(Session& session, std::string_view destination_field,
                                                const std::vector<std::string>& values) {
  const std::string section = TranslationSection(destination_field);
  const std::shared_ptr<const ProfileImage> spec = ProfileStore().Require(session.SpecFile);
  std::vector<TranslationRow> rows;
  rows.reserve(values.size());
  for (const std::string& value : values) {
    const std::string_view shown = ShownSourceValue(value);
    rows.push_back({std::string(shown), StoredTranslation(*spec, section, shown)});
  }
  return rows;
}

std::vector<ProfileEdit> TranslationEdits(const std::string& section, const std::vector<TranslationRow>& rows) {
  std::vector<ProfileEdit> edits;
  for (const TranslationRow& row : rows) {
    if (row.translate_name.empty()) continue;
    edits.push_back({section, std::string(ShownSourceValue(row.field_name)), row.translate_name});
  }
  return edits;
}

void WriteTranslationRows(Session& session, std::string_view destination_field,
                          const std::vector<TranslationRow>& rows) {
  ProfileStore().Write(session.SpecFile, TranslationEdits(TranslationSection(destination_field), rows));
}

std::vector<PermittedValue> ReadPermittedValues(Session& session, std::string_view row_source,
                                                std::string_view row_source_typ, ValueListUse use) {
  constexpr std::int64_t kQuery = 0;
  constexpr std::int64_t kList = 1;
  if (row_source.empty()) return {};
  const std::int64_t kind = LeadingWholeNumber(row_source_typ);
  if (kind == kList) return ListPermittedValues(row_source);
  if (kind == kQuery || use == ValueListUse::kConstants) return QueryPermittedValues(session, row_source);
  return {};
}

}  // namespace kestrel
