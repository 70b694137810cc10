// What is wrong with an import before it runs: each finding with its place in the import specification and a
// way out. Texts are UTF-8, those for people German. Values without threads or owners of their own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "kestrel/export.h"
#include "kestrel/runtime_error.h"

namespace kestrel {

// What keeps an import from running well, what only looks wrong, and what may well be meant so.
enum class Severity { kError, kWarning, kNote };

// Where a finding belongs: in the import specification, and to which field of the destination.
struct FindingPlace {
  std::string section;     // without brackets
  std::string key = {};    // empty for the whole section
  std::string field = {};  // empty where no single field is meant
};

// A value of the source that a finding is about.
struct FindingExample {
  std::int64_t record = 0;  // from 1
  std::string value;        // as the source delivered it
};

// What is wrong, where, and what to do about it.
struct KESTREL_EXPORT Finding {
  Severity severity = Severity::kError;  // whether the import may run in spite of it
  FindingPlace place;                    // where it belongs
  std::string text;                      // German sentences
  std::string way_out = {};              // what to do about it; may be empty
  // Of a finding in the source's data: how many values or records it is about, and the first of them.
  std::int64_t count = 0;
  std::vector<FindingExample> examples = {};
  // Of an assigned column that has gone: the one that could take its place, as ImportJob::TakeOverColumns does it;
  // may be empty.
  std::string replacement = {};

  // Text and way out as one.
  std::string Message() const;
};

// Findings in the order in which they were made.
class KESTREL_EXPORT Findings {
 public:
  Findings() = default;
  // One to begin with.
  explicit Findings(Finding only) { Add(std::move(only)); }

  // Adds one that keeps the import from running well.
  void Error(FindingPlace place, std::string text, std::string way_out = "") {
    Add({Severity::kError, std::move(place), std::move(text), std::move(way_out)});
  }
  // Adds one that only looks wrong.
  void Warn(FindingPlace place, std::string text, std::string way_out = "") {
    Add({Severity::kWarning, std::move(place), std::move(text), std::move(way_out)});
  }
  // Adds one that may well be meant so.
  void Note(FindingPlace place, std::string text, std::string way_out = "") {
    Add({Severity::kNote, std::move(place), std::move(text), std::move(way_out)});
  }
  // Behind all others.
  void Add(Finding finding);

  // How many of them are errors.
  std::size_t errors() const { return errors_; }
  // Whether all of them are notes.
  bool only_notes() const { return notes_ == findings_.size(); }
  bool empty() const { return findings_.empty(); }
  std::size_t size() const { return findings_.size(); }
  const Finding& operator[](std::size_t index) const { return findings_[index]; }
  auto begin() const { return findings_.begin(); }
  auto end() const { return findings_.end(); }

 private:
  std::vector<Finding> findings_;
  std::size_t errors_ = 0;
  std::size_t notes_ = 0;
};

// An import that does not begin: something keeps it from running. Number 440.
class KESTREL_EXPORT ImportRefused : public RuntimeError {
 public:
  // Described by the finding's message.
  explicit ImportRefused(const Finding& finding);
  // Described by the errors among the findings, a line each, with their places.
  explicit ImportRefused(Findings findings);

  // All of them, warnings and notes included.
  const Findings& findings() const { return findings_; }

 private:
  Findings findings_;
};

}  // namespace kestrel
