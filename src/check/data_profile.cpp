#include "check/data_profile.h"

#include <algorithm>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "check/address_repeats.h"
#include "check/destination_trial.h"
#include "check/field_profile.h"
#include "check/source_check.h"
#include "check/text_check.h"
#include "check/value_tally.h"
#include "mapping/field_assignment.h"
#include "mapping/translation.h"
#include "mapping/value_conversion.h"
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
      : specification_(ProfileStore().Read(session.SpecFile)), addresses_(addresses), destination_(session) {
    for (list.MoveFirst(); !list.IsEof(); list.MoveNext()) {
      const std::optional<std::size_t> column = addresses.ColumnOf(list.TextAt(kSourceName));
      const std::int64_t option = list.IsNull(kOption) ? 0 : list.ValueAt(kOption).ToInteger();
      if (option == kConstantValue) {
        if (column) addresses.Put(*column, list.TextAt(kDestinationName));
        AddConstant(list);
      }
      if (option != kImportField || list.TextAt(kDestinationName).empty()) continue;
      fields_.push_back({FieldProfile(list, PermittedValues(session, list, findings)), column});
    }
  }

  void ResolveColumns(const Recordset& source) {
    for (Field& field : fields_) field.source_column = source.FindColumn(field.profile.column());
  }

  void Look(std::int64_t record, const Recordset& source) {
    const RecordsetPtr target = destination_.IsOpen() ? destination_.NewRecord(record) : nullptr;
    if (target != nullptr) BeginRecord(record, target);
    for (Field& field : fields_) {
      if (!field.source_column) continue;
      Trap([&] { LookAt(field, record, source.TextAt(*field.source_column), target.get()); },
           [&](const RuntimeError& error) { field.profile.NoteUnreadable(record, error.Description()); });
    }
    if (target == nullptr) return;
    destination_.Ask(record, [&](std::string_view name) {
      return std::any_of(fields_.begin(), fields_.end(), [&](const Field& field) {
        return field.profile.field() == name && field.profile.HasErrorIn(record);
      });
    });
  }

  void Tell(DataProfile& profile) {
    destination_.Finish();
    for (const Field& field : fields_) {
      if (!field.source_column) continue;
      profile.fields.push_back(field.profile.Figures());
      field.profile.Tell(profile.findings, destination_.WasAsked());
      field.target.Tell(field.profile.field(), profile.findings);
    }
    for (const Constant& constant : constants_) constant.target.Tell(constant.field, profile.findings);
    destination_.Tell(profile.findings);
  }

 private:
  // Where a field stands in the import class's record, and what that does not take.
  struct Target {
    std::optional<std::size_t> column;
    ValueTally refused;
    std::string reason;  // of the first

    void Write(std::int64_t number, Recordset& record, std::string_view text) {
      if (!column) return;
      Trap([&] { record.SetText(*column, text); },
           [&](const RuntimeError& error) {
             if (reason.empty()) reason = error.Description();
             refused.Add(number, text);
           });
    }
    void Tell(const std::string& field, Findings& findings) const {
      refused.Tell(findings, Severity::kError, {"FieldAssignments", field, field},
                   "Wert passt nicht in das Feld des Importziels",
                   "Werte passen nicht in das Feld des Importziels", reason);
    }
  };
  struct Field {
    FieldProfile profile;
    std::optional<std::size_t> key_column;
    std::optional<std::size_t> source_column = {};
    Target target = {};
  };
  struct Constant {
    std::string field;
    std::string text;
    Target target = {};
  };

  // As the run writes it; one that does not fit is a finding of the assignments.
  void AddConstant(const MemoryRecordset& list) {
    const std::string text = ReplaceAll(list.TextAt(kDestinationName), "\"", "");
    const FieldKind kind = KindOfField(list.TextAt(kFieldTyp));
    if (!IsCompatible(text, kind)) return;
    const std::int64_t size = list.IsNull(kSize) ? -1 : list.ValueAt(kSize).ToInteger();
    const auto written = ShapeByType(text, size < 0 ? FieldKind::kText : kind, size);
    if (written) constants_.push_back({std::string(list.TextAt(kSourceName)), std::string(*written)});
  }

  // An import class may hand out one object for all records, or one of the same shape for each.
  void BeginRecord(std::int64_t number, const RecordsetPtr& record) {
    if (record != record_) {
      for (Field& field : fields_) field.target.column = record->FindColumn(field.profile.field());
      for (Constant& constant : constants_) constant.target.column = record->FindColumn(constant.field);
      record_ = record;
    }
    for (Constant& constant : constants_) constant.target.Write(number, *record, constant.text);
  }

  void LookAt(Field& field, std::int64_t record, std::string_view value, Recordset* target) {
    const std::optional<std::string_view> written = field.profile.Look(record, value, specification_);
    if (field.key_column) addresses_.Put(*field.key_column, written.value_or(""));
    if (target != nullptr && written) field.target.Write(record, *target, *written);
  }

  std::shared_ptr<const ProfileImage> specification_;
  AddressRepeats& addresses_;
  DestinationTrial destination_;
  std::deque<Field> fields_;
  std::vector<Constant> constants_;
  RecordsetPtr record_;  // which the columns are of
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
