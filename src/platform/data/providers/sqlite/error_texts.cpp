#include "platform/data/providers/sqlite/error_texts.h"

#include <sqlite3.h>

#include <string_view>

namespace kestrel::sqlite {

namespace {

// The result without what only tells where it came from.
int KindOf(int result) {
  // The file beside the database that its users share has no room to grow, which is seen before anything is written.
  return result == SQLITE_IOERR_SHMSIZE ? SQLITE_FULL : result & 0xFF;
}

std::string_view DescribeConstraint(int result) {
  switch (result) {
    case SQLITE_CONSTRAINT_PRIMARYKEY:
    case SQLITE_CONSTRAINT_ROWID:
    case SQLITE_CONSTRAINT_UNIQUE: return "Der Wert ist schon vergeben und darf nur einmal vorkommen";
    case SQLITE_CONSTRAINT_NOTNULL: return "Ein Feld, das einen Wert braucht, ist leer";
    case SQLITE_CONSTRAINT_CHECK: return "Ein Wert ist nicht zulässig";
    case SQLITE_CONSTRAINT_FOREIGNKEY: return "Ein Wert verweist auf einen Datensatz, den es nicht gibt";
    default: return "Der Datensatz verletzt eine Regel der Tabelle";
  }
}

std::string_view Describe(int result) {
  switch (KindOf(result)) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED: return "Die Datenbank ist gesperrt";
    case SQLITE_FULL: return "Auf dem Datenträger der Datenbank ist kein Platz mehr";
    case SQLITE_READONLY:
    case SQLITE_PERM: return "Die Datenbank ist schreibgeschützt";
    case SQLITE_CANTOPEN: return "Die Datenbank lässt sich nicht öffnen";
    case SQLITE_IOERR: return "Die Datenbank lässt sich nicht lesen oder nicht beschreiben";
    case SQLITE_NOTADB: return "Die Datei ist keine SQLite-Datenbank, oder sie ist verschlüsselt";
    case SQLITE_CORRUPT: return "Die Datenbank ist beschädigt";
    case SQLITE_CONSTRAINT: return DescribeConstraint(result);
    case SQLITE_TOOBIG: return "Ein Wert ist zu groß für die Datenbank";
    case SQLITE_NOMEM: return "Der Arbeitsspeicher reicht nicht";
    default: return {};
  }
}

}  // namespace

std::string DescribeResult(int result, const char* message) {
  const std::string_view text = Describe(result);
  if (text.empty()) return message;
  return std::string(text) + " (" + message + ")";
}

std::string StopReasonOf(int result) {
  switch (KindOf(result)) {
    case SQLITE_FULL:
      return "Auf dem Datenträger der Datenbank ist kein Platz mehr. Schaffen Sie Platz, bevor Sie fortfahren.";
    case SQLITE_IOERR:
    case SQLITE_CANTOPEN:
      return "Die Dateien der Datenbank lassen sich nicht lesen oder nicht beschreiben. Prüfen Sie den "
             "Datenträger, bevor Sie fortfahren.";
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return "Ein anderes Programm sperrt die Datenbank. Beenden Sie es, oder warten Sie länger "
             "(KESTREL_LOCK_WAIT, Sekunden).";
    case SQLITE_READONLY:
    case SQLITE_PERM:
      return "Die Datenbank darf nicht beschrieben werden. Geben Sie Datei und Ordner frei, bevor Sie "
             "fortfahren.";
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB: return "Die Datenbank ist beschädigt. Stellen Sie sie aus einer Sicherung wieder her.";
    default: return {};
  }
}

}  // namespace kestrel::sqlite
