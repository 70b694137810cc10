// Numbers as German readers write them: "1.200 Datensätze".
#pragma once

#include <QLocale>
#include <QString>

namespace kestrel {

inline QString GermanNumber(qint64 number) { return QLocale(QLocale::German).toString(number); }

inline QString GermanCount(qint64 count, const char* one, const char* several) {
  return GermanNumber(count) + ' ' + QString::fromUtf8(count == 1 ? one : several);
}

}  // namespace kestrel
