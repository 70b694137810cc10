#include "platform/data/providers/odbc/drivers.h"

#include <cstdlib>

#include "kestrel/runtime_error.h"
#include "platform/base/component_folder.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "platform/profile/profile.h"

namespace kestrel::odbc {

namespace {

constexpr const char* kSqlServerPort = "1433";

std::string DriversFile() {
  if (const char* named = std::getenv("KESTREL_DRIVERS")) return named;
  return JoinPath(ComponentFolder(), "drivers.ini");
}

bool IsOfPostgres(std::string_view driver) {
  constexpr std::string_view kName = "PostgreSQL";
  return EqualsIgnoringCase(driver.substr(0, kName.size()), kName);
}

Braces BracesOf(std::string_view driver, std::string_view named) {
  if (EqualsIgnoringCase(named, "double")) return Braces::kDoubled;
  if (EqualsIgnoringCase(named, "password")) return Braces::kDoubledAroundPassword;
  return named.empty() && IsOfPostgres(driver) ? Braces::kDoubledAroundPassword : Braces::kPlain;
}

std::optional<Driver> DriverFromFile(std::string_view provider) {
  const std::string path = DriversFile();
  if (!FileExists(path)) return std::nullopt;
  const ProfileImage image(ReadWholeFile(path));
  const auto value = [&](std::string_view key) { return std::string(image.Find(provider, key).value_or("")); };
  Driver driver;
  driver.name = value("Driver");
  if (driver.name.empty()) return std::nullopt;
  driver.options = value("Options");
  driver.port_behind_comma = EqualsIgnoringCase(value("Server"), "comma");
  driver.braces = BracesOf(driver.name, value("Braces"));
  driver.narrow_utf8 = EqualsIgnoringCase(value("Text"), "utf8");
  return driver;
}

[[noreturn]] void RefuseValue(const Driver& driver, const std::string& characters) {
  throw RuntimeError(ErrorNumber::kDatabase, std::string(DescriptionOf(ErrorNumber::kDatabase)) +
                                                 ": Ein Wert der Verbindungszeichenfolge enthält die "
                                                 "Zeichen \"" +
                                                 characters + "\", die der ODBC-Treiber " + driver.name +
                                                 " nicht annimmt");
}

// The password as the driver reads it: in braces, so that it may hold ";".
std::string Braced(const Driver& driver, const std::string& value) {
  if (driver.braces != Braces::kPlain) return "{" + ReplaceAll(value, "}", "}}") + "}";
  // Such a driver takes the first "};" for the end.
  if (value.find("};") != std::string::npos) RefuseValue(driver, "};");
  return "{" + value + "}";
}

// The name of a user or a database.
std::string NameFor(const Driver& driver, const std::string& value) {
  if (driver.braces != Braces::kDoubledAroundPassword) return Braced(driver, value);
  for (const char* characters : {";", "{"}) {
    if (value.find(characters) != std::string::npos) RefuseValue(driver, characters);
  }
  return value;
}

}  // namespace

std::optional<Driver> FindDriver(std::string_view provider) {
  const bool sql_server =
      EqualsIgnoringCase(provider, "SQLOLEDB.1") || EqualsIgnoringCase(provider, "SQLOLEDB");
  if (auto driver = DriverFromFile(provider)) {
    if (sql_server && !ConnectionKeys(driver->options).Find("Port")) driver->default_port = kSqlServerPort;
    return driver;
  }
  if (!sql_server) return std::nullopt;
  Driver driver;
  driver.name = "FreeTDS";
  driver.default_port = kSqlServerPort;
  driver.options = "TDS_Version=7.4;ClientCharset=UTF-8";
  driver.narrow_utf8 = true;
  return driver;
}

std::string WithDriverDefaults(std::string connection_string) {
  const ConnectionKeys keys(connection_string);
  if (!IsOfPostgres(keys.Get("Driver"))) return connection_string;
  std::string defaults;
  if (!keys.Find("UseDeclareFetch")) {
    defaults += "UseDeclareFetch=1;";
    if (!keys.Find("Fetch")) defaults += "Fetch=1000;";
  }
  for (const std::string log : {"Debug", "CommLog"}) {
    if (!keys.Find(log)) defaults += log + "=0;";
  }
  if (!connection_string.ends_with(';') && !defaults.empty()) connection_string += ';';
  return connection_string + defaults;
}

std::string DriverConnectionString(const Driver& driver, const ConnectionKeys& keys) {
  std::string server = keys.Get("Data Source");
  std::string port;
  if (const std::size_t comma = server.rfind(','); comma != std::string::npos) {
    port = TrimBlanks(std::string_view(server).substr(comma + 1));
    server = TrimBlanks(std::string_view(server).substr(0, comma));
  } else if (server.find('\\') == std::string::npos) {
    // An instance is asked for its port.
    port = driver.default_port;
  }
  std::string text = "Driver={" + driver.name + "};Server=" + server;
  if (!port.empty()) text += (driver.port_behind_comma ? "," : ";Port=") + port;
  if (!driver.options.empty()) text += ";" + driver.options;
  if (const std::string database = keys.Get("Initial Catalog"); !database.empty()) {
    text += ";Database=" + NameFor(driver, database);
  }
  text += ";UID=" + NameFor(driver, keys.Get("User ID"));
  // A closing brace at the very end would not be seen by every driver.
  text += ";PWD=" + Braced(driver, keys.Get("Password")) + ";";
  return text;
}

}  // namespace kestrel::odbc
