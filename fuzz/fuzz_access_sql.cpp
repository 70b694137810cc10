// Input: the SQL of a saved query, which is parsed as a statement and as an expression.
#include <string>

#include "formats/access_sql/sql_parser.h"
#include "read_all.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kestrel;
  const std::string sql = fuzz::BytesAsString(data, size);
  fuzz::MayFail([&] { access_sql::ParseSelect(sql); });
  fuzz::MayFail([&] { access_sql::ParseExpression(sql); });
  return 0;
}
