#include "platform/data/providers/xls/workbook.h"

#include <utility>

#include "platform/data/providers/xls/biff_workbook.h"
#include "platform/data/providers/xls/encrypted_package.h"
#include "platform/data/providers/xls/other_files.h"
#include "platform/data/providers/xls/xlsx_workbook.h"

namespace kestrel::xls {

std::shared_ptr<const Workbook> ReadWorkbook(std::string file) {
  DecryptPackage(file);
  if (BiffWorkbook::IsOne(BytesOf(file))) return std::make_shared<const BiffWorkbook>(std::move(file));
  if (XlsxWorkbook::IsOne(BytesOf(file))) return std::make_shared<const XlsxWorkbook>(std::move(file));
  RaiseOtherContent(BytesOf(file));
}

}  // namespace kestrel::xls
