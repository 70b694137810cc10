#include "import/error_limits.h"

namespace kestrel {

bool ErrorLimits::Add(const RecordError& error, std::int32_t first, std::int32_t last, std::int32_t count) {
  const bool repeats = most_same_errors_ > 0 && first > 0 && Repeats(error, first, last);
  if (!stop_reason_.empty()) return repeats;
  if (are_all_the_same()) {
    stop_reason_ = (refused_ == 1 ? "Das Importziel hat den ersten Datensatz abgewiesen ("
                                  : "Das Importziel hat die ersten " + std::to_string(refused_) +
                                        " Datensätze mit demselben Fehler abgewiesen (") +
                   std::to_string(every_.number) + ": " + every_.text + ").";
  } else if (most_errors_ > 0 && count >= most_errors_) {
    stop_reason_ = count == 1 ? "Es ist ein Fehler aufgetreten, und mehr sind nicht zugelassen."
                              : "Es sind " + std::to_string(count) + " Fehler aufgetreten, zugelassen sind " +
                                    std::to_string(most_errors_) + ".";
  }
  return repeats;
}

bool ErrorLimits::Repeats(const RecordError& error, std::int32_t first, std::int32_t last) {
  // A second error of the same record says nothing of the others.
  if (is_over_ || last <= refused_) return false;
  const bool is_first = refused_ == 0;
  is_over_ =
      first != refused_ + 1 || (!is_first && (error.number != every_.number || error.text != every_.text));
  if (is_over_) return false;
  if (is_first) every_ = {.number = error.number, .text = error.text};
  refused_ = last;
  return !is_first;
}

}  // namespace kestrel
