// What happens in a run, for programs that watch many of them: a JSON object a line, all with the same members
// (docs/json/run-log.schema.json).
#pragma once

#include <string>
#include <string_view>

#include "cli/terminal_stream.h"
#include "kestrel/record_outcome.h"
#include "kestrel/run_result.h"

namespace kestrel::cli {

// Adds its lines to the end of a file, each as soon as it is known, so that the last one tells how far a program came
// that was killed.
class JsonLog {
 public:
  // A new file can be read by its owner only, as it holds values of the source. Raises what opening it raises.
  explicit JsonLog(const std::string& path);
  ~JsonLog();
  JsonLog(const JsonLog&) = delete;
  JsonLog& operator=(const JsonLog&) = delete;

  void Start(std::string_view specification, std::string_view source);
  // Nothing for a record that went well.
  void Record(const RecordOutcome& outcome);
  void Revise(const OutcomeRevision& revision);
  void Message(std::string_view text);
  void End(const RunResult& result);
  // The errno of the line that could not be written; 0 where all were.
  int error() const { return out_.error(); }

 private:
  struct Line;
  void Write(const Line& line);

  int descriptor_;
  DescriptorOutput out_;
};

}  // namespace kestrel::cli
