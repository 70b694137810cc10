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
//  6. A missing or unreadable file reads like an empty one.
//
// Writing keeps the order of lines, unknown lines and the line end of each line; new lines end in CR LF.
// A missing file, section or key is created; a new key follows the last entry of its section. The file is
// replaced atomically and durably (see WriteFileAtomically). A file that exists but cannot be read is never
// replaced.
//
// Caching. One parsed image is kept per path. It is used again while the file's identity is unchanged:
// device, inode, size, and nanosecond times of content and status. An image read while the file's time
// stamp was younger than the clock's granularity is not trusted and read again, so a change within the
// same tick and of the same size is seen.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/profile/caseless.h"

namespace kestrel {

// The parsed content of one profile file at one time. Immutable; texts are UTF-8.
class ProfileImage {
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

class ProfileStore {
 public:
  ProfileStore();
  ~ProfileStore();
  ProfileStore(const ProfileStore&) = delete;
  ProfileStore& operator=(const ProfileStore&) = delete;

  // The file as it is now; never null. Costs one status call and no memory while the file is unchanged. The
  // same pointer comes back as long as the content is the same, so a caller may keep what it derived from an
  // image and compare pointers. Raises nothing.
  std::shared_ptr<const ProfileImage> Read(const std::string& path);

  // For loops that read settings anew for every record: while one lives, Read looks at a file at most once a
  // tick of the kernel's coarse clock (1 to 10 ms) and answers from that look in between. What is written
  // through this store is seen at once all the same. The store outlives it.
  class OncePerTick {
   public:
    explicit OncePerTick(ProfileStore& store) : store_(store) { ++store_.once_per_tick_; }
    OncePerTick(const OncePerTick&) = delete;
    OncePerTick& operator=(const OncePerTick&) = delete;
    ~OncePerTick() { --store_.once_per_tick_; }

   private:
    ProfileStore& store_;
  };

  // Sets a key. Refused are empty names, names with a line break or NUL, and keys that begin with ";" or "[",
  // as no reader would find them; line breaks in a value become blanks. Returns whether the file now holds
  // the value (it is not replaced where it did before); raises nothing.
  bool Write(const std::string& path, std::string_view section, std::string_view key, std::string_view value);
  // Sets several keys in this order with one replacement of the file: all of them or, when it fails, none. A
  // refused key does not keep the others from being written. Returns whether the file now holds all of them.
  bool Write(const std::string& path, std::span<const ProfileEdit> edits);

 private:
  struct Cached;
  std::shared_ptr<const ProfileImage> ReadNow(const std::string& path);
  std::shared_ptr<const ProfileImage> Reload(const std::string& path);

  std::shared_ptr<const ProfileImage> empty_;
  std::unordered_map<std::string, std::unique_ptr<Cached>> cache_;
  int once_per_tick_ = 0;  // how many OncePerTick live
};

}  // namespace kestrel
