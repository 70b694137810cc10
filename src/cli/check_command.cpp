// Everything wrong or suspicious in a specification, with section, key and a way out.
#include <optional>
#include <ostream>

#include "cli/program.h"

namespace kestrel::cli {

namespace {

const char* NameOf(Severity severity) {
  switch (severity) {
    case Severity::kError: return "Fehler";
    case Severity::kWarning: return "Warnung";
    case Severity::kNote: break;
  }
  return "Hinweis";
}

void Write(const Findings& findings, std::ostream& stream, OutputFormat format) {
  TableWriter table(
      stream, format,
      {{"Art", "severity"}, {"Abschnitt", "section"}, {"Schlüssel", "key"}, {"Befund", "message"}});
  for (const Finding& finding : findings) {
    table.Row({NameOf(finding.severity), finding.place.section, finding.place.key, finding.Message()});
  }
}

// Opens the host; why the destination cannot be asked, or none.
std::optional<Finding> FindHost(Workspace& workspace) {
  // That it is missing is found anyway.
  if (workspace.session().ImportClassProgID.empty()) return std::nullopt;
  const FindingPlace place{"Common", "ImportClass"};
  if (workspace.HostConnectionString().empty()) {
    return Finding{Severity::kWarning, place,
                   "Ohne Datenbank der Hauptanwendung (--host) wurden die Felder nicht geprüft."};
  }
  try {
    workspace.OpenHost();
  } catch (const NotUsable& error) {
    return Finding{Severity::kError, place, error.what()};
  }
  return std::nullopt;
}

}  // namespace

int CheckCommand(Workspace& workspace, const std::string& spec, const std::string& source_file) {
  workspace.LoadSpecification(spec, source_file);
  const Findings findings = workspace.job().Check(CheckDepth::kRecords, FindHost(workspace));
  const bool is_text = workspace.options().format == OutputFormat::kText;
  if (!findings.empty() || !is_text) Write(findings, workspace.out(), workspace.options().format);
  if (findings.only_notes() && is_text) {
    workspace.out() << "Keine Auffälligkeiten: " << workspace.session().ChosenSpecFile << std::endl;
  }
  return findings.errors() == 0 ? kDone : kErrorsCounted;
}

}  // namespace kestrel::cli
