// Input: a table; where it holds the bytes "MEMO", what follows them is its memo file.
#include "platform/data/providers/dbase/dbase_recordset.h"
#include "read_all.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kestrel;
  const std::string input = fuzz::BytesAsString(data, size);
  const std::size_t mark = input.find("MEMO");
  FileContent memo;
  if (mark != std::string::npos) memo = fuzz::AsFileContent(std::string_view(input).substr(mark + 4));
  fuzz::MayFail([&] {
    dbase::TableFile table = dbase::TableFile::Of(std::string_view(input).substr(0, mark));
    dbase::Header header = dbase::ReadHeader(table);
    fuzz::ReadAll(*dbase::DbaseRecordset::Open({std::move(table), std::move(header), std::move(memo)}, {}));
  });
  return 0;
}
