#include "kestrel/finding.h"

namespace kestrel {

namespace {

std::string DescribeErrors(const Findings& findings) {
  std::string description;
  for (const Finding& finding : findings) {
    if (finding.severity != Severity::kError) continue;
    if (!description.empty()) description += '\n';
    description.append("[").append(finding.place.section).append("]");
    if (!finding.place.key.empty()) description.append(" ").append(finding.place.key);
    description.append(": ").append(finding.Message());
  }
  return description;
}

}  // namespace

std::string Finding::Message() const { return way_out.empty() ? text : text + " " + way_out; }

void Findings::Add(Finding finding) {
  if (finding.severity == Severity::kError) ++errors_;
  if (finding.severity == Severity::kNote) ++notes_;
  findings_.push_back(std::move(finding));
}

ImportRefused::ImportRefused(const Finding& finding)
    : RuntimeError(ErrorNumber::kAutomation, finding.Message()), findings_(finding) {}

ImportRefused::ImportRefused(Findings findings)
    : RuntimeError(ErrorNumber::kAutomation, DescribeErrors(findings)), findings_(std::move(findings)) {}

}  // namespace kestrel
