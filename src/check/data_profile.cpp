#include "check/data_profile.h"

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "check/address_repeats.h"
#include "check/field_profile.h"
#include "check/source_check.h"
#include "check/text_check.h"
#include "mapping/field_assignment.h"
#include "mapping/translation.h"
#include "platform/base/text.h"
#include "platform/profile/profile.h"
#include "sources/source_kind.h"
#include "sources/source_reader.h"

namespace kestrel {

namespace {

// The values that the current row's field may have; none where it may have any.
std::vector<PermittedValue> PermittedValues(Session& session, const MemoryRecordset& list, Findings& findings) {
  std::vector<PermittedValue> values;
  const std::string field(list.TextAt(kSourceName));
  Trap(
      [&] {
        values = ReadPermittedValues(session, list.TextAt(kRowSource), list.TextAt(kRowSourceTyp),
                                     ValueListUse::kTranslation);
      },
      [&](const RuntimeError& error) {
        findings.Warn(
            {"FieldAssignments", field, field},
            "Die Werte, die das Feld haben darf, konnten nicht gelesen werden: " + error.Description());
      });
  return values;
}

class FieldProfiles {
 public:
  FieldProfiles(Session& session, MemoryRecordset& list, AddressRepeats& addresses, Findings& findings)
      : specification_(ProfileStore().Read(session.SpecFile)), addresses_(addresses) {
    for (list.MoveFirst(); !list.IsEof(); list.MoveNext()) {
      const std::optional<std::size_t> column = addresses.ColumnOf(list.TextAt(kSourceName));
      const std::int64_t option = list.IsNull(kOption) ? 0 : list.ValueAt(kOption).ToInteger();
      if (option == kConstantValue && column) addresses.Put(*column, list.TextAt(kDestinationName));
      if (option != kImportField || list.TextAt(kDestinationName).empty()) continue;
      fields_.push_back({FieldProfile(list, PermittedValues(session, list, findings)), column, std::nullopt});
    }
  }

  void ResolveColumns(const Recordset& source) {
    for (Field& field : fields_) field.source_column = source.FindColumn(field.profile.column());
  }

  void Look(std::int64_t record, const Recordset& source) {
    for (Field& field : fields_) {
      if (!field.source_column) continue;
      Trap([&] { LookAt(field, record, source.TextAt(*field.source_column)); },
           [&](const RuntimeError& error) { field.profile.NoteUnreadable(record, error.Description()); });
    }
  }

  void Tell(DataProfile& profile) const {
    for (const Field& field : fields_) {
      if (!field.source_column) continue;
      profile.fields.push_back(field.profile.Figures());
      field.profile.Tell(profile.findings);
    }
  }

 private:
  struct Field {
    FieldProfile profile;
    std::optional<std::size_t> key_column;
    std::optional<std::size_t> source_column;
  };

  void LookAt(Field& field, std::int64_t record, std::string_view value) {
    const std::optional<std::string_view> written = field.profile.Look(record, value, specification_);
    if (field.key_column) addresses_.Put(*field.key_column, written.value_or(""));
  }

  std::shared_ptr<const ProfileImage> specification_;
  AddressRepeats& addresses_;
  std::deque<Field> fields_;
};

void CheckColumnNames(const std::vector<std::string>& names, const FindingPlace& place, Findings& findings) {
  std::map<std::string, std::vector<std::size_t>> places;
  // The last one is no column.
  for (std::size_t i = 0; i + 1 < names.size(); ++i) {
    if (!names[i].empty()) places[names[i]].push_back(i + 1);
  }
  for (const auto& [name, columns] : places) {
    if (columns.size() < 2) continue;
    std::string numbers;
    for (const std::size_t column : columns) {
      numbers.append(numbers.empty() ? "" : ", ").append(std::to_string(column));
    }
    findings.Warn(place,
                  "Mehrere Spalten heißen \"" + name + "\" (" + numbers + "); gelesen wird nur die erste.",
                  "Geben Sie jeder Spalte der Quelle einen eigenen Namen.");
  }
}

}  // namespace

void ProfileData(Session& session, MemoryRecordset* list, DuplicateCheck& duplicates, DataProfile& profile) {
  const FindingPlace place{"Common", LocationKey(session)};
  CheckColumnNames(session.SourceFieldNames, place, profile.findings);
  SourceReader reader(session);
  reader.OpenSourceRecordset();
  const std::int64_t count = reader.SourceRecordCount();
  RecordsetPtr source = reader.SourceMoveFirst();
  profile.source.columns = source->ColumnCount();
  TextCheck text(dynamic_cast<TextFacts*>(source.get()), source->ColumnCount(), place);
  Trap([&] { text.LookAtFile(profile); },
       [&](const RuntimeError& error) {
         profile.findings.Error(place, "Die Datei kann nicht gelesen werden. " + error.Description());
       });

  AddressRepeats addresses(session, duplicates, count);
  std::optional<FieldProfiles> fields;
  if (list != nullptr) {
    fields.emplace(session, *list, addresses, profile.findings);
    fields->ResolveColumns(*source);
  }
  std::int64_t& records = profile.source.records;
  while (!reader.SourceEOF() && !reader.end().error) {
    ++records;
    text.LookAtRecord(records);
    if (fields) {
      fields->Look(records, *source);
      addresses.Look(records);
    }
    source = reader.SourceMoveNext();
  }
  reader.CloseSource();
  TellSourceEnd(session, reader.end(), records, count, profile.findings);
  text.Tell(profile);
  if (!fields) return;
  fields->Tell(profile);
  addresses.Tell(profile);
}

}  // namespace kestrel
