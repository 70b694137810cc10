#include "formats/excel/xml_stream.h"

#include <libxml/parser.h>

#include <vector>

namespace kestrel::excel {

namespace {

constexpr std::size_t kMostDepth = 256;  // of elements within elements

std::string_view ViewOf(const xmlChar* text) {
  return text == nullptr ? std::string_view() : std::string_view(reinterpret_cast<const char*>(text));
}

void InitialiseLibrary() {
  static const bool done = [] {
    xmlInitParser();
    return true;
  }();
  static_cast<void>(done);
}

}  // namespace

// The library calls back for what it finds in the bytes it is given; that is kept until somebody asks for it.
// Nothing is fetched from the network, and no entities but those of XML itself are known.
class XmlStream::Parser {
 public:
  Parser() {
    InitialiseLibrary();
    xmlSAXHandler handler{};
    handler.initialized = XML_SAX2_MAGIC;
    handler.startElementNs = &StartElement;
    handler.endElementNs = &EndElement;
    handler.characters = &Text;
    handler.ignorableWhitespace = &Text;
    handler.cdataBlock = &Text;
    handler.internalSubset = &DocumentType;
    handler.reference = &EntityReference;
    handler.serror = [](void*, xmlErrorPtr) {};  // whether there was one is asked for
    context_ = xmlCreatePushParserCtxt(&handler, this, nullptr, 0, nullptr);
    if (context_ == nullptr) throw RuntimeError(ErrorNumber::kOutOfMemory);
    // Without NOENT the library keeps "&amp;" of an attribute as a reference by number.
    xmlCtxtUseOptions(context_, XML_PARSE_NONET | XML_PARSE_NOENT);
  }
  ~Parser() { xmlFreeParserCtxt(context_); }
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;

  struct Attribute {
    std::string name;
    bool has_prefix = false;
    std::string value;
  };
  struct Event {
    Node node = Node::kEndOfPart;
    std::string text;  // or the element's name
    std::vector<Attribute> attributes;
    std::size_t attribute_count = 0;
  };

  const Event& current() const { return events_[at_]; }
  // To the next event, if there is one.
  bool Step() {
    if (at_ + 1 >= count_) return false;
    ++at_;
    return true;
  }

  // Forgets the events, all used up, and gathers those of the bytes; none of them means that the part has ended.
  void Parse(std::string_view bytes) {
    if (events_.empty()) events_.emplace_back();
    at_ = 0;
    count_ = 1;  // the first place is for the time before the first step
    xmlParseChunk(context_, bytes.data(), static_cast<int>(bytes.size()), bytes.empty() ? 1 : 0);
    if (!damage_.empty() || context_->wellFormed != 0) return;
    damage_ = "ein XML-Teil ist fehlerhaft";
  }
  // Why it could not read on; empty while all is well.
  const std::string& damage() const { return damage_; }

 private:
  static Parser& Of(void* context) { return *static_cast<Parser*>(context); }

  Event& Add(Node node) {
    if (count_ == events_.size()) events_.emplace_back();
    Event& event = events_[count_++];
    event.node = node;
    event.attribute_count = 0;
    return event;
  }
  void Refuse(const char* why) {
    damage_ = why;
    xmlStopParser(context_);
  }

  static void StartElement(void* context, const xmlChar* name, const xmlChar*, const xmlChar*, int,
                           const xmlChar**, int attribute_count, int, const xmlChar** attributes) {
    Parser& self = Of(context);
    if (++self.depth_ > kMostDepth) return self.Refuse("ein XML-Teil ist zu tief geschachtelt");
    Event& event = self.Add(Node::kStart);
    event.text = ViewOf(name);
    // Of each: name, prefix, namespace, begin and end of the value.
    for (int i = 0; i < attribute_count; ++i, attributes += 5) {
      if (event.attribute_count == event.attributes.size()) event.attributes.emplace_back();
      Attribute& attribute = event.attributes[event.attribute_count++];
      attribute.name = ViewOf(attributes[0]);
      attribute.has_prefix = attributes[1] != nullptr;
      attribute.value.assign(reinterpret_cast<const char*>(attributes[3]),
                             reinterpret_cast<const char*>(attributes[4]));
    }
  }
  static void EndElement(void* context, const xmlChar* name, const xmlChar*, const xmlChar*) {
    --Of(context).depth_;
    Of(context).Add(Node::kEnd).text = ViewOf(name);
  }
  static void Text(void* context, const xmlChar* text, int size) {
    Of(context)
        .Add(Node::kText)
        .text.assign(reinterpret_cast<const char*>(text), static_cast<std::size_t>(size));
  }
  static void DocumentType(void* context, const xmlChar*, const xmlChar*, const xmlChar*) {
    Of(context).Refuse("ein XML-Teil definiert eigene Zeichen");
  }
  static void EntityReference(void* context, const xmlChar*) {
    Of(context).Refuse("ein XML-Teil definiert eigene Zeichen");
  }

  xmlParserCtxtPtr context_ = nullptr;
  // Kept for the next ones, their texts' memory included.
  std::vector<Event> events_;
  std::size_t count_ = 0;
  std::size_t at_ = 0;
  std::size_t depth_ = 0;
  std::string damage_;
};

XmlStream::XmlStream(const ZipArchive& archive, const ZipArchive::Part& part, UnpackBudget& budget,
                     std::uint64_t most_size)
    : stream_(archive, part, budget) {
  if (part.size > most_size) RaiseDamaged("der Teil " + part.name + " des Archivs ist zu groß");
}

XmlStream::~XmlStream() = default;

std::optional<XmlStream::Node> XmlStream::NextPlain() {
  for (;;) {
    switch (plain_.Next()) {
      case PlainXml::Found::kStart: return Node::kStart;
      case PlainXml::Found::kEnd: return Node::kEnd;
      case PlainXml::Found::kText: return Node::kText;
      case PlainXml::Found::kEndOfPart: return Node::kEndOfPart;
      case PlainXml::Found::kUnusual: return std::nullopt;
      case PlainXml::Found::kNeedsMore: {
        char* const room = plain_.Room();
        plain_.Added(stream_.Read(room, plain_.room()));
        break;
      }
    }
  }
}

void XmlStream::HandOver() {
  const PlainXml::Remainder rest = plain_.Rest();
  parser_ = std::make_unique<Parser>();
  nodes_before_ = rest.nodes_before;
  Parse(rest.bytes);
}

void XmlStream::Parse(std::string_view bytes) {
  guard_.Look(bytes);
  parser_->Parse(bytes);
}

void XmlStream::ParseMore() {
  constexpr std::size_t kChunk = 8192;
  if (!parser_->damage().empty()) RaiseDamaged(parser_->damage());
  char chunk[kChunk];
  const std::size_t size = stream_.Read(chunk, kChunk);
  Parse({chunk, size});
  at_end_ = size == 0;
}

XmlStream::Node XmlStream::Next() {
  if (parser_ == nullptr) {
    if (const std::optional<Node> node = NextPlain()) return *node;
    HandOver();
  }
  for (;;) {
    while (!parser_->Step()) {
      if (at_end_ && parser_->damage().empty()) return Node::kEndOfPart;
      ParseMore();
    }
    if (nodes_before_ == 0) return parser_->current().node;
    --nodes_before_;
  }
}

std::string_view XmlStream::name() const {
  return parser_ != nullptr ? std::string_view(parser_->current().text) : plain_.name();
}
std::string_view XmlStream::text() const {
  return parser_ != nullptr ? std::string_view(parser_->current().text) : plain_.text();
}

std::optional<std::string_view> XmlStream::FindAttribute(std::string_view name, bool has_prefix) const {
  const auto find = [&](const auto& attributes, std::size_t count) -> std::optional<std::string_view> {
    for (std::size_t i = 0; i < count; ++i) {
      if (attributes[i].has_prefix == has_prefix && attributes[i].name == name) return attributes[i].value;
    }
    return std::nullopt;
  };
  if (parser_ == nullptr) return find(plain_.attributes(), plain_.attributes().size());
  return find(parser_->current().attributes, parser_->current().attribute_count);
}

std::optional<std::string_view> XmlStream::Attribute(std::string_view name) const {
  return FindAttribute(name, false);
}
std::optional<std::string_view> XmlStream::PrefixedAttribute(std::string_view name) const {
  return FindAttribute(name, true);
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

}  // namespace kestrel::excel
