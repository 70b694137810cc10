// What an import stands on, handed in by its host.
#pragma once

namespace kestrel {

class Clock;
class ComponentRegistry;
class SourceKinds;
class UserInterface;

// References to what the host made. All of it outlives every ImportMan and ImportJob that was given it, and
// what they create; all of it is used by their thread only.
struct Platform {
  UserInterface& ui;              // who is told and asked
  ComponentRegistry& components;  // where import class, log, settings and key components are found
  const Clock& clock;             // the time of day: names of files, dates in logs
  // The kinds of sources, where a program that is built with the component adds its own; null for those it has.
  const SourceKinds* source_kinds = nullptr;
};

}  // namespace kestrel
