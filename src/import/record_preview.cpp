#include "import/record_preview.h"

#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "import/record_assembly.h"
#include "mapping/field_assignment.h"
#include "mapping/shown_value.h"
#include "mapping/value_conversion.h"
#include "platform/automation/optional_member.h"
#include "platform/base/text.h"
#include "platform/profile/profile.h"

namespace kestrel {

namespace {

bool IsTrue(const MemoryRecordset& list, std::size_t column) {
  return !list.IsNull(column) && list.ValueAt(column).ToBool();
}

// A row of the assignment list, as far as its values are judged here.
struct Field {
  std::string name;
  std::int64_t option = kNotAssigned;
  std::string destination;
  std::string format;
  bool is_mandatory = false;
  bool is_date = false;
  FieldKind kind = FieldKind::kOther;
  std::string size;
};

Field FieldOf(const MemoryRecordset& list) {
  return {.name = std::string(list.TextAt(kSourceName)),
          .option = list.IsNull(kOption) ? kNotAssigned : list.ValueAt(kOption).ToInteger(),
          .destination = ReplaceAll(list.TextAt(kDestinationName), "\"", ""),
          .format = std::string(list.TextAt(kFormat)),
          .is_mandatory = IsTrue(list, kObligation),
          .is_date = IsTrue(list, kDateField),
          .kind = KindOfField(list.TextAt(kFieldTyp)),
          .size = std::string(list.TextAt(kSize))};
}

// The form in which a day is stored.
bool IsStoredDate(std::string_view text) {
  constexpr std::string_view kMidnight = "000000";
  return text.ends_with(kMidnight) &&
         ReadDate(text.substr(0, text.size() - kMidnight.size()), *FindDatePattern("jjjjmmtt")).has_value();
}

// Takes what the assembly of one record after the other tells.
class Problems final : public FieldErrors {
 public:
  void Begin(PreviewedRecord& record) { record_ = &record; }
  // Of two fields of one name a record has but the first.
  void Add(const Field& field) { fields_.try_emplace(field.name, fields_.size()); }

  void Count(const RuntimeError& error, const FieldValue& value) override {
    const std::string& text = error.Description();
    Refuse(value, text.ends_with('.') ? text : text + ".");
  }
  void CountTypeMismatch(const FieldValue& value, std::string_view text) override {
    Refuse(value, "\"" + std::string(text) + "\" ist keine Zahl; wird nicht geschrieben.");
  }
  void NoteCut(const std::string& field) override {
    if (PreviewedField* at = Find(field)) at->state = PreviewedField::State::kChanged;
  }

 private:
  PreviewedField* Find(std::string_view field) {
    const auto found = fields_.find(std::string(field));
    return found == fields_.end() ? nullptr : &(*record_)[found->second];
  }
  void Refuse(const FieldValue& value, std::string reason) {
    PreviewedField* field = Find(value.field);
    // The first reason is that of the others.
    if (field == nullptr || !field->reason.empty()) return;
    field->state = PreviewedField::State::kRefused;
    field->reason = std::move(reason);
  }

  std::unordered_map<std::string, std::size_t> fields_;
  PreviewedRecord* record_ = nullptr;
};

// What the import class says of values, where it can.
class Destination {
 public:
  explicit Destination(const ObjectPtr& import_class) {
    Trap([&] { check_value_ = FindOptional(import_class, "CheckValue"); }, [](const RuntimeError&) {});
  }
  bool CanTell() const { return check_value_.has_value(); }
  std::string WhyRefused(const Field& field, std::string_view text) {
    std::string reason;
    Trap([&] { reason = check_value_->Call(field.name, text).ToText(); }, [](const RuntimeError&) {});
    return reason;
  }

 private:
  std::optional<BoundMember> check_value_;
};

// What no rule of the run counts as an error, though the destination will not take it, or hardly.
std::string WhyUnlikely(const Field& field, std::string_view text, Destination& destination) {
  const bool is_empty = TrimBlanks(text).empty();
  if (is_empty) return field.is_mandatory ? "Das Pflichtfeld bleibt leer." : "";
  if (destination.CanTell()) return destination.WhyRefused(field, text);
  if (!field.is_date || field.option != kImportField || IsStoredDate(text)) return "";
  if (field.format.empty()) return "Kein Datumsformat gewählt; wird unverändert übergeben.";
  return "Kein Tag im Format " + field.format + "; wird unverändert übergeben.";
}

void Judge(const Field& field, Destination& destination, PreviewedField& previewed) {
  if (previewed.state == PreviewedField::State::kRefused) return;
  if (std::string reason = WhyUnlikely(field, previewed.text, destination); !reason.empty()) {
    previewed.state = PreviewedField::State::kRefused;
    previewed.reason = std::move(reason);
  } else if (previewed.state == PreviewedField::State::kChanged) {
    previewed.reason = "Gekürzt, denn das Feld fasst " + field.size + " Zeichen.";
  }
}

}  // namespace

std::vector<PreviewedRecord> PreviewRecords(const Session& session,
                                            const std::shared_ptr<MemoryRecordset>& list,
                                            const SourceExcerpt& sample) {
  Session own(session.platform);
  own.SpecFile = session.SpecFile;
  own.AssignmentList = list;
  ProfileStore profiles;
  Problems problems;
  Destination destination(session.ImportClass);
  RecordAssembly assembly(own, profiles, problems);
  std::vector<Field> fields;
  const auto record = std::make_shared<MemoryRecordset>();
  for (list->MoveFirst(); !list->IsEof(); list->MoveNext()) {
    fields.push_back(FieldOf(*list));
    problems.Add(fields.back());
    record->AppendColumn(fields.back().name);
  }
  record->AddNew();

  std::vector<PreviewedRecord> previewed;
  const RecordsetPtr source = RecordsOf(sample);
  for (const std::vector<ExcerptValue>& values : sample.records) {
    PreviewedRecord& made = previewed.emplace_back(fields.size());
    problems.Begin(made);
    record->ClearRow();
    Trap([&] { assembly.Fill(source, record); },
         [&](const RuntimeError& error) {
           for (const Field& field : fields) problems.Count(error, {.field = field.name});
         });
    for (std::size_t i = 0; i < fields.size(); ++i) {
      if (!record->IsNull(i)) made[i].text = record->TextAt(i);
      made[i].shown = ShownValue(made[i].text, fields[i].kind, fields[i].is_date);
      if (fields[i].option == kConstantValue) made[i].raw = fields[i].destination;
      const auto column = source->FindColumn(fields[i].destination);
      if (fields[i].option == kImportField && column) made[i].raw = values[*column].text;
      Judge(fields[i], destination, made[i]);
    }
    source->MoveNext();
  }
  return previewed;
}

}  // namespace kestrel
