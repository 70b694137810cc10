// Workbooks since 2007 that are encrypted: a compound file in which the archive lies.
#pragma once

#include <string>

namespace kestrel::excel {

// Where `file` is the container of an archive that is encrypted with the password everybody knows, makes it
// that archive. Any other file stays as it is. Error 3000 where it has a password of its own or is encrypted in
// a way that is unknown here.
void DecryptPackage(std::string& file);

}  // namespace kestrel::excel
