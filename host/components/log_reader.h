// kestrelhost.LogReader: the rows of the host's logs, for programs that show them.
#pragma once

#include <cstdint>
#include <optional>
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
  // The rows of all logs of a list name, or of the last one only, in the order they were written, the first
  // `limit` of them. Columns:
  // Protokoll (number), Datum, Benutzer, Beschreibung, Datei (the specification that was chosen), Quelle (its kind),
  // Spalte0, Spalte1, Spalte2; Zeile (key), Quelldatei and what is kept beside the row, null where it is not known:
  // Datensatz, DatensatzBis, Feld, Quellspalte, Rohwert, and, of a record held back, in each of its rows: Adressart
  // (the table's name), Adresse, Name, Ort, Schluessel, FruehererDatensatz, Entscheidung,
  // Wertung (per cent), Grund.
  ObjectPtr ReadLog(std::string_view list, bool only_last, std::optional<std::int64_t> limit) const;
  // The same of the duplicate log, but of each record only its first row; where `only_open`, without those about
  // which somebody has decided.
  ObjectPtr ReadHeldBack(bool only_last, bool only_open, std::int64_t limit) const;

  struct Choice;
  ObjectPtr Read(const Choice& choice) const;

  ObjectPtr connection_;
};

}  // namespace kestrel::host
