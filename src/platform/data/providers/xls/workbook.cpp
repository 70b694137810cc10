#include "platform/data/providers/xls/workbook.h"

#include <utility>

#include "platform/data/providers/xls/biff_workbook.h"
#include "platform/data/providers/xls/xlsx_workbook.h"

namespace kestrel::xls {

std::shared_ptr<const Workbook> ReadWorkbook(std::string file) {
  if (BiffWorkbook::IsOne(BytesOf(file))) return std::make_shared<const BiffWorkbook>(std::move(file));
  if (XlsxWorkbook::IsOne(BytesOf(file))) return std::make_shared<const XlsxWorkbook>(std::move(file));
  throw RuntimeError(
      ErrorNumber::kDatabase,
      "Die Datei ist keine Excel-Arbeitsmappe; sie muss aus Excel als .xls oder .xlsx gespeichert "
      "sein (eine umbenannte Text- oder HTML-Datei ist keine)");
}

}  // namespace kestrel::xls
