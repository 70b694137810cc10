// "key=value;key=value" texts that say which source to open.
//
// Keys are compared without case, blanks around keys are dropped. A value may stand in braces or in
// single or double quotes, where it may hold ";" (the closing character doubled stands for itself);
// otherwise it ends at the next ";" and its surrounding blanks are dropped. Of two equal keys the last
// one counts. Nothing here raises an error: a piece without "=" is ignored.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

class ConnectionKeys {
 public:
  explicit ConnectionKeys(std::string_view text);

  // The text as it came, for sources that are named by a plain path or a URL.
  const std::string& Text() const { return text_; }
  // The value, or none where the key is absent.
  std::optional<std::string> Find(std::string_view key) const;
  // The value, or the empty text.
  std::string Get(std::string_view key) const;

 private:
  struct Entry {
    std::string key;
    std::string value;
  };
  std::string text_;
  std::vector<Entry> entries_;
};

}  // namespace kestrel
