#include "mapping/field_assignment.h"

#include "component/import_class.h"
#include "kestrel/runtime_error.h"
#include "log/import_log.h"
#include "mapping/row_keeper.h"
#include "mapping/translation.h"
#include "platform/base/text.h"
#include "spec/profile_access.h"

namespace kestrel {

namespace {

constexpr const char* kAssignmentSection = "FieldAssignments";
constexpr const char* kTranslationSwitchSection = "FieldTranslation";
constexpr const char* kFormatSection = "FieldFormat";
constexpr const char* kNotAssignedText = "NOTASSIGNED";
constexpr std::string_view kFieldPrefix = "FIELD:";
constexpr std::string_view kConstantPrefix = "CONST:";

// Whether some row answers true; stops at the first that does.
template <class Test>
bool AnyRow(MemoryRecordset& list, Test&& test) {
  const RowKeeper keeper(list);
  for (list.MoveFirst(); !list.IsEof(); list.MoveNext()) {
    if (test()) return true;
  }
  return false;
}

// A truth value of a column, where null is false.
bool IsTrue(const Recordset& set, std::size_t column) {
  return !set.IsNull(column) && set.ValueAt(column).ToBool();
}

// Set, and to the empty text.
bool IsEmptyText(const Recordset& set, std::size_t column) {
  return !set.IsNull(column) && set.TextAt(column).empty();
}

// Set, and to another text than the empty one; null reads as the empty text.
bool HasText(const Recordset& set, std::size_t column) { return !set.TextAt(column).empty(); }

// Raises 3421 where a text of the current row does not fit, with the field, where the text stands, and the limit.
void RequireFits(const MemoryRecordset& list, std::string_view text, std::size_t limit,
                 std::string_view origin) {
  const std::size_t length = LengthInCharacters(text);
  if (length <= limit) return;
  throw RuntimeError(ErrorNumber::kColumnType, "Feld \"" + std::string(list.TextAt(kSourceName)) + "\", " +
                                                   std::string(origin) + ": der Text hat " +
                                                   std::to_string(length) + " Zeichen, höchstens " +
                                                   std::to_string(limit) + " sind möglich");
}

// How messages name an entry of the import specification for the field of the current row.
std::string EntryName(const MemoryRecordset& list, const char* section) {
  return "Abschnitt [" + std::string(section) + "], Schlüssel \"" + std::string(list.TextAt(kSourceName)) +
         "\"";
}

void SetAssignment(MemoryRecordset& list, AssignmentOption option, std::string_view destination_name,
                   std::string_view display) {
  // The display text has to fit with what stands around the name.
  const std::size_t around = LengthInCharacters(display) - LengthInCharacters(destination_name);
  RequireFits(list, destination_name, kMaxListText - around, EntryName(list, kAssignmentSection));
  list.SetText(kInfo, "");
  list.SetText(kDestinationName, destination_name);
  list.SetText(kDspDestinationName, display);
  list.SetValue(kOption, static_cast<std::int64_t>(option));
}

void SetTranslate(MemoryRecordset& list, bool translate) {
  list.SetValue(kTranslate, translate ? 1 : 0);
  if (translate) list.SetText(kInfo, kTranslatedRemark);
}

// The name or constant of a stored assignment: the text between its first and its second colon.
std::string_view AssignedText(std::string_view assignment) { return Split(assignment, ':')[1]; }

void LoadImportField(MemoryRecordset& list, const ProfileImage& spec, const std::string& field,
                     std::string_view source_column, const std::vector<std::string>& source_columns) {
  if (IsInList(source_column, source_columns)) {
    SetAssignment(list, kImportField, source_column, DisplayFieldName(source_column));
  } else {
    SetAssignment(list, kNotAssigned, "", "");
  }
  SetTranslate(list, !GetIniSection(spec, TranslationSection(field)).empty() &&
                         GetIniString(spec, kTranslationSwitchSection, field, "0") == "1");
  const std::string format = GetIniString(spec, kFormatSection, field, "");
  RequireFits(list, format, kMaxListRemark, EntryName(list, kFormatSection));
  if (!format.empty()) list.SetText(kFormat, format);
}

// The field of the current row as the import specification assigns it.
void LoadAssignment(MemoryRecordset& list, const ProfileImage& spec, const std::string& field,
                    const std::vector<std::string>& source_columns) {
  const std::string assignment = GetIniString(spec, kAssignmentSection, field, "");
  list.SetText(kInfo, "");
  if (assignment == kNotAssignedText) {
    list.SetText(kDestinationName, "");
    list.SetValue(kOption, static_cast<std::int64_t>(kNotAssigned));
  } else if (assignment.starts_with(kFieldPrefix)) {
    LoadImportField(list, spec, field, AssignedText(assignment), source_columns);
  } else if (assignment.starts_with(kConstantPrefix)) {
    const std::string_view constant = AssignedText(assignment);
    SetAssignment(list, kConstantValue, constant, DisplayConstant(constant));
  }
}

struct CopiedColumn {
  const char* name;
  AssignmentColumn target;
  std::size_t text_size = 0;  // of a text column
};
constexpr CopiedColumn kCopiedColumns[] = {{"Obligation", kObligation},
                                           {"RowSourceTyp", kRowSourceTyp},
                                           {"RowSource", kRowSource, kMaxListText},
                                           {"Size", kSize},
                                           {"FieldTyp", kFieldTyp, kMaxListRemark},
                                           {"DateField", kDateField}};

// Asks the import class for its fields. Its own error is logged; what it returned counts all the same.
RecordsetPtr RequestFields(Session& session, ImportLogs& logs) {
  const Value answer = CallMethod(session.ImportClass, "GetFields");
  const ImportClassError error = ReadImportClassError(session);
  if (error.code != 0) logs.WriteErrorProtocol(error.code, error.description, "GetData", "GetFields");
  return ToRecordset(answer);
}

void FillAssignmentList(Session& session, ImportLogs& logs, MemoryRecordset& list,
                        std::vector<bool>& mandatory) {
  const RecordsetPtr fields = RequestFields(session, logs);
  const std::size_t name_column = fields->RequireColumn("FieldName");
  std::array<std::size_t, std::size(kCopiedColumns)> sources;
  for (std::size_t i = 0; i < sources.size(); ++i) sources[i] = fields->RequireColumn(kCopiedColumns[i].name);
  const std::size_t obligation_column = sources[0];

  const std::shared_ptr<const ProfileImage> spec = ProfileStore().Require(session.SpecFile);
  for (fields->MoveFirst(); !fields->IsEof(); fields->MoveNext()) {
    const std::string field(fields->TextAt(name_column));
    list.AddNew();
    list.SetText(kSourceName, field);
    LoadAssignment(list, *spec, field, session.SourceFieldNames);
    mandatory.push_back(IsTrue(*fields, obligation_column));
    for (std::size_t i = 0; i < sources.size(); ++i) {
      const CopiedColumn& column = kCopiedColumns[i];
      if (column.text_size > 0) {
        RequireFits(list, fields->TextAt(sources[i]), column.text_size,
                    "Spalte " + std::string(column.name) + " der Feldliste des Importziels");
      }
      list.SetValue(column.target, fields->ValueAt(sources[i]));
    }
  }
}

}  // namespace

std::shared_ptr<MemoryRecordset> CreateAssignmentList() {
  auto list = std::make_shared<MemoryRecordset>();
  list->AppendColumn("SourceName", ColumnType::kText, kMaxListText);
  list->AppendColumn("DestinationName", ColumnType::kText, kMaxListText);
  list->AppendColumn("DspDestinationName", ColumnType::kText, kMaxListText);
  list->AppendColumn("Option", ColumnType::kInt64);
  list->AppendColumn("Obligation", ColumnType::kBool);
  list->AppendColumn("RowSourceTyp", ColumnType::kInt64);
  list->AppendColumn("RowSource", ColumnType::kText, kMaxListText);
  list->AppendColumn("Translate", ColumnType::kInt16);
  list->AppendColumn("FieldTyp", ColumnType::kText, kMaxListRemark);
  list->AppendColumn("Size", ColumnType::kInt64);
  list->AppendColumn("Info", ColumnType::kText, kMaxListRemark);
  list->AppendColumn("Format", ColumnType::kText, kMaxListRemark);
  list->AppendColumn("DateField", ColumnType::kBool);
  return list;
}

std::vector<std::string> AssignedSourceColumns(const Session& session) {
  std::vector<std::string> columns;
  const std::shared_ptr<const ProfileImage> spec = ProfileStore().Require(session.SpecFile);
  if (const ProfileImage::Section* section = spec->FindSection(kAssignmentSection)) {
    for (const ProfileImage::Entry& entry : section->entries) {
      const std::string assignment = GetIniString(*spec, kAssignmentSection, entry.key, "");
      if (assignment.starts_with(kFieldPrefix)) columns.emplace_back(AssignedText(assignment));
    }
  }
  columns.emplace_back();
  return columns;
}

std::vector<bool> BuildAssignmentList(Session& session, ImportLogs& logs, std::string* failure) {
  const std::shared_ptr<MemoryRecordset> list = CreateAssignmentList();
  session.AssignmentList = list;
  std::vector<bool> mandatory(1);
  Trap([&] { FillAssignmentList(session, logs, *list, mandatory); },
       [&](const RuntimeError& error) {
         if (failure != nullptr) *failure = error.Description();
       });
  // A failed build may have left a row without its flag.
  mandatory.resize(static_cast<std::size_t>(list->RecordCount()) + 1);
  list->MoveFirst();
  return mandatory;
}

void StoreCurrentAssignment(MemoryRecordset& list, const AssignmentPanel& panel) {
  switch (panel.option) {
    case kNotAssigned: SetAssignment(list, kNotAssigned, "", ""); break;
    case kImportField:
      SetAssignment(list, kImportField, panel.import_field, DisplayFieldName(panel.import_field));
      SetTranslate(list, panel.translate);
      list.SetText(kFormat, panel.date_format);
      break;
    case kConstantValue:
      SetAssignment(list, kConstantValue, panel.constant, DisplayConstant(panel.constant));
      break;
  }
}

AssignmentPanel ReadAssignment(MemoryRecordset& list, std::int64_t row) {
  const RowKeeper keeper(list);
  list.GoTo(row);
  AssignmentPanel panel;
  const std::int64_t option = list.IsNull(kOption) ? 0 : list.ValueAt(kOption).ToInteger();
  if (option == kImportField) {
    panel.option = kImportField;
    panel.import_field = list.TextAt(kDestinationName);
    panel.translate = IsTrue(list, kTranslate);
    panel.date_format = list.TextAt(kFormat);
  } else if (option == kConstantValue) {
    panel.option = kConstantValue;
    panel.constant = list.TextAt(kDestinationName);
  }
  return panel;
}

std::shared_ptr<MemoryRecordset> CopyAssignments(MemoryRecordset& list, std::optional<std::int64_t> only) {
  const RowKeeper keeper(list);
  std::shared_ptr<MemoryRecordset> copy = CreateAssignmentList();
  for (list.MoveFirst(); !list.IsEof(); list.MoveNext()) {
    if (only && list.Bookmark() != *only) continue;
    copy->AddNew();
    for (std::size_t column = 0; column < kAssignmentColumnCount; ++column) {
      copy->SetValue(column, list.ValueAt(column));
    }
  }
  copy->MoveFirst();
  return copy;
}

bool IsInList(std::string_view name, const std::vector<std::string>& list) {
  for (std::size_t i = 0; i + 1 < list.size(); ++i) {
    if (list[i] == name) return true;
  }
  return false;
}

std::string DisplayFieldName(std::string_view name) {
  if (name.empty()) return {};
  return std::string("«").append(name).append("»");
}

std::string DisplayConstant(std::string_view constant) {
  return std::string("\"").append(constant).append("\"");
}

std::vector<std::string> OfferedSourceFields(const std::vector<std::string>& source_field_names) {
  std::vector<std::string> offered;
  for (std::size_t i = 0; i + 1 < source_field_names.size(); ++i) {
    const std::string& name = source_field_names[i];
    offered.push_back(name.empty() ? UnnamedColumn(i + 1) : name);
  }
  return offered;
}

bool HasUsableSourceFields(const std::vector<std::string>& source_field_names) {
  // The closing empty element is no column.
  return source_field_names.size() > 2;
}

bool MandatoryFieldUnassigned(MemoryRecordset& list) {
  return AnyRow(list, [&] { return IsTrue(list, kObligation) && IsEmptyText(list, kDestinationName); });
}

bool DateFieldWithoutFormat(MemoryRecordset& list) {
  return AnyRow(list, [&] {
    return IsTrue(list, kDateField) && HasText(list, kDestinationName) && IsEmptyText(list, kFormat);
  });
}

}  // namespace kestrel
