// Profile files: sections in square brackets, entries "key=value", comment lines that begin with ";".
//
// Reading
//  1. Sections and keys are compared without case; of equal sections and keys the first counts.
//  2. Blanks and tabs around sections, keys and values are not part of them.
//  3. A value read by key loses one pair of enclosing quotes (single or double); a lone quote character
//     stays. A section read leaves values as they stand.
//  4. Comment lines and lines without "=" are no entries; writing leaves them where they are.
//  5. The file is Windows-1252, unless it begins with a UTF-8 byte order mark or holds valid multi-byte
//     UTF-8 throughout: then it is UTF-8 and stays so when written.
//  6. A missing file reads like an empty one. One that is there and cannot be read does so for those only who
//     ask with Read; Require raises why.
//
// Writing keeps the order of lines, unknown lines and the line end of each line; new lines end in CR LF.
// A missing file, section or key is created; a new key follows the last entry of its section. The file is
// replaced atomically and durably (see WriteFileAtomically), with all keys of one call or none of them. A file
// that exists but cannot be read is never replaced.
//
// Caching. One parsed image is kept per path. It is used again while the file's identity is unchanged:
// device, inode, size, and nanosecond times of content and status. An image read while the file's time
// stamp was younger than the clock's granularity is not trusted and read again, so a change within the
// same tick and of the same size is seen.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kestrel/export.h"
#include "kestrel/file_identity.h"
#include "platform/base/change_notice.h"
#include "platform/base/file_descriptor.h"
#include "platform/profile/caseless.h"

namespace kestrel {

// The parsed content of one profile file at one time. Immutable; texts are UTF-8.
class KESTREL_INTERNAL ProfileImage {
 public:
  struct Entry {
    std::string key;
    std::string value;  // blanks trimmed, quotes in place
  };
  struct Section {
    std::string name;
    std::vector<Entry> entries;
  };

  ProfileImage() = default;
  // Parses the bytes of a file. Entries before the first section belong to none and are left out.
  explicit ProfileImage(std::string_view bytes);

  // The value of a key with one pair of enclosing quotes stripped, as a view into this image.
  std::optional<std::string_view> Find(std::string_view section, std::string_view key) const;
  // The first section of that name, or null.
  const Section* FindSection(std::string_view section) const;
  // All sections in file order, for tools that inspect a file.
  const std::vector<Section>& Sections() const { return sections_; }

 private:
  std::vector<Section> sections_;
  NameIndex section_index_;               // name -> the first section of that name
  std::vector<NameIndex> entry_indexes_;  // per section: key -> its first entry
};

// One key to be written.
struct ProfileEdit {
  std::string section;
  std::string key;
  std::string value;
};

struct FileReading;

class KESTREL_INTERNAL ProfileStore {
 public:
  ProfileStore();
  ~ProfileStore();
  ProfileStore(const ProfileStore&) = delete;
  ProfileStore& operator=(const ProfileStore&) = delete;

  // The file as it is now; never null. Costs one status call and no memory while the file is unchanged. The
  // same pointer comes back as long as the content is the same, so a caller may keep what it derived from an
  // image and compare pointers. Raises nothing: for lists and tools, which show what there is.
  std::shared_ptr<const ProfileImage> Read(const std::string& path);
  // The same for those who act on what they read, so that a failed reading is never taken for an empty file:
  // raises 70 (no permission), 57 (device) or 75 (no ordinary file, larger than 64 MiB) with the path.
  std::shared_ptr<const ProfileImage> Require(const std::string& path);

  // A file that the rounds of a loop look at, kept open: asking it costs half of asking by its path, and tells
  // whether it was changed, replaced, renamed or removed, though not whether a folder above it got another
  // name. Once so many looks have found nothing, it is not even asked until the system tells of a change
  // (platform/base/change_notice.h). The store outlives it.
  class Watched {
   public:
    // In less time nobody would miss the few milliseconds that the end of a notice takes.
    static constexpr int kLooksBeforeNotice = 16384;

    Watched(ProfileStore& store, std::string path) : store_(store), path_(std::move(path)) {}

   private:
    friend class ProfileStore;
    // Raises what Require raises.
    const std::shared_ptr<const ProfileImage>& Look();
    bool IsUnchanged() const;
    bool IsQuiet();
    void KeepOpen();

    ProfileStore& store_;
    std::string path_;
    // What the last look saw, and the file that it saw; closed where only the path can tell of a change.
    std::shared_ptr<const ProfileImage> image_;
    FileDescriptor file_;
    FileIdentity identity_;
    int quiet_looks_ = 0;  // one after the other, without a notice
    ChangeNotice notice_;
  };

  // One round: while it lives, Read and Require answer for the watched file from one look, made when the round
  // began, unless the file is written through this store. One at a time lives.
  class OneLook {
   public:
    // Raises what Require raises.
    explicit OneLook(Watched& watched);
    OneLook(const OneLook&) = delete;
    OneLook& operator=(const OneLook&) = delete;
    ~OneLook() { store_.look_ = nullptr; }
    // Whether the file was there.
    bool found() const { return found_; }

   private:
    ProfileStore& store_;
    bool found_ = false;
  };

  // Whether the living round has seen this image of the file, which Require would give.
  bool Sees(const ProfileImage* image, const std::string& path) const {
    return look_ != nullptr && look_->image_.get() == image && look_->path_ == path;
  }

  // Sets several keys in this order with one replacement of the file (none where it holds them already). Line
  // breaks in a value become blanks. Raises, with nothing written: 5 for names that no reader would find (empty
  // ones, line breaks, NULs, keys that begin with ";" or "["), what Require raises for a file that cannot be
  // read, and what writing raises (70, 61, 75, 76 ...).
  void Write(const std::string& path, std::span<const ProfileEdit> edits);
  // Makes `target` what `source` is with the keys set, by one replacement; `source` stays as it is. A file that
  // is made gets `mode`, one that was read-only becomes writable. Raises as Write, and 53 for a missing source.
  void WriteCopy(const std::string& source, const std::string& target, std::span<const ProfileEdit> edits,
                 mode_t mode);

 private:
  struct Cached;
  // Null where the file was not read; `reading` says why.
  std::shared_ptr<const ProfileImage> Look(const std::string& path, FileReading& reading);
  std::shared_ptr<const ProfileImage> Reload(const std::string& path, FileReading& reading);

  std::shared_ptr<const ProfileImage> empty_;
  std::unordered_map<std::string, std::unique_ptr<Cached>> cache_;
  const Watched* look_ = nullptr;  // what the living OneLook has looked at, unless it was written since
};

// The bytes of a profile file with the keys set. Raises 5 as Write does.
std::string EditedProfile(std::string_view bytes, std::span<const ProfileEdit> edits);

}  // namespace kestrel
