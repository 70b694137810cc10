// Files that are taken for workbooks and are none: what they are, and what to do.
#pragma once

#include "formats/excel/compound_file.h"
#include "formats/excel/zip_archive.h"

namespace kestrel::excel {

// All raise 3000.
[[noreturn]] void RaiseOtherContent(const CompoundFile& container);
[[noreturn]] void RaiseOtherContent(const ZipArchive& archive);
[[noreturn]] void RaiseOtherContent(Bytes file);

}  // namespace kestrel::excel
