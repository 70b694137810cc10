#include "log/import_log.h"

#include "component/told_stop.h"
#include "kestrel/clock.h"
#include "kestrel/component_registry.h"
#include "kestrel/connection.h"
#include "kestrel/date.h"
#include "kestrel/host_components.h"
#include "kestrel/user_interface.h"
#include "platform/automation/optional_member.h"
#include "platform/base/text.h"
#include "platform/base/whole_path.h"
#include "sources/piped_source.h"
#include "sources/source_kind.h"

namespace kestrel {

namespace {

// The host's mode for which the log component is called with its eight leading arguments only.
constexpr std::int16_t kShortCallMode = 2;
// SetField's first argument, whose meaning is the log component's own.
constexpr int kRowField = 10;

}  // namespace

// What the log component is told about a log. Its members may change the texts, as they get them by
// reference; those are this call's copies, so nothing of the session changes but its connection.
struct ImportLogs::Header {
  Value title;
  Value list_name;
  Value date;
  Value description;
  Value file;
  Value source_type;
};

std::string ImportLogs::CallCreateProtokoll(const ObjectPtr& log, Header& header) {
  Value user(GetUserName(session_.HostConnection, session_.PersonalNr));
  Value connection(session_.HostConnection);
  Value key;
  if (session_.AppMode == kShortCallMode) {
    key = CallMethod(log, "CreateProtokoll", ByRef(connection), ByRef(header.title), ByRef(user),
                     ByRef(header.list_name), ByRef(header.date), ByRef(header.description), ByRef(header.file),
                     ByRef(header.source_type));
  } else {
    Value caller("clsProtokoll");
    key = CallMethod(log, "CreateProtokoll", ByRef(connection), ByRef(header.title), ByRef(user),
                     ByRef(header.list_name), ByRef(header.date), ByRef(header.description), ByRef(header.file),
                     ByRef(header.source_type), kMissing, ByRef(caller));
  }
  session_.HostConnection = connection.ToObject();
  return key.ToText();
}

// The working copy, which the head names, is gone after the import.
void ImportLogs::TellOrigin(const ObjectPtr& log) {
  auto set_detail = FindOptional(log, "SetLogDetail");
  if (!set_detail) return;
  const SourceKind* const kind = KindOf(session_);
  std::string source = kind == nullptr ? std::string() : session_.*kind->location;
  if (IsStream(source)) {
    source = "(Datenstrom)";
  } else if (kind != nullptr && kind->place != SourcePlace::kServer) {
    source = WholePath(source);
  }
  set_detail->Call("Specification", WholePath(session_.ChosenSpecFile));
  set_detail->Call("Source", source);
  set_detail->Call("ImportClass", session_.ImportClassProgID);
}

void ImportLogs::Show(const std::string& text, const char* title) const {
  if (!IsToldAsStop(session_)) session_.platform.ui.MessageBox(text, title, Icon::kStop, Buttons::kOk);
}

void ImportLogs::Create(Log& log, Header header) {
  if (!log.key.empty()) return;
  log = Log();
  Trap(
      [&] {
        const ObjectPtr object = session_.platform.components.CreateObject(kLogComponent);
        log.key = CallCreateProtokoll(object, header);
        log.add_new_record = BoundMember(object, "AddNewRecord");
        log.set_field = BoundMember(object, "SetField");
        log.update_record = BoundMember(object, "UpdateRecord");
        log.set_row_detail = FindOptional(object, "SetRowDetail");
        log.store_row = FindOptional(object, "StoreRow");
        // The log is none the worse without.
        Trap([&] { TellOrigin(object); }, [](const RuntimeError&) {});
      },
      [&](const RuntimeError& error) {
        Show("Protokoll konnte nicht erzeugt werden. " + error.Description(), "CreateProtocol");
      });
}

void ImportLogs::StoreWithDetails(Log& log, std::size_t columns, const LogDetails& details) {
  log.add_new_record.Call();
  for (std::size_t column = 0; column < columns; ++column) {
    log.set_field.Call(kRowField, column, ByRef(log.texts[column]));
  }
  if (log.set_row_detail) {
    const auto set_details = [&] {
      for (const LogDetail& detail : details) log.set_row_detail->Call(detail.name, detail.text);
    };
    Trap(set_details, [](const RuntimeError&) {});
  }
  log.update_record.Call();
}

bool ImportLogs::AddRow(Log& log, std::initializer_list<std::string_view> columns, const LogDetails& details) {
  return Trap(
      [&] {
        auto& [text, second, third] = log.texts;
        std::size_t count = 0;
        for (const std::string_view content : columns) log.texts.at(count++).AssignText(content);
        if (!log.store_row || !details.empty()) {
          StoreWithDetails(log, count, details);
        } else if (count == 1) {
          log.store_row->Call(ByRef(text));
        } else {
          log.store_row->Call(ByRef(text), ByRef(second), ByRef(third));
        }
      },
      [&](const RuntimeError& error) {
        Show("Fehler beim Erzeugen der Protokollzeile. " + error.Description(), "AddProtocolColumn");
      });
}

void ImportLogs::CreateProtocol(const std::string& title, const std::string& list_name, const std::string& date,
                                const std::string& description, const std::string& file,
                                const std::string& source_type) {
  Create(error_log_, {title, list_name, date, description, file, source_type});
}

void ImportLogs::CreateDoubletProtocol(const std::string& title, const std::string& list_name,
                                       const std::string& date, const std::string& description,
                                       const std::string& file, const std::string& source_type) {
  Create(duplicate_log_, {title, list_name, date, description, file, source_type});
}

bool ImportLogs::AddProtocolColumn(std::string_view error_line, const LogDetails& details) {
  return AddRow(error_log_, {error_line}, details);
}

bool ImportLogs::AddDoubletProtocolColumns(std::string_view record_mark, std::string_view field_name,
                                           std::string_view field_value, const LogDetails& details) {
  return AddRow(duplicate_log_, {record_mark, field_name, field_value}, details);
}

bool ImportLogs::WriteErrorProtocol(std::int64_t error_number, std::string_view error_text,
                                    std::string_view context, std::string_view member,
                                    const LogDetails& details) {
  std::string line = "Fehler: " + std::to_string(error_number) + " ";
  line.append(error_text).append(" (").append(member).append("/").append(context).append(")");
  CreateProtocol(kErrorLogTitle, kErrorLogList, FormatShortDate(session_.platform.clock.Now().date),
                 session_.Description, session_.SpecFile, session_.Provider);
  return AddProtocolColumn(line, details);
}

void ImportLogs::Close() {
  error_log_ = Log();
  duplicate_log_ = Log();
}

std::string GetUserName(const ObjectPtr& host_connection, const std::string& personal_nr) {
  Connection& host = RequireConnection(host_connection);
  RecordsetPtr employee;
  Trap(
      [&] {
        employee = host.OpenRecordset(
            "SELECT PersonalNr, Nachname, Vorname, Titel From Personalstamm Where PersonalNr ='" + personal_nr +
            "'");
      },
      [&](const RuntimeError& error) {
        // Of a connection that is lost and the like it says itself what to do.
        if (!host.StopReason().empty()) throw;
        throw RuntimeError(error.Number(),
                           error.Description() + ". Für ein Protokoll wird der Name des Benutzers '" +
                               personal_nr +
                               "' in der Tabelle 'Personalstamm' (PersonalNr, Nachname, Vorname, Titel) "
                               "gesucht; es muss sie geben, sie darf leer sein.");
      });
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
