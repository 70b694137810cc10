#include "import/run_texts.h"

#include <charconv>
#include <limits>

namespace kestrel {

std::string_view ProgressText::For(std::int32_t record) {
  text_.resize(kInFront.size() + std::numeric_limits<std::int32_t>::digits10 + 2);
  char* const number = text_.data() + kInFront.size();
  const char* const end = std::to_chars(number, text_.data() + text_.size(), record).ptr;
  text_.resize(static_cast<std::size_t>(end - text_.data()));
  return text_.append(behind_);
}

std::string StopText(const RunResult& result, const RunFigures& figures) {
  const std::int32_t last = figures.LastStoredRecord();
  std::string text = "Der Import wurde angehalten. " + result.stop_reason + "\r\n\r\n";
  if (result.stored == 0 || last == 0) {
    return text + "Es ist kein Datensatz gespeichert; nach der Abhilfe ist der Import von vorn zu beginnen.";
  }
  text += "Gespeichert sind " + std::to_string(result.stored) + " Datensätze, der letzte ist Datensatz " +
          std::to_string(last) + " der Quelle. Nach der Abhilfe ist der Import mit Datensatz " +
          std::to_string(last + 1) + " fortzusetzen.";
  const std::int32_t first_lost = figures.FirstOfLostGroup();
  // A later group was stored again.
  if (first_lost != 0 && first_lost < last) {
    text += " Auch davor fehlen Datensätze, der erste ist Datensatz " + std::to_string(first_lost) +
            "; die Fehler nennen sie alle.";
  }
  return text;
}

ClosingTexts TextsAtEnd(const RunResult& result) {
  if (result.cancelled) {
    const char* const text = "Der Vorgang wurde vom Benutzer abgebrochen!";
    return {text, text};
  }
  std::string duplicates;
  if (result.duplicates >= 1) {
    duplicates = "\r\nEs wurden " + std::to_string(result.duplicates) +
                 " Adressen wegen Dublettenverdacht nicht importiert. Bitte prüfen Sie das Dublettenprotokoll!";
  }
  if (result.errors == 0 && result.records != result.total) {
    const std::string front =
        "Der Import hat " + std::to_string(result.records) + " von " + std::to_string(result.total);
    const char* const behind = "Datensätzen erfolgreich importiert.";
    // The box has no blank behind the total, the label has one.
    return {front + " " + behind, front + behind + duplicates};
  }
  const std::string info =
      result.errors == 0
          ? "Der Import wurde erfolgreich fertig gestellt."
          : "Beim Importieren der Daten sind Fehler aufgetreten. Bitte prüfen Sie diese über die Protokolle!";
  return {info, info + duplicates};
}

}  // namespace kestrel
