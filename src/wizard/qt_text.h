// Text between the component (UTF-8) and Qt.
#pragma once

#include <QString>
#include <string>
#include <string_view>

namespace kestrel {

inline QString ToQt(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}
inline std::string FromQt(const QString& text) {
  const QByteArray bytes = text.toUtf8();
  return std::string(bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

}  // namespace kestrel
