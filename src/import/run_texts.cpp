#include "import/run_texts.h"

#include <charconv>
#include <limits>

namespace kestrel {

void ProgressText::SetTotal(std::int32_t total) {
  behind_ = total < 0 ? "" : " von " + std::to_string(total);
  record_ = 0;
}

std::string_view ProgressText::For(std::int32_t record) {
  // Nine of ten differ from the one before by their last digit.
  if (record_ > 0 && record == record_ + 1 && text_[last_digit_] != '9') {
    ++text_[last_digit_];
    ++record_;
    return text_;
  }
  text_.resize(kInFront.size() + std::numeric_limits<std::int32_t>::digits10 + 2);
  char* const number = text_.data() + kInFront.size();
  const char* const end = std::to_chars(number, text_.data() + text_.size(), record).ptr;
  text_.resize(static_cast<std::size_t>(end - text_.data()));
  last_digit_ = text_.size() - 1;
  record_ = record;
  return text_.append(behind_);
}

std::int32_t NextRecord(const RunResult& result, std::int32_t from, bool host_failed) {
  if (result.cancelled) return 0;
  const std::int32_t behind = result.skipped + result.records + 1;
  if (result.stop_reason.empty() && !(result.aborted && host_failed)) {
    const bool broken_off = result.source_end.error && result.records > 0;
    return result.aborted || broken_off ? behind : 0;
  }
  const std::int32_t last = result.figures.LastStoredRecord();
  if (result.checked > 0) return behind;
  return result.stored == 0 || last == 0 ? from : last + 1;
}

bool IsToldByLastRecord(const RunResult& result) {
  const std::int32_t first_lost = result.figures.FirstOfLostGroup();
  return first_lost == 0 || first_lost > result.figures.LastStoredRecord();
}

std::string StopText(const RunResult& result, const std::string& reason) {
  const RunFigures& figures = result.figures;
  const std::int32_t last = figures.LastStoredRecord();
  std::string text =
      (result.aborted ? "Der Import wurde abgebrochen. " : "Der Import wurde angehalten. ") + reason;
  if (result.next_record == 0) return text;
  text += "\r\n\r\n";
  if (result.checked > 0) {
    return text + "Nach der Abhilfe ist die Prüfung mit Datensatz " + std::to_string(result.next_record) +
           " fortzusetzen.";
  }
  if (result.stored == 0 || last == 0) {
    const std::string where =
        result.next_record == 1 ? "von vorn zu beginnen"
                                : "wieder mit Datensatz " + std::to_string(result.next_record) + " zu beginnen";
    return text + "Es ist kein Datensatz gespeichert; nach der Abhilfe ist der Import " + where + ".";
  }
  text += (result.stored == 1 ? "Gespeichert ist " : "Gespeichert sind ") +
          Counted(result.stored, "Datensatz", "Datensätze") + ", der letzte ist Datensatz " +
          std::to_string(last) + " der Quelle. Nach der Abhilfe ist der Import mit Datensatz " +
          std::to_string(result.next_record) + " fortzusetzen.";
  // A later group was stored again.
  if (!IsToldByLastRecord(result)) {
    text += " Auch davor fehlen Datensätze, der erste ist Datensatz " +
            std::to_string(figures.FirstOfLostGroup()) + "; die Fehler nennen sie alle.";
  }
  return text;
}

std::string CutFieldsText(const RunFigures& figures, Grouping grouping) {
  std::string text;
  for (const CutField& cut : figures.cut_fields()) {
    text.append(text.empty() ? "" : ", ")
        .append(NumberText(cut.values, grouping))
        .append(" in ")
        .append(cut.field);
  }
  return text;
}

std::string FiguresText(const RunFigures& figures, Grouping grouping) {
  const auto part = [grouping](std::int32_t count, const char* name) {
    return NumberText(count, grouping) + " " + name;
  };
  std::string text = part(figures.read(), "gelesen = ") + part(figures.stored_new(), "neu gespeichert + ") +
                     part(figures.updated(), "geändert + ") + part(figures.held_back(), "zurückgehalten + ") +
                     part(figures.rejected(), "abgewiesen");
  if (figures.checked() > 0) text += " + " + part(figures.checked(), "geprüft");
  text += "; " + part(figures.errors(), "Fehler");
  if (figures.cut_values() == 0) return text;
  return text + "; " + Counted(figures.cut_values(), "Wert", "Werte", grouping) + " gekürzt (" +
         CutFieldsText(figures, grouping) + ")";
}

namespace {

// Of a source that could not tell how many records it has.
bool IsWhole(const RunResult& result) {
  return result.source_end.state == SourceState::kAtEnd && !result.aborted && result.stop_reason.empty();
}

}  // namespace

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
  if (result.errors == 0 && result.records == 0 && !result.stop_reason.empty()) {
    const std::string text = "Es wurde kein Datensatz verarbeitet. " + result.stop_reason;
    return {text, text};
  }
  const bool has_total = result.total >= 0;
  if (result.errors == 0 && !has_total && !IsWhole(result)) {
    const std::string text =
        "Der Import hat " + Counted(result.records, "Datensatz", "Datensätze") + " erfolgreich importiert.";
    return {text, text + duplicates};
  }
  if (result.errors == 0 && has_total && result.skipped + result.records != result.total) {
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
