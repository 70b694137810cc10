#pragma once

#include "kestrel/component_registry.h"

namespace kestrel::host {

// Registers everything the sample host offers: log, settings, duplicate keys, set-up, log reader, decisions about
// records held back, and an import class for each of its own destinations and for every other announced
// identifier that begins with "ksbimport.". What is made takes import classes from the registry, which outlives it.
void RegisterComponents(ComponentRegistry& registry);

}  // namespace kestrel::host
