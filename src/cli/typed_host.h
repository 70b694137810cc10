// A host's connection string as it is shown to be typed again.
#pragma once

#include <string>

namespace kestrel::cli {

struct ShownHost {
  // Quoted for a shell, without the password; VERBINDUNG where it may still hold one.
  std::string text;
  // It was left out.
  bool lacks_password = false;
};

ShownHost ShowHost(const std::string& connection_string);

}  // namespace kestrel::cli
