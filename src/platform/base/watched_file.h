// A file that is read several times, and must be the same each time, though other programs may write into it.
//
// Invariants
//  1. The file is what lay in it when this was made: what was appended since is not part of it.
//  2. sums_ holds the checksum of each of the first sums_.size() parts, as it was when the part was read first.
//  3. A part is taken for unchanged where its checksum is the same, or where the file's identity is and would
//     have shown any change.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kestrel/file_identity.h"
#include "platform/base/input_file.h"

namespace kestrel {

class WatchedFile {
 public:
  // Reading begins at a multiple of it. Small, as a window that moves reads part of one again.
  static constexpr std::size_t kPart = 4096;

  // Raises what opening raises, with the path.
  explicit WatchedFile(const std::string& path);
  // Takes the file as it is now instead; nothing of it was read then. Raises what asking for its state raises.
  void BeginAnew();
  void Close() { file_.Close(); }

  // In bytes.
  std::size_t size() const { return static_cast<std::size_t>(identity_.size); }
  // Which file it is, and of which time.
  const FileIdentity& identity() const { return identity_; }
  // Whether every byte that was read up to now is certain to have been there at one time.
  bool IsUnchanged() const { return shows_every_change_ && file_.Identity() == identity_; }

  // Whether somebody has written into it since. What was read up to now may have been there at different times.
  bool WasWritten() const { return file_.Identity() != identity_; }

  // Fills `size` bytes from `begin` on, fewer where the file ends or where a part follows that is not what it
  // was; returns how many. `begin` is a multiple of kPart, `size` is one or reaches to the file's end, and
  // every part before `begin` was read already. Raises what reading raises, with the path, and 7.
  std::size_t Read(std::size_t begin, char* bytes, std::size_t size);
  // Error 75: the file is not what it was.
  [[noreturn]] void RaiseChanged() const { file_.RaiseChanged(); }

 private:
  InputFile file_;
  FileIdentity identity_;
  bool shows_every_change_ = false;
  std::vector<std::uint64_t> sums_;
};

}  // namespace kestrel
