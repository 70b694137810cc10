#include "log/import_log.h"

#include "platform/base/date.h"
#include "platform/base/text.h"
#include "platform/data/connection.h"

namespace kestrel {

namespace {

constexpr const char* kLogComponent = "KSHProto.Protokoll";
// The host's mode for which the log component is called with its eight leading arguments only.
constexpr std::int16_t kShortCallMode = 2;
// SetField's first argument, whose meaning is the log component's own.
constexpr int kRowField = 10;

// What the log component is told about a log. Its members may change the texts, as they get them by
// reference; those are this call's copies, so nothing of the session changes but its connection.
struct LogHeader {
  Value title;
  Value list_name;
  Value date;
  Value description;
  Value file;
  Value source_type;
};

std::string CallCreateProtokoll(Session& session, const ObjectPtr& log, LogHeader& header) {
  Value user(GetUserName(session, session.PersonalNr));
  Value connection(session.HostConnection);
  Value key;
  if (session.AppMode == kShortCallMode) {
    key = CallMethod(log, "CreateProtokoll", ByRef(connection), ByRef(header.title), ByRef(user),
                     ByRef(header.list_name), ByRef(header.date), ByRef(header.description), ByRef(header.file),
                     ByRef(header.source_type));
  } else {
    Value caller("clsProtokoll");
    key = CallMethod(log, "CreateProtokoll", ByRef(connection), ByRef(header.title), ByRef(user),
                     ByRef(header.list_name), ByRef(header.date), ByRef(header.description), ByRef(header.file),
                     ByRef(header.source_type), kMissing, ByRef(caller));
  }
  session.HostConnection = connection.ToObject();
  return key.ToText();
}

void CreateLog(Session& session, LogState& state, LogHeader header) {
  if (!state.key.empty()) return;
  // A log whose creation fails leaves no object behind, so that its rows fail too until one succeeds.
  state = LogState();
  Trap(
      [&] {
        const ObjectPtr log = session.platform.components.CreateObject(kLogComponent);
        state.key = CallCreateProtokoll(session, log, header);
        state.log = log;
        state.add_new_record = BoundMember(log, "AddNewRecord");
        state.set_field = BoundMember(log, "SetField");
        state.update_record = BoundMember(log, "UpdateRecord");
      },
      [&](const RuntimeError& error) {
        session.platform.ui.MessageBox("Protokoll konnte nicht erzeugt werden. " + error.Description(),
                                       "CreateProtocol", Icon::kStop, Buttons::kOk);
      });
}

bool AddRow(Session& session, LogState& state, std::initializer_list<std::string_view> columns) {
  return Trap(
      [&] {
        state.add_new_record.Call();
        Value text;
        int column = 0;
        for (const std::string_view content : columns) {
          text.AssignText(content);
          state.set_field.Call(kRowField, column++, ByRef(text));
        }
        state.update_record.Call();
      },
      [&](const RuntimeError& error) {
        session.platform.ui.MessageBox("Fehler beim Erzeugen der Protokollzeile. " + error.Description(),
                                       "AddProtocolColumn", Icon::kStop, Buttons::kOk);
      });
}

}  // namespace

void CreateProtocol(Session& session, const std::string& title, const std::string& list_name,
                    const std::string& date, const std::string& description, const std::string& file,
                    const std::string& source_type) {
  CreateLog(session, session.ErrorLog, {title, list_name, date, description, file, source_type});
}

void CreateDoubletProtocol(Session& session, const std::string& title, const std::string& list_name,
                           const std::string& date, const std::string& description, const std::string& file,
                           const std::string& source_type) {
  CreateLog(session, session.DuplicateLog, {title, list_name, date, description, file, source_type});
}

bool AddProtocolColumn(Session& session, std::string_view error_line) {
  return AddRow(session, session.ErrorLog, {error_line});
}

bool AddDoubletProtocolColumns(Session& session, std::string_view record_mark, std::string_view field_name,
                               std::string_view field_value) {
  return AddRow(session, session.DuplicateLog, {record_mark, field_name, field_value});
}

bool WriteErrorProtocol(Session& session, std::int64_t error_number, std::string_view error_text,
                        std::string_view context, std::string_view member) {
  std::string line = "Fehler: " + std::to_string(error_number) + " ";
  line.append(error_text).append(" (").append(member).append("/").append(context).append(")");
  CreateProtocol(session, kErrorLogTitle, kErrorLogList, FormatShortDate(session.platform.clock.Now().date),
                 session.Description, session.SpecFile, session.Provider);
  return AddProtocolColumn(session, line);
}

std::string GetUserName(Session& session, const std::string& personal_nr) {
  const RecordsetPtr employee =
      RequireConnection(session.HostConnection)
          .OpenRecordset("SELECT PersonalNr, Nachname, Vorname, Titel From Personalstamm Where PersonalNr ='" +
                         personal_nr + "'");
  if (employee->IsEof()) return {};
  // By position, as databases differ in the case in which they report column names.
  constexpr std::size_t kLastName = 1;
  constexpr std::size_t kFirstName = 2;
  constexpr std::size_t kTitle = 3;
  std::string name;
  for (const std::size_t column : {kTitle, kFirstName, kLastName}) {
    name.append(employee->TextAt(column)).append(" ");
  }
  return std::string(TrimBlanks(name));
}

}  // namespace kestrel
