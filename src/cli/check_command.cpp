// Everything wrong or suspicious in a specification and, if wanted, in the data of its source.
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

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

// One object a line; "kind" tells them from the others.
void WriteObject(const Finding& finding, std::ostream& stream) {
  JsonObject object(stream);
  object.Text("kind", "finding")
      .Text("severity", NameOf(finding.severity))
      .OptionalText("section", finding.place.section)
      .OptionalText("key", finding.place.key)
      .OptionalText("field", finding.place.field)
      .Text("message", finding.Message())
      .Text("text", finding.text)
      .OptionalText("wayOut", finding.way_out);
  if (finding.count > 0) {
    object.Number("count", finding.count);
    std::ostream& list = object.Member("examples");
    const char* separator = "[";
    for (const FindingExample& example : finding.examples) {
      list << std::exchange(separator, ",");
      JsonObject(list).Number("record", example.record).Text("value", example.value).Close();
    }
    if (finding.examples.empty()) list << separator;
    list << ']';
  }
  object.End();
}

void Write(const Findings& findings, std::ostream& stream, const TableLook& look) {
  if (look.format == OutputFormat::kJson) {
    for (const Finding& finding : findings) WriteObject(finding, stream);
    return;
  }
  TableWriter table(stream, look, {{"Art", ""}, {"Abschnitt", ""}, {"Schlüssel", ""}, {"Befund", ""}});
  for (const Finding& finding : findings) {
    table.Row({NameOf(finding.severity), finding.place.section, finding.place.key, finding.Message()});
  }
}

// A figure that only some sources have.
std::string Optional(const std::optional<std::int64_t>& figure) {
  return figure ? std::to_string(*figure) : std::string();
}

void WriteTables(const DataProfile& profile, std::ostream& stream, const TableLook& look) {
  const SourceFigures& source = profile.source;
  {
    TableWriter table(stream, look,
                      {{"Datensätze", ""},
                       {"Spalten", ""},
                       {"Zeichensatz", ""},
                       {"CR LF", ""},
                       {"LF", ""},
                       {"CR", ""},
                       {"Andere Wertezahl", ""},
                       {"Anschrift wiederholt", ""}});
    table.Row({std::to_string(source.records), std::to_string(source.columns), source.charset,
               std::to_string(source.crlf), std::to_string(source.lf), std::to_string(source.cr),
               std::to_string(source.unusual_lines), Optional(source.repeated_addresses)});
  }
  if (!profile.fields.empty()) {
    stream << '\n';
    TableWriter table(stream, look,
                      {{"Feld", ""},
                       {"Spalte", ""},
                       {"Gefüllt", ""},
                       {"Leer", ""},
                       {"Gekürzt", ""},
                       {"Keine Zahl", ""},
                       {"Kein Datum", ""},
                       {"Ohne Übersetzung", ""},
                       {"Nicht vorgesehen", ""},
                       {"Unlesbar", ""}});
    for (const FieldFigures& field : profile.fields) {
      table.Row({field.field, field.column, std::to_string(field.filled), std::to_string(field.empty),
                 std::to_string(field.cut), std::to_string(field.not_numbers), std::to_string(field.not_dates),
                 std::to_string(field.not_translated), std::to_string(field.not_permitted),
                 std::to_string(field.unreadable)});
    }
  }
  if (profile.findings.empty()) return;
  stream << '\n';
  Write(profile.findings, stream, look);
}

void WriteObjects(const DataProfile& profile, std::ostream& stream) {
  const SourceFigures& source = profile.source;
  JsonObject of_source(stream);
  of_source.Text("kind", "source")
      .Number("records", source.records)
      .Number("columns", static_cast<std::int64_t>(source.columns))
      .OptionalText("charset", source.charset)
      .Number("crlf", source.crlf)
      .Number("lf", source.lf)
      .Number("cr", source.cr)
      .Number("unusualLines", source.unusual_lines);
  if (source.repeated_addresses) {
    of_source.Number("repeatedAddresses", *source.repeated_addresses);
  } else {
    of_source.Null("repeatedAddresses");
  }
  of_source.End();
  for (const FieldFigures& field : profile.fields) {
    JsonObject(stream)
        .Text("kind", "field")
        .Text("field", field.field)
        .OptionalText("column", field.column)
        .Number("filled", field.filled)
        .Number("empty", field.empty)
        .Number("cut", field.cut)
        .Number("notNumbers", field.not_numbers)
        .Number("notDates", field.not_dates)
        .Number("notTranslated", field.not_translated)
        .Number("notPermitted", field.not_permitted)
        .Number("unreadable", field.unreadable)
        .End();
  }
  for (const Finding& finding : profile.findings) WriteObject(finding, stream);
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

int CheckCommand(Workspace& workspace, const CheckOptions& options) {
  workspace.LoadSpecification(options.spec, options.source_file);
  const OutputFormat format = workspace.options().format;
  DataProfile profile;
  const std::optional<Finding> no_host = FindHost(workspace);
  if (options.data) {
    profile = workspace.job().CheckData(no_host);
  } else {
    profile.findings = workspace.job().Check(CheckDepth::kRecords, no_host);
  }
  const Findings& findings = profile.findings;
  if (options.data && format == OutputFormat::kJson) {
    WriteObjects(profile, workspace.out());
  } else if (options.data) {
    WriteTables(profile, workspace.out(), workspace.look());
  } else if (!findings.empty() || format != OutputFormat::kText) {
    Write(findings, workspace.out(), workspace.look());
  }
  if (findings.only_notes() && format == OutputFormat::kText) {
    workspace.out() << "Keine Auffälligkeiten: " << workspace.session().ChosenSpecFile << std::endl;
  }
  return findings.errors() == 0 ? kDone : kErrorsCounted;
}

}  // namespace kestrel::cli
