// Input: an Access file. Every table and query is read, system tables included.
#include "platform/data/providers/access/access_connection.h"
#include "read_all.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kestrel;
  fuzz::MayFail([&] {
    access::AccessConnection connection(
        std::make_shared<const access::JetFile>(fuzz::BytesAsString(data, size), std::string_view()));
    for (const CatalogTable& table : connection.Tables()) {
      fuzz::MayFail([&] { connection.Remarks(table.name); });
      fuzz::MayFail([&] { fuzz::ReadAll(*connection.OpenRecordset("SELECT * FROM [" + table.name + "]")); });
    }
    fuzz::MayFail([&] { fuzz::ReadAll(*connection.OpenRecordset("SELECT * FROM MSysObjects")); });
  });
  return 0;
}
