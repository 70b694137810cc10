// Translation tables as the run applies them.
#include <bit>
#include <functional>

#include "mapping/translation.h"
#include "platform/base/text.h"
#include "spec/profile_access.h"

namespace kestrel {

std::string TranslationSection(std::string_view field_name) {
  return std::string("Translation_").append(field_name);
}

TranslationTable::TranslationTable(std::string_view section) {
  const std::vector<std::string_view> pieces = Split(section, '\0');
  const std::size_t count = pieces.size() - 1;
  // At most half full, so that a probe always meets a free place.
  buckets_.resize(std::bit_ceil(2 * count + 1));
  entries_.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t equals = pieces[i].find('=');
    if (equals == std::string_view::npos) continue;
    const std::string_view key = pieces[i].substr(0, equals);
    std::uint32_t& bucket = buckets_[BucketOf(key)];
    if (bucket != 0) continue;  // an earlier entry has this key
    entries_.push_back({std::string(key), std::string(pieces[i].substr(equals + 1))});
    bucket = static_cast<std::uint32_t>(entries_.size());
  }
}

std::optional<std::string_view> TranslationTable::Find(std::string_view source_value) const {
  const std::uint32_t entry = buckets_[BucketOf(source_value)];
  if (entry == 0) return std::nullopt;
  return entries_[entry - 1].translation;
}

std::size_t TranslationTable::BucketOf(std::string_view key) const {
  const std::size_t mask = buckets_.size() - 1;
  std::size_t bucket = std::hash<std::string_view>()(key) & mask;
  while (buckets_[bucket] != 0 && entries_[buckets_[bucket] - 1].key != key) bucket = (bucket + 1) & mask;
  return bucket;
}

const TranslationTable& TranslationLookup::Table(const std::shared_ptr<const ProfileImage>& image) {
  if (!table_.has_value() || image != image_) {
    table_.emplace(GetIniSection(*image, section_));
    image_ = image;
  }
  return *table_;
}

}  // namespace kestrel
