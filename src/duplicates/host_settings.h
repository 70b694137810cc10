// What the duplicate check asks the host's settings component for: the group Adressindex.
//
// Invariants
//  1. A component without the member Generation is made anew for every question, and asked for each setting.
//  2. Of one that has it the object asked last is kept, with its answers, for as long as it tells the generation that it
//     told before it was asked, and the session's connection is the one it has left there.
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kestrel/object.h"

namespace kestrel {

struct Session;

class HostSettings {
 public:
  // A setting, and where its text goes; a setting that the host lacks reads as "0".
  struct Wanted {
    const char* name;
    std::string& text;
  };
  // One question for all of them. The connection travels by reference, so what the component leaves there becomes the
  // session's. Raises what the component raises.
  void Read(Session& session, std::initializer_list<Wanted> settings);

 private:
  bool IsUnchanged(const Session& session);
  void Begin(Session& session);
  const std::string& TextOf(const char* name);

  std::optional<bool> tells_generation_;  // as far as one was asked
  ObjectPtr component_;
  ObjectPtr connection_;  // that it has left
  BoundMember generation_;
  Value told_;
  std::vector<std::pair<std::string_view, std::string>> texts_;
};

}  // namespace kestrel
