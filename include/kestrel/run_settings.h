// What a run may be told besides its specification. By default it takes the whole source and stops for nothing.
#pragma once

#include <cstdint>
#include <string>

namespace kestrel {

struct RunSettings {
  // The source record, counted from 1, with which the run begins: an earlier run has imported those before it. The
  // source file is not removed then. A source that has fewer records stops the run.
  std::int32_t from = 1;
  // The run stops once it has counted so many errors, before its next record. 0: any number.
  std::int32_t most_errors = 0;
  // The run stops once the import class has refused so many records with one and the same error (number and text),
  // from the first one on and none stored or held back between them; the log has one row for all of them then. 0: any
  // number.
  std::int32_t most_same_errors = 0;
  // A test run neither backs the source up nor removes it, as ImportJob::Run has it in any case.
  bool harmless_test = false;
  // Behind a test run the import stays open, so that it is run once more, with the same settings and assignments and
  // an import class of its own: by Run, or by OpenTestedAgain and RunAssigned. It ends with that run, with Cancel, or
  // where the import class has cancelled the test.
  bool stays_open = false;
  // What is not stored is kept with the job, to be written by ImportJob::SaveRejects after the run.
  bool keep_rejects = false;
  // It is written to this file by the run itself, before the source may be removed. Empty: none.
  std::string rejects_file = {};
};

}  // namespace kestrel
