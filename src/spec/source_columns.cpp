#include "spec/source_columns.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "platform/base/number.h"
#include "platform/base/text.h"

namespace kestrel {

namespace {

constexpr const char* kCount = "Count";

std::string WithoutControls(std::string_view name) {
  std::string text(name);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
  return text;
}

}  // namespace

void AddSourceColumns(const std::vector<std::string>& names, std::vector<ProfileEdit>& edits) {
  if (names.size() < 2) return;
  const std::size_t count = names.size() - 1;
  edits.push_back({kSourceColumnsSection, kCount, std::to_string(count)});
  for (std::size_t i = 0; i < count; ++i) {
    edits.push_back(RememberedColumn(std::to_string(i + 1), names[i]));
  }
}

ProfileEdit RememberedColumn(std::string number, std::string_view name) {
  // Reading takes one pair of quotes off, and no blank within them.
  return {kSourceColumnsSection, std::move(number), "\"" + WithoutControls(name) + "\""};
}

std::vector<std::string> RememberedSourceColumns(const ProfileImage& specification) {
  std::vector<std::string> names;
  const auto count = ParseWholeNumber(specification.Find(kSourceColumnsSection, kCount).value_or(""));
  for (std::int64_t i = 1; count && i <= *count; ++i) {
    const std::optional<std::string_view> name = specification.Find(kSourceColumnsSection, std::to_string(i));
    if (!name) return {};
    names.emplace_back(*name);
  }
  return names;
}

bool IsRememberedAs(std::string_view column, std::string_view remembered) {
  const std::string name = WithoutControls(column);
  return name == remembered || FromWindows1252(ToWindows1252(name)) == remembered;
}

}  // namespace kestrel
