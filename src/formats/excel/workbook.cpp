#include "formats/excel/workbook.h"

#include <utility>

#include "formats/excel/biff_workbook.h"
#include "formats/excel/encrypted_package.h"
#include "formats/excel/other_files.h"
#include "formats/excel/xlsx_workbook.h"

namespace kestrel::excel {

std::shared_ptr<const Workbook> ReadWorkbook(std::string file) {
  DecryptPackage(file);
  if (BiffWorkbook::IsOne(BytesOf(file))) return std::make_shared<const BiffWorkbook>(std::move(file));
  if (XlsxWorkbook::IsOne(BytesOf(file))) return std::make_shared<const XlsxWorkbook>(std::move(file));
  RaiseOtherContent(BytesOf(file));
}

}  // namespace kestrel::excel
