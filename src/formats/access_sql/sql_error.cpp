#include "formats/access_sql/sql_error.h"

namespace kestrel::access_sql {

RuntimeError QueryError(const std::string& query, const std::string& reason, const char* advice) {
  std::string text = "Die Abfrage '" + query + "' kann nicht gelesen werden: " + reason;
  if (!reason.ends_with('.')) text += std::string(". ") + advice;
  return RuntimeError(ErrorNumber::kDatabase, std::move(text));
}

}  // namespace kestrel::access_sql
