// Numbers as windows show them: "1.200 Datensätze".
#pragma once

#include <QString>

#include "platform/base/counted.h"
#include "wizard/qt_text.h"

namespace kestrel {

inline QString GermanNumber(std::int64_t number) { return ToQt(NumberText(number, Grouping::kThousands)); }

inline QString GermanCount(std::int64_t count, const char* one, const char* several) {
  return ToQt(Counted(count, one, several, Grouping::kThousands));
}

}  // namespace kestrel
