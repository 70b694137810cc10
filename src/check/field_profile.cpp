#include "check/field_profile.h"

#include <limits>
#include <utility>

#include "mapping/field_assignment.h"
#include "platform/base/text.h"

namespace kestrel {

namespace {

constexpr const char* kKnownDay = "Prüfen Sie an einem bekannten Datum, was gilt.";

std::string Listed(const std::vector<std::string_view>& names) {
  std::string list;
  for (const std::string_view name : names) list.append(list.empty() ? "" : ", ").append(name);
  return list;
}

bool IsTrue(const MemoryRecordset& list, std::size_t column) {
  return !list.IsNull(column) && list.ValueAt(column).ToBool();
}

}  // namespace

FieldProfile::FieldProfile(const MemoryRecordset& list, const std::vector<PermittedValue>& permitted)
    : field_(list.TextAt(kSourceName)),
      column_(ReplaceAll(list.TextAt(kDestinationName), "\"", "")),
      field_typ_(list.TextAt(kFieldTyp)),
      kind_(KindOfField(field_typ_)),
      size_(list.IsNull(kSize) ? 0 : list.ValueAt(kSize).ToInteger()),
      is_mandatory_(IsTrue(list, kObligation)),
      format_(list.TextAt(kFormat)),
      date_(FindDatePattern(format_)) {
  // The run counts an error for a field without a size, or one beyond 16 bits, but cuts nothing.
  constexpr std::int64_t kGreatestSize = std::numeric_limits<std::int16_t>::max();
  if (list.IsNull(kSize) || size_ > kGreatestSize || size_ < 0)
    size_ = std::numeric_limits<std::int64_t>::max();
  if (IsTrue(list, kTranslate)) translation_.emplace(field_);
  if (date_ != nullptr || IsTrue(list, kDateField)) dates_.emplace(date_);
  for (const PermittedValue& value : permitted) permitted_.insert(value.value);
}

std::optional<std::string_view> FieldProfile::Look(std::int64_t record, std::string_view value,
                                                   const std::shared_ptr<const ProfileImage>& specification) {
  const std::string_view raw = value;
  std::optional<std::string_view> translation;
  if (translation_) {
    translation = translation_->Table(specification).Find(value);
    if (translation) value = *translation;
  }
  if (TrimBlanks(value).empty()) {
    empty_.Add(record, {});
    if (is_mandatory_) record_with_error_ = record;
  } else {
    ++filled_;
    if (translation_ && !translation) not_translated_.Add(record, raw);
  }
  const bool compatible = IsCompatible(value, kind_);
  if (!compatible) {
    not_numbers_.Add(record, value);
    record_with_error_ = record;
  }
  if (dates_ && !value.empty()) {
    if (const std::optional<CalendarDate> date = dates_->Look(value)) {
      date_text_ = FormatStoredDate(*date);
      return date_text_;
    }
    if (date_ != nullptr) not_dates_.Add(record, value);
  }
  if (!compatible) return std::nullopt;
  const std::optional<std::string_view> written =
      translation ? ShapeTranslated(value, field_typ_, size_) : ShapeByType(value, kind_, size_);
  if (!written) return written;
  if (TrimBlanks(*written) != TrimBlanks(value)) cut_.Add(record, value);
  if (!permitted_.empty() && !written->empty()) {
    permitted_key_ = *written;
    if (!permitted_.contains(permitted_key_)) not_permitted_.Add(record, *written);
  }
  return written;
}

FieldFigures FieldProfile::Figures() const {
  return {field_,
          column_,
          filled_,
          empty_.count(),
          cut_.count(),
          not_numbers_.count(),
          not_dates_.count(),
          not_translated_.count(),
          not_permitted_.count(),
          unreadable_.count()};
}

FindingPlace FieldProfile::Place() const { return {"FieldAssignments", field_, field_}; }

void FieldProfile::Tell(Findings& findings, bool destination_asked) const {
  unreadable_.Tell(findings, Severity::kError, Place(), "Wert kann nicht gelesen werden",
                   "Werte können nicht gelesen werden", "Speichern Sie die Quelle neu.");
  if (is_mandatory_) {
    empty_.Tell(findings, Severity::kError, Place(), "Datensatz lässt das Pflichtfeld leer",
                "Datensätze lassen das Pflichtfeld leer", "Ergänzen Sie die Spalte \"" + column_ + "\".");
  }
  not_numbers_.Tell(findings, Severity::kError, Place(), "Wert ist keine Zahl", "Werte sind keine Zahlen",
                    "Ohne Berichtigung oder Übersetzung bleibt das Feld leer.");
  TellDates(findings, destination_asked);
  cut_.Tell(findings, Severity::kWarning, Place(), "Wert wird gekürzt", "Werte werden gekürzt",
            "Das Feld fasst " + std::to_string(size_) + " Zeichen.");
  not_translated_.Tell(findings, Severity::kWarning, {TranslationSection(field_), "", field_},
                       "Wert hat keine Übersetzung und bleibt, wie er ist",
                       "Werte haben keine Übersetzung und bleiben, wie sie sind",
                       "Ergänzen Sie die Übersetzungstabelle.");
  not_permitted_.Tell(findings, Severity::kWarning, Place(), "Wert ist für das Feld nicht vorgesehen",
                      "Werte sind für das Feld nicht vorgesehen",
                      "Eine Übersetzung kann daraus einen vorgesehenen machen.");
}

void FieldProfile::TellDates(Findings& findings, bool destination_asked) const {
  if (!dates_ || dates_->values() == 0) return;
  const FindingPlace place{"FieldFormat", field_, field_};
  const std::vector<std::string_view> fit_all = dates_->FitAll();
  std::string way_out = "Kein Format passt zu einem der Werte; prüfen Sie, ob es Tage sind.";
  if (!fit_all.empty()) {
    way_out = std::string("Zu allen Werten ") + (fit_all.size() == 1 ? "passt: " : "passen: ") +
              Listed(fit_all) + ".";
  } else if (dates_->BestFits() > 0) {
    way_out = "Am besten passt " + std::string(dates_->BestFormat()) + " (" +
              std::to_string(dates_->BestFits()) + " von " + std::to_string(dates_->values()) +
              "); berichtigen Sie die übrigen Werte.";
  }
  if (date_ == nullptr) {
    findings.Note(place, "Es ist kein Datumsformat bestimmt.", way_out);
    return;
  }
  if (destination_asked) {
    not_dates_.Tell(
        findings, Severity::kWarning, place,
        "Wert ist kein Tag im Format " + format_ + " und geht, wie er ist, an das Importziel",
        "Werte sind keine Tage im Format " + format_ + " und gehen, wie sie sind, an das Importziel", way_out);
  } else {
    not_dates_.Tell(findings, Severity::kError, place, "Wert ist kein Tag im Format " + format_,
                    "Werte sind keine Tage im Format " + format_, way_out);
  }
  if (const std::vector<std::string_view> rivals = dates_->Rivals(); !rivals.empty()) {
    findings.Warn(
        place,
        "Auch " + Listed(rivals) +
            (rivals.size() == 1 ? " passt zu allen Werten und ergibt" : " passen zu allen Werten und ergeben") +
            " andere Tage als " + format_ + ".",
        kKnownDay);
  }
  if (dates_->DayCouldBeMonth()) {
    findings.Note(place, "Kein Tag liegt über 12; ob Tag und Monat vertauscht sind, lassen die Werte offen.",
                  kKnownDay);
  }
}

}  // namespace kestrel
