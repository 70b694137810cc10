#include "cli/typed_host.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "cli/output.h"
#include "platform/base/text.h"
#include "platform/data/providers/sqlite/sqlite_provider.h"

namespace kestrel::cli {

namespace {

bool IsUrl(std::string_view text) {
  return text.starts_with("postgresql://") || text.starts_with("postgres://");
}

bool IsOfPassword(std::string_view key) {
  return EqualsIgnoringCase(key, "password") || EqualsIgnoringCase(key, "sslpassword");
}

// What stands between "//" and the first "@" before any "/" are user and password.
std::string WithoutPasswordOfUrl(std::string_view url) {
  const std::size_t start = url.find("//") + 2;
  std::string text(url.substr(0, start));
  std::string_view rest = url.substr(start);
  const std::size_t end = rest.find_first_of("@/?");
  if (end != std::string_view::npos && rest[end] == '@') {
    const std::string_view user = rest.substr(0, end);
    text += user.substr(0, user.find(':'));
    rest.remove_prefix(end);
  }
  const std::size_t question = rest.find('?');
  text += rest.substr(0, question);
  if (question == std::string_view::npos) return text;
  char separator = '?';
  for (const std::string_view parameter : Split(rest.substr(question + 1), '&')) {
    if (IsOfPassword(parameter.substr(0, parameter.find('=')))) continue;
    text += separator;
    text += parameter;
    separator = '&';
  }
  return text;
}

// Of "key=value;key=value" without quotes, in which a value may hold ";".
std::string WithoutPasswordOfKeys(std::string_view connection_string) {
  std::string text;
  for (const std::string_view piece : Split(connection_string, ';')) {
    if (IsOfPassword(TrimBlanks(piece.substr(0, piece.find('='))))) continue;
    text.append(text.empty() ? "" : ";").append(piece);
  }
  return text;
}

bool IsOfPostgres(std::string_view connection_string) {
  const std::vector<std::string_view> pieces = Split(connection_string, ';');
  return connection_string.find_first_of("{\"'") == std::string_view::npos &&
         std::ranges::any_of(pieces, [](std::string_view piece) {
           const std::size_t equals = std::min(piece.find('='), piece.size());
           return EqualsIgnoringCase(TrimBlanks(piece.substr(0, equals)), "Provider") &&
                  EqualsIgnoringCase(TrimBlanks(piece.substr(equals == piece.size() ? equals : equals + 1)),
                                     "PostgreSQL");
         });
}

// Something that looks like a password, in whatever writing, or like "user:password@".
bool MayHoldPassword(std::string_view text) {
  const std::string upper = ReplaceAll(ReplaceAll(UpperCase(text), "PASSFILE", ""), ".PGPASS", "");
  if (upper.find("PASS") != std::string::npos || upper.find("PWD") != std::string::npos) return true;
  const std::size_t at = upper.find('@');
  if (at == std::string::npos) return false;
  const std::size_t start = upper.find("//");
  return !IsUrl(text) || upper.find('@', at + 1) != std::string::npos || upper.find(':', start) < at;
}

}  // namespace

ShownHost ShowHost(const std::string& connection_string) {
  if (!SqliteFileOf(connection_string).empty()) return {ShellWord(connection_string), false};
  const bool is_url = IsUrl(connection_string);
  // Any other kind may name its password as it likes.
  if (is_url || IsOfPostgres(connection_string)) {
    const std::string text =
        is_url ? WithoutPasswordOfUrl(connection_string) : WithoutPasswordOfKeys(connection_string);
    // The name of a parameter may be written with "%" as well.
    const bool is_encoded =
        is_url && text.find('%', std::min(text.find('?'), text.size())) != std::string::npos;
    if (!is_encoded && !MayHoldPassword(text)) return {ShellWord(text), text != connection_string};
  }
  return {"VERBINDUNG", false};
}

}  // namespace kestrel::cli
