// An XML part of an archive, element by element, never held whole.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/data/providers/xls/tag_guard.h"
#include "platform/data/providers/xls/zip_archive.h"

namespace kestrel::xls {

class XmlStream {
 public:
  enum class Node { kStart, kEnd, kText, kEndOfPart };
  // For parts that tell about others, of which all is kept.
  static constexpr std::uint64_t kSmallPart = std::uint64_t{16} << 20;
  static constexpr std::uint64_t kAnySize = ~std::uint64_t{0};

  // The archive must outlive this. Error 3000 for a part of more than `most_size` bytes.
  XmlStream(const ZipArchive& archive, const ZipArchive::Part& part, std::uint64_t most_size = kAnySize);
  ~XmlStream();
  XmlStream(const XmlStream&) = delete;
  XmlStream& operator=(const XmlStream&) = delete;

  // Steps to the next node. An element without content gives kStart and kEnd. Error 3000 for XML that is not
  // well-formed or that defines entities.
  Node Next();

  // The name of the element that starts or ends, without its prefix. Valid until Next.
  std::string_view name() const { return name_; }
  // The text, decoded, UTF-8. Valid until Next.
  std::string_view text() const { return text_; }
  // An attribute of the element that starts; one without a prefix.
  std::optional<std::string> Attribute(const char* name) const;
  // One with whatever prefix, by its name behind it.
  std::optional<std::string> PrefixedAttribute(std::string_view name) const;

  // Steps behind the end of the element that has just started.
  void SkipElement();

 private:
  struct Parser;
  ZipStream stream_;
  TagGuard guard_;
  std::unique_ptr<Parser> parser_;
  std::string_view name_;
  std::string_view text_;
  bool end_pending_ = false;       // an element without content has started
  std::exception_ptr read_error_;  // raised while the parser read, which it must not see
};

}  // namespace kestrel::xls
