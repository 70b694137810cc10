#include "platform/data/providers/xls/xml_stream.h"

#include <libxml/xmlreader.h>

namespace kestrel::xls {

namespace {

std::string_view ViewOf(const xmlChar* text) {
  return text == nullptr ? std::string_view() : std::string_view(reinterpret_cast<const char*>(text));
}

// What goes wrong is reported by Next; nothing is to be printed.
void IgnoreMessage(void*, xmlErrorPtr) {}

void InitialiseLibrary() {
  static const bool done = [] {
    xmlInitParser();
    return true;
  }();
  static_cast<void>(done);
}

}  // namespace

struct XmlStream::Parser {
  xmlTextReaderPtr reader = nullptr;
  ~Parser() { xmlFreeTextReader(reader); }

  // The library's call for more bytes; an error may not pass through it.
  static int Read(void* context, char* buffer, int size) {
    auto* self = static_cast<XmlStream*>(context);
    try {
      const std::size_t got = self->stream_.Read(buffer, static_cast<std::size_t>(size));
      self->guard_.Look({buffer, got});
      return static_cast<int>(got);
    } catch (const std::exception&) {
      self->read_error_ = std::current_exception();
      return -1;
    }
  }
};

XmlStream::XmlStream(const ZipArchive& archive, const ZipArchive::Part& part, std::uint64_t most_size)
    : stream_(archive, part), parser_(std::make_unique<Parser>()) {
  if (part.size > most_size) RaiseDamaged("der Teil " + part.name + " des Archivs ist zu groß");
  InitialiseLibrary();
  // Nothing is fetched from the network and no entity is expanded.
  parser_->reader = xmlReaderForIO(&Parser::Read, nullptr, this, nullptr, nullptr, XML_PARSE_NONET);
  if (read_error_) std::rethrow_exception(read_error_);
  if (parser_->reader == nullptr) RaiseDamaged("ein XML-Teil lässt sich nicht lesen");
  xmlTextReaderSetStructuredErrorHandler(parser_->reader, &IgnoreMessage, nullptr);
}

XmlStream::~XmlStream() = default;

XmlStream::Node XmlStream::Next() {
  if (end_pending_) {
    end_pending_ = false;
    return Node::kEnd;
  }
  xmlTextReaderPtr reader = parser_->reader;
  for (;;) {
    const int result = xmlTextReaderRead(reader);
    if (read_error_) std::rethrow_exception(read_error_);
    if (result == 0) return Node::kEndOfPart;
    if (result < 0) RaiseDamaged("ein XML-Teil ist fehlerhaft");
    switch (xmlTextReaderNodeType(reader)) {
      case XML_READER_TYPE_ELEMENT:
        name_ = ViewOf(xmlTextReaderConstLocalName(reader));
        end_pending_ = xmlTextReaderIsEmptyElement(reader) == 1;
        return Node::kStart;
      case XML_READER_TYPE_END_ELEMENT: name_ = ViewOf(xmlTextReaderConstLocalName(reader)); return Node::kEnd;
      case XML_READER_TYPE_TEXT:
      case XML_READER_TYPE_CDATA:
      case XML_READER_TYPE_WHITESPACE:
      case XML_READER_TYPE_SIGNIFICANT_WHITESPACE:
        text_ = ViewOf(xmlTextReaderConstValue(reader));
        return Node::kText;
      case XML_READER_TYPE_DOCUMENT_TYPE:
      case XML_READER_TYPE_ENTITY_REFERENCE: RaiseDamaged("ein XML-Teil definiert eigene Zeichen");
      default: break;  // comments, processing instructions
    }
  }
}

std::optional<std::string> XmlStream::Attribute(const char* name) const {
  xmlChar* value = xmlTextReaderGetAttribute(parser_->reader, reinterpret_cast<const xmlChar*>(name));
  if (value == nullptr) return std::nullopt;
  std::string text(ViewOf(value));
  xmlFree(value);
  return text;
}

std::optional<std::string> XmlStream::PrefixedAttribute(std::string_view name) const {
  xmlTextReaderPtr reader = parser_->reader;
  std::optional<std::string> value;
  while (!value && xmlTextReaderMoveToNextAttribute(reader) == 1) {
    const bool prefixed = xmlTextReaderConstPrefix(reader) != nullptr;
    if (prefixed && ViewOf(xmlTextReaderConstLocalName(reader)) == name)
      value = ViewOf(xmlTextReaderConstValue(reader));
  }
  xmlTextReaderMoveToElement(reader);
  return value;
}

void XmlStream::SkipElement() {
  for (int depth = 1; depth > 0;) {
    switch (Next()) {
      case Node::kStart: ++depth; break;
      case Node::kEnd: --depth; break;
      case Node::kEndOfPart: return;
      case Node::kText: break;
    }
  }
}

}  // namespace kestrel::xls
