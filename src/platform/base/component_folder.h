// The component's own folder, where its settings and specifications lie.
#pragma once

#include <string>

namespace kestrel {

// KESTREL_HOME, else $XDG_DATA_HOME/kestrel-import, else $HOME/.local/share/kestrel-import. Not looked at: it
// need not exist.
std::string ComponentFolder();

}  // namespace kestrel
