#include "platform/data/providers/odbc/odbc_provider.h"

#include <string>

#include "platform/data/providers/odbc/drivers.h"
#include "platform/data/providers/odbc/odbc_connection.h"

namespace kestrel::odbc {

bool Serves(const ConnectionKeys& keys) {
  if (const auto provider = keys.Find("Provider")) return FindDriver(*provider).has_value();
  return keys.Find("Driver").has_value() || keys.Find("DSN").has_value();
}

ConnectionPtr Open(const ConnectionKeys& keys, std::string_view whole) {
  if (const auto provider = keys.Find("Provider")) {
    const Driver driver = *FindDriver(*provider);
    return std::make_shared<OdbcConnection>(Target{WithDriverDefaults(DriverConnectionString(driver, keys)),
                                                   keys.Get("Password"), driver.narrow_utf8});
  }
  std::string password = keys.Get("PWD");
  if (password.empty()) password = keys.Get("Password");
  return std::make_shared<OdbcConnection>(
      Target{WithDriverDefaults(std::string(whole)), std::move(password), false});
}

}  // namespace kestrel::odbc
