// Whether the host's database can be reached, before something is begun that needs it.
#pragma once

namespace kestrel {

struct Session;

// True where the host's connection answers, or is nothing that can be asked. Else a box says why not and that nothing is
// lost. A lost connection is opened again meanwhile, for as long as its waits may last.
bool HostAnswers(const Session& session);

}  // namespace kestrel
