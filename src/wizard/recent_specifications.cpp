#include "wizard/recent_specifications.h"

#include <QDateTime>
#include <algorithm>

#include "platform/base/file.h"
#include "platform/base/whole_path.h"
#include "wizard/german_number.h"
#include "wizard/qt_text.h"

namespace kestrel {

namespace {

QString LineOf(const SpecificationRun& run) {
  const QDateTime begin = QDateTime::fromString(ToQt(run.begin), "yyyy-MM-dd HH:mm:ss");
  QString line = "zuletzt " + (begin.isValid() ? begin.toString("dd.MM.yyyy, HH:mm") : ToQt(run.begin));
  if (!run.source.empty()) line += " aus " + ToQt(FileNameOfPath(run.source));
  if (!run.state.empty()) line += " (" + ToQt(run.state) + ")";
  return line + ": " + GermanNumber(run.read) + " gelesen, " + GermanNumber(run.added) + " neu, " +
         GermanNumber(run.updated) + " geändert, " + GermanNumber(run.not_stored) + " nicht gespeichert";
}

}  // namespace

std::vector<QString> PutRecentFirst(std::vector<SpecificationEntry>& entries,
                                    const std::vector<SpecificationRun>& runs) {
  std::vector<QString> lines;
  for (const SpecificationRun& run : runs) {
    if (lines.size() == kRecentSpecifications) break;
    const auto rest = entries.begin() + static_cast<std::ptrdiff_t>(lines.size());
    const auto entry = std::find_if(rest, entries.end(), [&](const SpecificationEntry& candidate) {
      return WholePath(candidate.path) == run.specification;
    });
    if (entry == entries.end()) continue;
    std::rotate(rest, entry, entry + 1);
    lines.push_back(LineOf(run));
  }
  return lines;
}

}  // namespace kestrel
