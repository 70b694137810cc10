// The key of a specification's section CfgSettings that lets an import overwrite existing rows ("1").
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace kestrel::host {

// `table`: as a person knows it. Of any name a key that every reader of the file finds.
inline std::string OverwriteKeyOf(std::string_view table) {
  std::string key(table);
  std::erase_if(key, [](char c) {
    return (c < 'a' || c > 'z') && (c < 'A' || c > 'Z') && (c < '0' || c > '9') && c != '_' &&
           static_cast<unsigned char>(c) < 0x80;
  });
  return key + "Ueberschreiben";
}

}  // namespace kestrel::host
