// An XML part of an archive, element by element, never held whole.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "formats/excel/plain_xml.h"
#include "formats/excel/tag_guard.h"
#include "formats/excel/zip_archive.h"

namespace kestrel::excel {

class XmlStream {
 public:
  enum class Node { kStart, kEnd, kText, kEndOfPart };
  // For parts that tell about others, of which all is kept.
  static constexpr std::uint64_t kSmallPart = std::uint64_t{16} << 20;
  static constexpr std::uint64_t kAnySize = ~std::uint64_t{0};

  // Archive and budget must outlive this. Error 3000 for a part of more than `most_size` bytes.
  XmlStream(const ZipArchive& archive, const ZipArchive::Part& part, UnpackBudget& budget,
            std::uint64_t most_size = kAnySize);
  ~XmlStream();
  XmlStream(const XmlStream&) = delete;
  XmlStream& operator=(const XmlStream&) = delete;

  // Steps to the next node. An element without content gives kStart and kEnd, a text may come in several
  // pieces. Error 3000 for XML that is not well-formed or that defines entities, behind the nodes before the fault.
  Node Next();

  // The name of the element that starts or ends, without its prefix. Valid until Next.
  std::string_view name() const;
  // The text, decoded, UTF-8. Valid until Next.
  std::string_view text() const;
  // An attribute of the element that starts; one without a prefix. Valid until Next.
  std::optional<std::string_view> Attribute(std::string_view name) const;
  // One with whatever prefix, by its name behind it.
  std::optional<std::string_view> PrefixedAttribute(std::string_view name) const;

  // Steps behind the end of the element that has just started.
  void SkipElement();

 private:
  class Parser;
  // The next node, as far as nothing unusual stands before it.
  std::optional<Node> NextPlain();
  // Has the parser go on where something unusual stands.
  void HandOver();
  void Parse(std::string_view bytes);
  // Has the parser read on; what goes wrong is raised once its nodes are used up.
  void ParseMore();
  std::optional<std::string_view> FindAttribute(std::string_view name, bool has_prefix) const;

  ZipStream stream_;
  PlainXml plain_;
  // Takes over for good where something unusual stands.
  std::unique_ptr<Parser> parser_;
  TagGuard guard_;
  std::size_t nodes_before_ = 0;  // of the parser, that have been told already
  bool at_end_ = false;
};

}  // namespace kestrel::excel
