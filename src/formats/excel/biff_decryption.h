// Workbook streams that are encrypted with the password everybody knows, as those are that are only protected
// against changes.
#pragma once

#include <string>

#include "formats/excel/scattered_bytes.h"

namespace kestrel::excel {

// Makes the stream, whose bytes lie in `file`, plain in place. A stream that is not encrypted stays as it is.
// Error 3000 where it has a password of its own or is encrypted in a way that is unknown here.
void DecryptStream(std::string& file, const ScatteredBytes& stream);

// Error 3000: a workbook with a password of its own.
[[noreturn]] void RaiseNeedsPassword();

}  // namespace kestrel::excel
