#include "formats/excel/tag_guard.h"

#include "platform/base/byte_span.h"

namespace kestrel::excel {

void TagGuard::Look(std::string_view bytes) {
  constexpr std::size_t kMostAttributes = 128;
  for (std::size_t at = 0; at < bytes.size();) {
    switch (place_) {
      case Place::kText:
        at = bytes.find('<', at);
        if (at == std::string_view::npos) return;
        place_ = Place::kTagBegins;
        ++at;
        break;
      case Place::kTagBegins:
        // Comments and the like have no attributes and may hold single quotes.
        place_ = bytes[at] == '!' || bytes[at] == '?' ? Place::kText : Place::kTag;
        attributes_ = 0;
        break;
      case Place::kTag:
        at = bytes.find_first_of("\"'>", at);
        if (at == std::string_view::npos) return;
        quote_ = bytes[at++];
        place_ = quote_ == '>' ? Place::kText : Place::kValue;
        if (place_ == Place::kValue && ++attributes_ > kMostAttributes)
          RaiseDamaged("ein XML-Teil hat zu viele Attribute");
        break;
      case Place::kValue:
        at = bytes.find(quote_, at);
        if (at == std::string_view::npos) return;
        place_ = Place::kTag;
        ++at;
        break;
    }
  }
}

}  // namespace kestrel::excel
