// A source that comes through a pipe. A source is read more than once, so its content is kept in a file without
// a name, which goes with the program whatever ends it.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace kestrel {

// Whether the path names no file with a place of its own: a pipe, or what another process or the shell holds open.
bool IsStream(const std::string& path);

class PipedSource {
 public:
  // Whether the path names what can be read once only.
  static bool IsPipe(const std::string& path);

  using Tell = std::function<void(std::string_view)>;

  // Waits for the pipe and reads it to its end; where nothing comes soon, `tell` gets a sentence about that. Raises
  // what reading it and writing the file raise; 61 names the folder that is full.
  PipedSource(const std::string& path, const Tell& tell);
  PipedSource(const PipedSource&) = delete;
  PipedSource& operator=(const PipedSource&) = delete;
  ~PipedSource();

  // Names the content as long as this lives.
  std::string path() const;

 private:
  int descriptor_ = -1;
};

}  // namespace kestrel
