// Where what a person deletes can be had back.
#pragma once

#include <string>

namespace kestrel {

// Moves the file to the trash of the desktop or, where there is none for it, to the folder "Gelöscht" beside it, under a
// name that is free there. Raises why neither is possible; the file is as it was then.
// `to_desktop` moves to the trash of the desktop, and answers whether it could; null: as Qt does it.
void MoveToTrash(const std::string& path, bool (*to_desktop)(const std::string& path) = nullptr);

}  // namespace kestrel
