// What is wrong with the arguments, in German, with a way out: looked at word by word before they are read, as who
// reads them only knows that something is left over.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <utility>
#include <vector>

namespace kestrel::cli {

// The text is for a person. Ends the program with kWrongUse.
class WrongUse final : public CLI::ParseError {
 public:
  // `command`: the one that was called, as it is typed; empty where none was.
  explicit WrongUse(std::string text, std::string command = "")
      : CLI::ParseError("WrongUse", std::move(text), 1), command_(std::move(command)) {}
  const std::string& command() const { return command_; }

 private:
  std::string command_;
};

// A help text that was asked for by its command.
class HelpOn final : public CLI::Success {
 public:
  explicit HelpOn(std::string text) : CLI::Success("HelpOn", std::move(text), 0) {}
};

// Raises WrongUse for a command or an option that does not exist, or not there, for an argument too many and for an
// option without its value.
void RequireKnownWords(const CLI::App& program, const std::vector<std::string>& arguments);

// The command of this name below the other one. Raises WrongUse.
const CLI::App& RequireCommand(const CLI::App& above, const std::string& name);

// Why the arguments could not be read, and where what is possible stands.
std::string Explain(const CLI::App& program, const CLI::Error& error);

// The one that was probably meant, as a question: " Meinten Sie 'list'?", or nothing.
std::string DidYouMean(const std::string& name, const std::vector<std::string>& candidates);

}  // namespace kestrel::cli
