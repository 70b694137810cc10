#include "import/run_pace.h"

#include <cmath>

#include "platform/base/grouped_number.h"

namespace kestrel {

namespace {

constexpr std::chrono::seconds kBetweenSamples(1);
constexpr std::chrono::seconds kBeforeFirstWords(2);
constexpr std::size_t kSamples = 11;

// Two digits are what a person reads; the others would only flicker.
double Rounded(double value) {
  if (value < 10) return std::round(value);
  const double unit = std::pow(10, std::floor(std::log10(value)) - 1);
  return std::round(value / unit) * unit;
}

std::string GroupedCount(std::int64_t count, const char* one, const char* several) {
  return GroupedNumber(count) + ' ' + (count == 1 ? one : several);
}

std::string RateText(double rate) {
  if (rate < 1) return "weniger als 1 Datensatz/s";
  return GroupedCount(std::llround(Rounded(rate)), "Datensatz/s", "Datensätze/s");
}

}  // namespace

std::string TimeLeftText(double seconds) {
  constexpr int kMinute = 60;
  constexpr int kHour = 60 * kMinute;
  constexpr int kDay = 24 * kHour;
  const auto about = [&](double unit, const char* one, const char* several) {
    return "noch etwa " + GroupedCount(std::llround(seconds / unit), one, several);
  };
  if (seconds <= 5) return "noch wenige Sekunden";
  if (seconds <= 55) {
    return "noch etwa " + std::to_string(std::llround(std::ceil(seconds / 10) * 10)) + " Sekunden";
  }
  if (seconds < 59.5 * kMinute) return about(kMinute, "Minute", "Minuten");
  if (seconds < 23.5 * kHour) return about(kHour, "Stunde", "Stunden");
  return about(kDay, "Tag", "Tage");
}

const std::string& RunPace::At(Clock::time_point now, std::int32_t record, double percent) {
  if (percent >= 100) text_.clear();
  if (percent >= 100 || record == 0) return text_;
  if (!samples_.empty() && now - samples_.back().time < kBetweenSamples) return text_;
  samples_.push_back({now, record, percent});
  if (samples_.size() > kSamples) samples_.pop_front();
  const Sample& first = samples_.front();
  if (now - first.time < kBeforeFirstWords) return text_;
  const double seconds = std::chrono::duration<double>(now - first.time).count();
  text_ = RateText((record - first.record) / seconds);
  const double percent_a_second = (percent - first.percent) / seconds;
  if (percent_a_second > 0) text_ += ", " + TimeLeftText((100 - percent) / percent_a_second);
  return text_;
}

}  // namespace kestrel
