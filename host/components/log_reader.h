// kestrelhost.LogReader: the rows of the host's logs, for programs that show them.
#pragma once

#include <string_view>

#include "kestrel/bound_object.h"
#include "kestrel/connection.h"

namespace kestrel::host {

class LogReader final : public BoundObject<LogReader> {
 public:
  static void Bind(Members& members);

 private:
  // Error 91 or 438 where the object is no connection.
  void SetConnection(const ObjectPtr& connection);
  // The rows of all logs of a list name, or of the last one only, in the order they were written. Columns:
  // Protokoll (number), Datum, Benutzer, Beschreibung, Datei (the specification that was chosen), Quelle (its kind),
  // Spalte0, Spalte1, Spalte2; Zeile (key), Quelldatei and what is kept beside the row, null where it is not known:
  // Datensatz, DatensatzBis, Feld, Quellspalte, Rohwert, and, of a record held back, in each of its rows: Adressart
  // (the table's name), Adresse, Name, Ort, Schluessel, FruehererDatensatz, Entscheidung.
  ObjectPtr ReadLog(std::string_view list, bool only_last);

  ObjectPtr connection_;
};

}  // namespace kestrel::host
