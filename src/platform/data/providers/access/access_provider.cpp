#include "platform/data/providers/access/access_provider.h"

#include <memory>

#include "platform/base/text.h"
#include "platform/data/providers/access/access_connection.h"

namespace kestrel::access {

bool Serves(const ConnectionKeys& keys) {
  const std::string provider = keys.Get("Provider");
  for (const std::string_view served : {"Microsoft.Jet.OLEDB.", "Microsoft.ACE.OLEDB."}) {
    if (EqualsIgnoringCase(std::string_view(provider).substr(0, served.size()), served)) return true;
  }
  return false;
}

ConnectionPtr Open(const ConnectionKeys& keys, std::string_view) {
  const std::string path = keys.Get("Data Source");
  if (path.empty()) {
    throw RuntimeError(ErrorNumber::kDatabase, "Es ist keine Access-Datei angegeben (Data Source).");
  }
  const auto password = keys.Find("Jet OLEDB:Database Password");
  return std::make_shared<AccessConnection>(path, password ? *password : keys.Get("Password"));
}

}  // namespace kestrel::access
