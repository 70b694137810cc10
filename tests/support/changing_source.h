// A source file of any kind, and what may happen to it while it is read.
#pragma once

#include <string>

#include "component/session.h"

namespace kestrel::testing {

enum class FileKind { kText, kDBase, kAccess, kXls, kXlsx };
inline constexpr FileKind kFileKinds[] = {FileKind::kText, FileKind::kDBase, FileKind::kAccess, FileKind::kXls,
                                          FileKind::kXlsx};

enum class FileEvent { kNothing, kTouched, kGrown, kRewritten, kCut, kVanished, kUnreadable };
inline constexpr FileEvent kFileEvents[] = {FileEvent::kNothing,   FileEvent::kTouched, FileEvent::kGrown,
                                            FileEvent::kRewritten, FileEvent::kCut,     FileEvent::kVanished,
                                            FileEvent::kUnreadable};

const char* NameOf(FileKind kind);
const char* NameOf(FileEvent event);

class ChangingSource {
 public:
  // More than any reader keeps in memory at a time; each has the columns NAME, "Name 0" and so on, and FILLER.
  static constexpr int kRecords = 3000;

  // Writes the file into the folder.
  ChangingSource(FileKind kind, const std::string& folder);
  const std::string& path() const { return path_; }

  // Makes it the session's source. Raises what connecting to it raises.
  void Use(Session& session) const;
  // Lets it happen to the file. Unreadable is a folder in its place.
  void LetHappen(FileEvent event) const;

 private:
  static std::string Content(FileKind kind, int records, const std::string& last_name);
  void Overwrite(const std::string& bytes) const;

  FileKind kind_;
  std::string path_;
};

}  // namespace kestrel::testing
