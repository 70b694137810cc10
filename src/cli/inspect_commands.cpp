// Commands that look at specifications and sources and change nothing.
#include <algorithm>
#include <ostream>

#include "cli/program.h"
#include "mapping/field_assignment.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "sources/source_kind.h"
#include "sources/source_reader.h"
#include "spec/profile_access.h"
#include "spec/specification.h"

namespace kestrel::cli {

namespace {

std::string YesNo(bool truth) { return truth ? kYes : kNo; }

struct Setting {
  std::string key;
  std::string value;
  JsonKind kind = JsonKind::kOptional;
};

// The settings of section Common that the provider uses.
std::vector<Setting> CommonSettings(const Session& session) {
  std::vector<Setting> settings = {{"Description", session.Description},
                                   {"Application", std::to_string(session.AppMode), JsonKind::kNumber},
                                   {"ImportClass", session.ImportClassProgID},
                                   {"Provider", session.Provider}};
  std::vector<CommonKey> keys = KindOf(session)->keys;
  // A login is shown before what it opens.
  std::stable_partition(keys.begin(), keys.end(), [](const CommonKey& key) {
    return key.text != &Session::Database && key.text != &Session::Table;
  });
  for (const CommonKey& key : keys) {
    if (key.truth != nullptr) {
      settings.push_back({key.name, YesNo(session.*key.truth), JsonKind::kTruth});
    } else {
      // Whoever looks at settings need not see the password.
      const bool is_hidden = key.is_secret && !(session.*key.text).empty();
      settings.push_back({key.name, is_hidden ? "********" : session.*key.text});
    }
  }
  return settings;
}

}  // namespace

int ListCommand(Workspace& workspace, const ListOptions& options) {
  Session& session = workspace.session();
  const std::string& folder = workspace.spec_folder();
  const auto kind = options.templates ? SpecificationKind::kTemplate : SpecificationKind::kSpecification;
  if (FileExists(folder)) throw NotUsable("'" + folder + "' ist eine Datei und kein Ordner.");
  if (IsMissing(folder)) throw NotUsable("Der Ordner der Importspezifikationen fehlt: " + folder);
  // Where it cannot be read, no headings stand above nothing.
  const std::vector<std::string> files = ListFiles(folder);
  TableWriter table(workspace.out(), workspace.look(),
                    {{"Beschreibung", "description"},
                     {"Anwendung", "application", JsonKind::kNumber},
                     {"Quelle", "provider"},
                     {"Ziel", "importClass"},
                     {"Datei", "file"}});
  const std::string& default_kind = KindsOf(session).Default().name;
  const auto row = [&](const std::string& path) {
    const auto image = ProfileStore().Read(path);
    const auto read = [&](const char* key, std::string_view otherwise) {
      return GetIniString(*image, "Common", key, otherwise);
    };
    table.Row({read("Description", ""), read("Application", "2"), read("Provider", default_kind),
               read("ImportClass", ""), path});
  };
  const auto is_readable = [&](const std::string& path) {
    return Trap([&] { ProfileStore().Require(path); },
                [&](const RuntimeError& error) {
                  workspace.err() << "Nicht aufgeführt: " << error.Description() << std::endl;
                });
  };
  for (const std::string& path : files) {
    if (GetFileExtension(path) != (options.templates ? ".IMT" : ".IMP") || !is_readable(path)) continue;
    if (!options.app_mode_given) row(path);
  }
  if (options.app_mode_given) {
    session.AppMode = options.app_mode;
    for (const SpecificationEntry& entry : ListSpecifications(session, kind)) row(entry.path);
  }
  return kDone;
}

int ShowCommand(Workspace& workspace, const std::string& spec) {
  Session& session = workspace.session();
  workspace.OpenHost();
  workspace.LoadSpecification(spec, "");
  workspace.job().OpenImportClass();
  workspace.job().OpenSource();
  std::string failure;
  workspace.job().AssignFields(&failure);
  if (!failure.empty()) throw NotUsable(failure);

  if (workspace.options().format == OutputFormat::kText) {
    TableWriter settings(workspace.out(), workspace.look(), {{"Einstellung", ""}, {"Wert", ""}});
    for (const Setting& setting : CommonSettings(session)) settings.Row({setting.key, setting.value});
    settings.Finish();
    workspace.out() << '\n';
  } else if (workspace.options().format == OutputFormat::kJson) {
    JsonObject object(workspace.out());
    for (const Setting& setting : CommonSettings(session)) {
      std::string camel = setting.key;
      camel[0] = static_cast<char>(camel[0] | 0x20);
      object.Value(camel, setting.kind, setting.value);
    }
    object.End();
  }
  MemoryRecordset& list = *session.AssignmentList;
  TableWriter table(workspace.out(), workspace.look(),
                    {{"Feld", "field"},
                     {"Zugewiesen zu", "assignedTo", JsonKind::kOptional},
                     {"", "info", JsonKind::kOptional},
                     {"Pflicht", "mandatory", JsonKind::kTruth},
                     {"Typ", "type"},
                     {"Größe", "size", JsonKind::kNumber},
                     {"Format", "format", JsonKind::kOptional}});
  for (list.MoveFirst(); !list.IsEof(); list.MoveNext()) {
    table.Row({std::string(list.TextAt(kSourceName)), std::string(list.TextAt(kDspDestinationName)),
               std::string(list.TextAt(kInfo)), YesNo(list.TextAt(kObligation) == "Wahr"),
               std::string(list.TextAt(kFieldTyp)), std::string(list.TextAt(kSize)),
               std::string(list.TextAt(kFormat))});
  }
  return kDone;
}

int TablesCommand(Workspace& workspace, const std::string& spec) {
  Session& session = workspace.session();
  workspace.LoadSpecification(spec, "");
  const SourceKind* kind = KindOf(session);
  if (kind != nullptr && kind->connect == nullptr)
    throw NotUsable("Eine " + kind->name + " hat keine Tabellen.");
  // The table is what the user is about to find out, so it need not be named yet.
  const ConnectResult result = ConnectFromSession(session);
  if (!result.connected) {
    throw NotUsable("Die Datenquelle (" + session.Provider + ") kann nicht geöffnet werden. " +
                    (result.reason.empty() ? "Es fehlen Angaben im Abschnitt [Common]." : result.reason));
  }
  for (const SourceRemark& remark : session.SourceConnection->Remarks(""))
    workspace.err() << remark.text << '\n';
  TableWriter table(workspace.out(), workspace.look(), {{"Tabelle", "table"}});
  for (const std::string& name : result.tables) table.Row({name});
  return kDone;
}

int ColumnsCommand(Workspace& workspace, const std::string& spec, const std::string& source_file) {
  workspace.LoadSpecification(spec, source_file);
  workspace.job().OpenSource();
  for (const SourceRemark& remark : SourceRemarks(workspace.session())) workspace.err() << remark.text << '\n';
  TableWriter table(workspace.out(), workspace.look(),
                    {{"Nr", "number", JsonKind::kNumber}, {"Spalte", "column"}});
  std::size_t number = 0;
  for (const std::string& name : OfferedSourceFields(workspace.session().SourceFieldNames)) {
    table.Row({std::to_string(++number), name});
  }
  return kDone;
}

int PreviewCommand(Workspace& workspace, const std::string& spec, const std::string& source_file,
                   std::int64_t records) {
  workspace.LoadSpecification(spec, source_file);
  workspace.job().OpenSource();
  std::optional<TableWriter> table;
  const auto begin_table = [&] {
    if (table) return;
    std::vector<TableWriter::Column> columns;
    for (const std::string& name : OfferedSourceFields(workspace.session().SourceFieldNames)) {
      columns.push_back({name, ""});
    }
    table.emplace(workspace.out(), workspace.look(), std::move(columns));
  };
  bool all_readable = true;
  const SourceEnd end =
      workspace.job().Preview(records, [&](const std::vector<std::string>& values, const Findings& unreadable) {
        begin_table();
        for (const Finding& finding : unreadable) {
          all_readable = false;
          workspace.err() << finding.text << '\n';
        }
        table->Row(values);
      });
  // No titles above a source that was never open.
  if (end.state == SourceState::kNotOpened) return kNotUsable;
  begin_table();
  return all_readable && !end.error ? kDone : kErrorsCounted;
}

}  // namespace kestrel::cli
