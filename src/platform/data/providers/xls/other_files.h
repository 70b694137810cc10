// Files that are taken for workbooks and are none: what they are, and what to do.
#pragma once

#include "platform/data/providers/xls/compound_file.h"
#include "platform/data/providers/xls/zip_archive.h"

namespace kestrel::xls {

// All raise 3000.
[[noreturn]] void RaiseOtherContent(const CompoundFile& container);
[[noreturn]] void RaiseOtherContent(const ZipArchive& archive);
[[noreturn]] void RaiseOtherContent(Bytes file);

}  // namespace kestrel::xls
