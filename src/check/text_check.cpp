#include "check/text_check.h"

#include <string>
#include <utility>

#include "platform/base/counted.h"

namespace kestrel {

namespace {

// "17-mal LF allein (Zeile 3, 9, 12, ...)".
std::string Describe(const LineEndFigures& figures, const char* name) {
  std::string text = std::to_string(figures.count) + "-mal " + name + " (Zeile ";
  for (std::size_t i = 0; i < figures.places.size(); ++i) {
    text.append(i == 0 ? "" : ", ").append(std::to_string(figures.places[i]));
  }
  if (figures.count > static_cast<std::int64_t>(figures.places.size())) text += ", ...";
  return text + ")";
}

}  // namespace

TextCheck::TextCheck(TextFacts* facts, std::size_t columns, FindingPlace place)
    : facts_(facts), columns_(columns), place_(std::move(place)) {}

void TextCheck::LookAtFile(DataProfile& profile) {
  if (facts_ == nullptr) return;
  const TextSurvey survey = facts_->Survey();
  profile.source.charset = survey.charset;
  profile.source.crlf = survey.crlf.count;
  profile.source.lf = survey.lf.count;
  profile.source.cr = survey.cr.count;
  TellLineEnds(survey, profile.findings);
}

// A file with a CR anywhere is cut at CR and CR LF only.
void TextCheck::TellLineEnds(const TextSurvey& survey, Findings& findings) const {
  const std::int64_t cuts = survey.crlf.count + survey.cr.count;
  if (cuts == 0) return;
  if (survey.lf.count > 0) {
    const LineEndFigures& rarer = survey.crlf.count > 0 ? survey.crlf : survey.cr;
    const char* name = survey.crlf.count > 0 ? "CR LF" : "CR";
    const bool mostly_lf = survey.lf.count > cuts;
    findings.Add({mostly_lf ? Severity::kError : Severity::kWarning, place_,
                  "Die Zeilenenden sind gemischt: " + Describe(survey.lf, "LF allein") + ", " +
                      Describe(rarer, name) + ". In einer Datei mit CR teilt LF allein keine Zeile: " +
                      Counted(cuts, "Stelle teilt", "Stellen teilen") + " sie.",
                  "Speichern Sie die Datei mit einheitlichen Zeilenenden."});
  }
  if (survey.crlf.count > 0 && survey.cr.count > 0) {
    findings.Warn(place_,
                  "Die Zeilenenden sind gemischt: " + std::to_string(survey.crlf.count) + "-mal CR LF, " +
                      Describe(survey.cr, "CR allein") + ". Beide beenden eine Zeile.",
                  "Prüfen Sie, ob dort wirklich ein Datensatz endet.");
  }
}

void TextCheck::LookAtRecord(std::int64_t record) {
  if (facts_ == nullptr || columns_ >= TextFacts::kMostCounted) return;
  const std::optional<std::size_t> values = facts_->ValueCount();
  if (!values || *values == columns_) return;
  unusual_.Add(record, Counted(static_cast<std::int64_t>(*values), "Wert", "Werte"));
}

void TextCheck::Tell(DataProfile& profile) const {
  profile.source.unusual_lines = unusual_.count();
  const std::string values = Counted(static_cast<std::int64_t>(columns_), "Wert", "Werte");
  unusual_.Tell(profile.findings, Severity::kWarning, place_, "Datensatz hat nicht " + values,
                "Datensätze haben nicht " + values, "Prüfen Sie dort Trennzeichen und Textbegrenzer.");
}

}  // namespace kestrel
