#include "platform/data/providers/postgres/error_texts.h"

#include "platform/base/text.h"

namespace kestrel::postgres {

namespace {

// What a message holds, both parts, and what it means.
struct Meaning {
  std::string_view part;
  std::string_view other_part;
  std::string_view text;
  // Otherwise the message names what the text leaves out: address, user, reason.
  bool says_all = false;
};

constexpr std::string_view kSessionEnded =
    "Der Server hat die Sitzung beendet, vielleicht für einen Neustart. Versuchen Sie es noch einmal; sonst "
    "fragen Sie seinen Verwalter";

// The first that fits counts: a session that is ended is also one that closed unexpectedly.
constexpr Meaning kConnectionErrors[] = {
    {"Connection refused", "",
     "An dieser Adresse nimmt kein PostgreSQL-Server Verbindungen an. Prüfen Sie Server und Port, und ob der "
     "Server läuft"},
    {"could not translate host name", "",
     "Der Name des Servers ist nicht bekannt. Prüfen Sie seine Schreibweise und das Netz"},
    {"password authentication failed", "", "Benutzer oder Kennwort stimmen nicht. Prüfen Sie beides"},
    {"no password supplied", "",
     "Der Server verlangt ein Kennwort. Geben Sie es in der Verbindung an (password), oder legen Sie es in der "
     "Datei .pgpass ab"},
    {"role \"", "does not exist",
     "Den Benutzer gibt es auf dem Server nicht. Prüfen Sie den Namen, oder lassen Sie ihn vom Verwalter des "
     "Servers anlegen"},
    {"database \"", "does not exist",
     "Die Datenbank gibt es auf dem Server nicht. Prüfen Sie den Namen, oder lassen Sie sie vom Verwalter des "
     "Servers anlegen"},
    {"timeout expired", "",
     "Der Server hat sich nicht rechtzeitig gemeldet. Prüfen Sie Adresse und Netz; wie lange gewartet wird, "
     "sagt "
     "connect_timeout (Sekunden)"},
    {"no pg_hba.conf entry", "",
     "Der Server lässt diesen Benutzer von diesem Rechner aus nicht in die Datenbank. Der Verwalter des "
     "Servers "
     "erlaubt es in pg_hba.conf"},
    {"too many clients", "",
     "Der Server nimmt keine weitere Verbindung an. Beenden Sie andere, oder erhöhen Sie dort max_connections"},
    {"remaining connection slots", "",
     "Der Server nimmt keine weitere Verbindung an. Beenden Sie andere, oder erhöhen Sie dort max_connections"},
    {"could not write init file", "",
     "Der Datenbankserver kann nicht auf seinen Datenträger schreiben. Schaffen Sie dort Platz"},
    {"No space left on device", "",
     "Auf dem Datenträger des Datenbankservers ist kein Platz mehr. Schaffen Sie dort Platz"},
    {"the database system is starting up", "",
     "Der Server startet gerade. Versuchen Sie es in einer Minute noch einmal", true},
    {"the database system is shutting down", "",
     "Der Server wird gerade beendet. Versuchen Sie es noch einmal, wenn er wieder läuft", true},
    {"terminating connection due to administrator command", "", kSessionEnded, true},
    {"terminating connection", "", kSessionEnded},
    {"server closed the connection unexpectedly", "",
     "Der Server hat die Verbindung ohne ein Wort geschlossen. Prüfen Sie, ob er noch läuft", true},
};

std::string WithOriginal(std::string_view text, const std::string& message) {
  return text.empty() ? message : std::string(text) + " (" + message + ")";
}

// What libpq advises stands behind its messages, in lines that begin with a tabulator.
enum class Advice { kKeep, kLeaveOut };

std::string InOneLine(std::string_view message, Advice advice) {
  std::string text;
  for (const std::string_view line : Split(message, '\n')) {
    const auto first = line.find_first_not_of(" \t\r");
    if (first == std::string_view::npos || (advice == Advice::kLeaveOut && line.starts_with('\t'))) continue;
    text.append(text.empty() ? "" : " ").append(line.substr(first, line.find_last_not_of(" \t\r") + 1 - first));
  }
  return text;
}

struct StatementMeaning {
  std::string_view state;
  std::string_view part;  // of the message
  std::string_view text;
};

constexpr StatementMeaning kStatementErrors[] = {
    {"55P03", "", "Ein anderes Programm hält gesperrt, was gelesen oder geändert werden soll"},
    {"57014", "statement timeout",
     "Der Server hat die Anweisung abgebrochen, da sie länger dauerte, als er erlaubt (statement_timeout)"},
    {"42501", "", "Dem Benutzer fehlt ein Recht, das der Eigentümer der Tabelle mit GRANT vergibt"},
    {"25006", "", "Die Datenbank darf nicht beschrieben werden"},
    {"53100", "", "Auf dem Datenträger des Datenbankservers ist kein Platz mehr"},
    {"23514", "no partition",
     "Für einen solchen Wert hat die geteilte Tabelle keinen Teil; wer die Datenbank verwaltet, legt einen an"},
};

constexpr std::string_view kOthersChange =
    "Andere Programme ändern dieselben Zeilen der Datenbank. Warten Sie, bis sie fertig sind, bevor Sie "
    "fortfahren.";

struct StopReason {
  std::string_view state;
  std::string_view text;
};

constexpr StopReason kStopReasons[] = {
    {"55P03",
     "Ein anderes Programm sperrt die Datenbank. Beenden Sie es, oder warten Sie länger (KESTREL_LOCK_WAIT, "
     "Sekunden)."},
    {"53100",
     "Der Datenbankserver kann nicht auf seinen Datenträger schreiben. Schaffen Sie dort Platz, bevor Sie "
     "fortfahren."},
    {"58030",
     "Der Datenbankserver kann nicht auf seinen Datenträger schreiben. Schaffen Sie dort Platz, bevor Sie "
     "fortfahren."},
    {"25006",
     "Die Datenbank darf nicht beschrieben werden. Geben Sie sie frei, oder verbinden Sie mit dem "
     "Primärserver (target_session_attrs=read-write), bevor Sie fortfahren."},
    {"42501",
     "Dem Benutzer fehlen Rechte an der Datenbank. 'kestrel-import check' sagt, welche; der Eigentümer der "
     "Tabellen vergibt sie mit GRANT."},
    {"57014",
     "Der Datenbankserver hat eine Anweisung abgebrochen, die ihm zu lange dauerte. Geben Sie ihr mehr Zeit "
     "(statement_timeout), oder warten Sie, bis er weniger zu tun hat, bevor Sie fortfahren."},
    {"40001", kOthersChange},
    {"40P01", kOthersChange},
    {"40003", kOthersChange},
};

}  // namespace

std::string ExplainConnectionError(const std::string& message) {
  const auto has = [&](std::string_view part) { return message.find(part) != std::string::npos; };
  for (const Meaning& meaning : kConnectionErrors) {
    if (!has(meaning.part) || !has(meaning.other_part)) continue;
    return meaning.says_all ? std::string(meaning.text)
                            : WithOriginal(meaning.text, InOneLine(message, Advice::kLeaveOut));
  }
  return InOneLine(message, Advice::kKeep);
}

std::string ExplainStatementError(std::string_view state, const std::string& message) {
  for (const StatementMeaning& meaning : kStatementErrors) {
    if (state == meaning.state && message.find(meaning.part) != std::string::npos)
      return WithOriginal(meaning.text, message);
  }
  return message;
}

std::string_view StopReasonOf(std::string_view state) {
  for (const StopReason& reason : kStopReasons) {
    if (reason.state == state) return reason.text;
  }
  return {};
}

}  // namespace kestrel::postgres
