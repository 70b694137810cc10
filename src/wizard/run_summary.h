// What the run window and the result page say and do alike behind a run.
#pragma once

#include <QWidget>
#include <string>
#include <vector>

#include "kestrel/import_job.h"

namespace kestrel {

// What is left to do where a run did not store all of its source, in sentences.
std::vector<std::string> RestTexts(const RunResult& run);

// Asks for a file, above `window`, and writes what the last run did not store. Returns what was done and how to go on;
// empty where the person gave no file. Raises what ImportJob::SaveRejects does.
std::string SaveRejectsAs(ImportJob& job, QWidget* window);

}  // namespace kestrel
