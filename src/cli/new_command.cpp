// A specification made from a file and a destination: the file's settings are detected, its columns assigned by their
// names, so that the first import of a file takes two commands. What a host's template for the destination says
// otherwise (duplicate check, constants, translations) is taken from it.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <ostream>
#include <utility>

#include "check/date_proposal.h"
#include "check/source_check.h"
#include "cli/program.h"
#include "cli/usage_error.h"
#include "mapping/field_assignment.h"
#include "mapping/name_assignment.h"
#include "platform/automation/optional_member.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "sources/source_connection.h"
#include "sources/source_detection.h"
#include "sources/source_excerpt.h"
#include "sources/source_kind.h"
#include "spec/profile_access.h"

namespace kestrel::cli {

namespace {

constexpr std::size_t kSampledRecords = 500;

// Where the specification is to lie, and its name.
struct Place {
  std::string path;
  std::string name;
};

Place PlaceOf(const std::string& spec, const std::string& folder) {
  if (std::any_of(spec.begin(), spec.end(), [](unsigned char c) { return c < 0x20 || c == '\\'; })) {
    throw NotUsable(
        "'" + spec +
        "' kann nicht der Name einer Spezifikation sein. Nennen Sie einen ohne \\ und Steuerzeichen.");
  }
  const std::string ending = GetFileExtension(spec);
  const std::string file = ending == ".IMP" ? spec : spec + ".IMP";
  std::string name = FileNameOfPath(file);
  name.resize(name.size() - 4);
  if (TrimBlanks(name).empty()) throw NotUsable("Es fehlt der Name der neuen Spezifikation.");
  Place place{spec.find('/') == std::string::npos ? JoinPath(folder, file) : file, name};
  if (!IsMissing(place.path)) {
    throw NotUsable("Es gibt '" + place.path +
                    "' schon; überschrieben wird nichts. Nennen Sie einen anderen Namen.");
  }
  return place;
}

// The first template of the folder for this destination; empty where there is none.
std::string TemplateFor(const std::string& target, const std::string& folder) {
  if (!FolderExists(folder)) return "";
  for (const std::string& path : ListFiles(folder)) {
    if (GetFileExtension(path) != ".IMT") continue;
    if (EqualsIgnoringCase(GetIniString(*ProfileStore().Read(path), "Common", "ImportClass", ""), target))
      return path;
  }
  return "";
}

// A destination may be named without what stands before its point, where that leaves one.
std::string FullTarget(const std::string& named, const ComponentRegistry& components) {
  std::vector<std::string> found;
  for (const std::string& prog_id : components.ProgIds()) {
    if (EqualsIgnoringCase(prog_id, named)) return named;
    if (EqualsIgnoringCase(std::string_view(prog_id).substr(prog_id.find('.') + 1), named))
      found.push_back(prog_id);
  }
  return found.size() == 1 ? found.front() : named;
}

// Of the components those that are destinations.
std::vector<std::string> ImportClasses(ComponentRegistry& components) {
  std::vector<std::string> found;
  const auto add = [&](const std::string& prog_id) {
    if (FindOptional(components.CreateObject(prog_id), "GetFields")) found.push_back(prog_id);
  };
  for (const std::string& prog_id : components.ProgIds()) {
    // What cannot be made is no destination to offer.
    Trap([&] { add(prog_id); }, [](const RuntimeError&) {});
  }
  return found;
}

// The only one that has `named` in its name, as a question; nothing where there are several.
std::string MeantByPart(const std::string& named, const std::vector<std::string>& targets) {
  const std::string* meant = nullptr;
  for (const std::string& target : targets) {
    if (named.empty() || UpperCase(target).find(UpperCase(named)) == std::string::npos) continue;
    if (meant != nullptr) return {};
    meant = &target;
  }
  return meant == nullptr ? std::string() : " Meinten Sie '" + *meant + "'?";
}

// A file that is not there yet, whole or not at all.
void WriteNewFile(const std::string& path, const std::string& content) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (file < 0) throw ErrorFromErrno(errno, path);
  std::size_t written = 0;
  int error = 0;
  while (written < content.size() && error == 0) {
    const ssize_t count = ::write(file, content.data() + written, content.size() - written);
    if (count >= 0) written += static_cast<std::size_t>(count);
    if (count < 0 && errno != EINTR) error = errno;
  }
  if (error == 0 && ::fsync(file) != 0) error = errno;
  if (::close(file) != 0 && error == 0) error = errno;
  if (error == 0) return;
  ::unlink(path.c_str());
  throw ErrorFromErrno(error, path);
}

class NewSpecification {
 public:
  NewSpecification(Workspace& workspace, const NewOptions& options)
      : workspace_(workspace),
        session_(workspace.session()),
        options_(options),
        place_(PlaceOf(options.spec, workspace.spec_folder())),
        file_(std::filesystem::absolute(options.from).lexically_normal().string()),
        scratch_(workspace.signals()) {}

  int Make() {
    if (IsMissing(file_)) throw NotUsable("Die Datei '" + options_.from + "' existiert nicht.");
    source_ = DetectSource(KindsOf(session_), file_);
    if (source_.kind == nullptr) throw NotUsable(source_.refusal);
    workspace_.OpenHost();
    target_ = FullTarget(options_.target, workspace_.components());
    RequireTarget();
    OpenDraft();
    workspace_.job().OpenImportClass();
    UseSource();
    AssignColumns();
    workspace_.job().SaveSchema(true);
    const std::string content = ReadWholeFile(session_.ChosenSpecFile);
    CreateFolders(ParentFolder(place_.path));
    WriteNewFile(place_.path, content);
    return Tell();
  }

 private:
  // Made where nobody sees it, as a specification that is not finished would be one.
  void OpenDraft() {
    const std::string draft = JoinPath(scratch_.path(), place_.name + ".IMP");
    template_ = TemplateFor(target_, workspace_.spec_folder());
    WriteFileAtomically(draft, template_.empty() ? "" : ReadWholeFile(template_));
    std::vector<ProfileEdit> edits = {{"Common", "Description", place_.name},
                                      {"Common", "ImportClass", target_},
                                      {"Common", "Provider", source_.kind->name}};
    if (options_.app_mode) {
      edits.push_back({"Common", "Application", std::to_string(*options_.app_mode)});
    } else if (template_.empty()) {
      edits.push_back({"Common", "Application", "2"});
    }
    ProfileStore().Write(draft, edits);
    workspace_.job().Open({.specification = draft,
                           .working_folder = scratch_.path(),
                           .tell = [this](std::string_view text) { workspace_.err() << text << std::endl; }});
  }

  void RequireTarget() {
    const std::vector<std::string> known = workspace_.components().ProgIds();
    const auto is_target = [this](const std::string& prog_id) { return EqualsIgnoringCase(prog_id, target_); };
    if (std::any_of(known.begin(), known.end(), is_target)) return;
    const std::vector<std::string> targets = ImportClasses(workspace_.components());
    std::string text = "Das Importziel '" + options_.target + "' gibt es nicht.";
    if (targets.empty()) throw NotUsable(text + " Es ist keines eingerichtet.");
    text += DidYouMean(options_.target, targets);
    if (!text.ends_with('?')) text += MeantByPart(options_.target, targets);
    text += " Vorhanden sind:";
    for (const std::string& target : targets) text += "\n  " + target;
    throw NotUsable(text);
  }

  void UseSource() {
    UseDetectedSource(source_, file_, session_);
    if (const std::optional<Finding> empty = FindEmptyFile(session_)) {
      throw NotUsable(empty->text + " Nennen Sie eine Datei, in der schon Adressen stehen.");
    }
    // What a template does with its own source is not wanted of this one unasked.
    session_.SaveFile = false;
    session_.DeleteFile = false;
    if (source_.kind->Has(&Session::Table)) ChooseTable();
    workspace_.job().OpenSource();
  }

  void ChooseTable() {
    if (!options_.table.empty()) session_.Table = options_.table;
    const ConnectResult result = ConnectFromSession(session_);
    if (!result.connected)
      throw NotUsable("'" + options_.from + "' kann nicht geöffnet werden. " + result.reason);
    if (result.tables.empty()) throw NotUsable("'" + options_.from + "' enthält keine Tabelle.");
    const bool is_there =
        std::find(result.tables.begin(), result.tables.end(), session_.Table) != result.tables.end();
    if (!options_.table.empty() && !is_there) {
      std::string text = "Die Tabelle '" + options_.table + "' gibt es in '" + options_.from + "' nicht." +
                         DidYouMean(options_.table, result.tables) + " Vorhanden sind:";
      for (const std::string& table : result.tables) text += "\n  " + table;
      throw NotUsable(text);
    }
    if (!is_there) session_.Table = result.tables.front();
    if (options_.table.empty() && result.tables.size() > 1) {
      remarks_.push_back("Von " + std::to_string(result.tables.size()) + " Tabellen wurde '" + session_.Table +
                         "' gewählt; eine andere wählt --table.");
    }
  }

  void AssignColumns() {
    std::string failure;
    workspace_.job().AssignFields(&failure);
    if (!failure.empty()) throw NotUsable(failure);
    columns_ = OfferedSourceFields(session_.SourceFieldNames);
    AssignByName(*session_.AssignmentList, columns_);
    const SourceExcerpt sample = BeginExcerpt(session_, kSampledRecords)();
    MemoryRecordset& list = *session_.AssignmentList;
    for (list.MoveFirst(); !list.IsEof(); list.MoveNext()) {
      const bool is_date = list.TextAt(kDateField) == "Wahr" && list.TextAt(kFormat).empty();
      if (is_date && list.TextAt(kOption) == std::to_string(kImportField)) SetDateFormat(list, sample);
    }
  }

  // That in which the most values of the sample are dates.
  void SetDateFormat(MemoryRecordset& list, const SourceExcerpt& sample) {
    const std::string column_name(list.TextAt(kDestinationName));
    const std::string field(list.TextAt(kSourceName));
    const auto column =
        static_cast<std::size_t>(std::find(columns_.begin(), columns_.end(), column_name) - columns_.begin());
    std::array<int, kDateFormats.size()> fitting{};
    int values = 0;
    for (const auto& record : sample.records) {
      const DateProposal proposal = ProposeDateFormat(session_, "", {sample.columns, {record}, {}}, column);
      if (proposal.has_values) ++values;
      for (std::size_t i = 0; i < kDateFormats.size(); ++i) {
        fitting[i] += std::count(proposal.formats.begin(), proposal.formats.end(), kDateFormats[i]) > 0 ? 1 : 0;
      }
    }
    const auto best = std::max_element(fitting.begin(), fitting.end());
    AssignmentPanel panel = ReadAssignment(list, list.Bookmark());
    panel.date_format = kDateFormats[static_cast<std::size_t>(best - fitting.begin())];
    StoreCurrentAssignment(list, panel);
    if (values == 0) {
      remarks_.push_back("Für '" + field + "' gibt es keine Werte; angenommen ist " + panel.date_format + ".");
    } else if (*best < values || std::count(fitting.begin(), fitting.end(), *best) > 1) {
      remarks_.push_back("Datumsformat von '" + field + "': " + panel.date_format + " passt zu " +
                         std::to_string(*best) + " von " + std::to_string(values) + " Werten" +
                         (std::count(fitting.begin(), fitting.end(), *best) > 1
                              ? ", ein anderes ebenso. Prüfen Sie es."
                              : "."));
    }
  }

  std::vector<std::string> UnassignedColumns() const {
    std::vector<std::string> open = columns_;
    MemoryRecordset& list = *session_.AssignmentList;
    for (list.MoveFirst(); !list.IsEof(); list.MoveNext()) {
      if (list.TextAt(kOption) == std::to_string(kImportField)) std::erase(open, list.TextAt(kDestinationName));
    }
    return open;
  }

  std::vector<std::string> UnassignedMandatoryFields() const {
    std::vector<std::string> fields;
    MemoryRecordset& list = *session_.AssignmentList;
    for (list.MoveFirst(); !list.IsEof(); list.MoveNext()) {
      if (list.TextAt(kObligation) == "Wahr" && list.TextAt(kDestinationName).empty()) {
        fields.emplace_back(list.TextAt(kSourceName));
      }
    }
    return fields;
  }

  int Tell() {
    const std::vector<std::string> open_columns = UnassignedColumns();
    const std::vector<std::string> open_fields = UnassignedMandatoryFields();
    if (workspace_.options().format == OutputFormat::kJson) {
      JsonObject object(workspace_.out());
      object.Text("file", place_.path)
          .Text("description", place_.name)
          .Text("detected", DescriptionOf(source_))
          .OptionalText("template", template_)
          .Texts("unassignedColumns", open_columns)
          .Texts("unassignedMandatoryFields", open_fields)
          .Texts("remarks", remarks_)
          .End();
    }
    {
      TableWriter table(workspace_.out(), workspace_.look(),
                        {{"Feld", "field"},
                         {"Spalte", "assignedTo", JsonKind::kOptional},
                         {"Pflicht", "mandatory", JsonKind::kTruth},
                         {"Format", "format", JsonKind::kOptional}});
      MemoryRecordset& list = *session_.AssignmentList;
      for (list.MoveFirst(); !list.IsEof(); list.MoveNext()) {
        table.Row({std::string(list.TextAt(kSourceName)), std::string(list.TextAt(kDspDestinationName)),
                   list.TextAt(kObligation) == "Wahr" ? kYes : kNo, std::string(list.TextAt(kFormat))});
      }
    }
    std::ostream& err = workspace_.err();
    err << DescriptionOf(source_) << '\n';
    for (const std::string& remark : remarks_) err << remark << '\n';
    const auto tell_open = [&](const char* what, const std::vector<std::string>& names) {
      for (const std::string& name : names) err << (&name == &names[0] ? what : ", ") << name;
      if (!names.empty()) err << '\n';
    };
    tell_open("Ohne Feld bleiben die Spalten: ", open_columns);
    tell_open("Ohne Spalte bleiben die Pflichtfelder: ", open_fields);
    err << "Angelegt: " << place_.path << '\n';
    if (open_fields.empty()) {
      const std::string spec = ShellWord(options_.spec);
      err << "Weiter mit:\n  " << workspace_.TypedCommand("check " + spec + " --data") << "\n  "
          << workspace_.TypedCommand("run " + spec) << std::endl;
      if (const std::string way = workspace_.WayToPassword(); !way.empty()) err << way << std::endl;
      return kDone;
    }
    err << "Ordnen Sie sie dort unter [FieldAssignments] zu (Feld=FIELD:Spalte oder Feld=CONST:Wert), oder im "
           "Assistenten."
        << std::endl;
    return kErrorsCounted;
  }

  Workspace& workspace_;
  Session& session_;
  const NewOptions& options_;
  std::string target_;
  const Place place_;
  const std::string file_;
  ScratchFolder scratch_;
  DetectedSource source_;
  std::string template_;
  std::vector<std::string> columns_;
  std::vector<std::string> remarks_;
};

}  // namespace

int NewCommand(Workspace& workspace, const NewOptions& options) {
  NewSpecification specification(workspace, options);
  return specification.Make();
}

}  // namespace kestrel::cli
