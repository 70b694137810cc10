// Parts read by the scanner of plain XML and by the whole parser tell the same.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "formats/excel/xml_stream.h"
#include "support/zip_writer.h"

namespace kestrel::excel {
namespace {

using Node = XmlStream::Node;

struct Told {
  std::vector<std::string> nodes;  // texts that follow each other as one
  std::string damage;
};

Told Read(const std::string& xml) {
  testing::ZipWriter writer;
  writer.Add("part.xml", xml);
  const std::string bytes = writer.Bytes();
  const ZipArchive archive(BytesOf(bytes));
  UnpackBudget budget(bytes.size());
  Told told;
  try {
    XmlStream stream(archive, *archive.Find("part.xml"), budget);
    for (Node node = stream.Next(); node != Node::kEndOfPart; node = stream.Next()) {
      if (node == Node::kText) {
        const bool goes_on = !told.nodes.empty() && told.nodes.back().starts_with("text ");
        if (!goes_on) told.nodes.emplace_back("text ");
        told.nodes.back() += stream.text();
        continue;
      }
      told.nodes.push_back((node == Node::kStart ? "start " : "end ") + std::string(stream.name()));
      if (node != Node::kStart) continue;
      for (const char* name : {"r", "t", "s", "a", "id"}) {
        if (const auto value = stream.Attribute(name))
          told.nodes.back().append(" ").append(name).append("=").append(*value);
        if (const auto value = stream.PrefixedAttribute(name))
          told.nodes.back().append(" p:").append(name).append("=").append(*value);
      }
    }
  } catch (const RuntimeError& error) {
    told.damage = error.Description();
  }
  return told;
}

// A comment is left to the whole parser, with all that follows.
Told ReadByParser(const std::string& xml) { return Read("<!-- -->" + xml); }

// Before a fault, either may have told more.
void ExpectTheSame(const std::string& xml) {
  const Told plain = Read(xml);
  const Told parsed = ReadByParser(xml);
  ASSERT_EQ(plain.damage, parsed.damage) << xml;
  if (plain.damage.empty()) {
    ASSERT_EQ(plain.nodes, parsed.nodes) << xml;
    return;
  }
  for (std::size_t i = 0; i + 1 < std::min(plain.nodes.size(), parsed.nodes.size()); ++i) {
    ASSERT_EQ(plain.nodes[i], parsed.nodes[i]) << xml;
  }
}

TEST(PlainXml, TellsElementsAttributesAndTexts) {
  const Told told = Read(
      "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
      "<x:sheet xmlns:x='u'><row r=\"1\" p:id='7'><c t='s'/><v>5 &lt; 6 &#228;&#xDF;</v></row></x:sheet>\n");
  EXPECT_EQ(told.nodes,
            (std::vector<std::string>{"start sheet", "start row r=1 p:id=7", "start c t=s", "end c", "start v",
                                      "text 5 < 6 äß", "end v", "end row", "end sheet"}));
  EXPECT_EQ(told.damage, "");
}

TEST(PlainXml, LeavesWhatIsUnusualToTheParserWhereverItStands) {
  for (const char* xml :
       {"<a><b><!-- c --><b>x</b></b></a>", "<a><![CDATA[<x>&]]></a>", "<a>x<?p i?>y</a>", "<a/><!-- c -->",
        "<a r='1\t2\n3'/>", "<a><b r='&#10;'/></a>", "<\xC3\xA4/>", "<a \xC3\xA4='1'/>", "<a xml:r='1' r='2'/>",
        "<a>1\r\n2\r3\n\r</a>", "<a>]]</a>", "<a>]</a>", "<a>x > y</a>", "<a:b xmlns:a='u'><a:c></a:c></a:b>",
        "<a>\xF0\x9F\x98\x80</a>", "<a  r = '1'  ></a >", "<a>&quot;&apos;&gt;</a>",
        // faults
        "", " ", "x", "<a>", "</a>", "<a></b>", "<a><b></a></b>", "<a/><a/>", "<a/>x", "<a r=1/>",
        "<a r='1's='2'/>", "<a r='<'/>", "<a r='1' r='2'/>", "<a>&x;</a>", "<a>&</a>", "<a>&#0;</a>",
        "<a>&#xD800;</a>", "<a>]]></a>", "<a>\x01</a>", "<a>\xFF</a>", "<a>\xEF\xBF\xBF</a>",
        "<a>\xED\xA0\x80</a>", "<a", "<a r='", "<a><", "<a></", "<a></a", "<1/>", "<a:/>", "<:a/>", "<a:b:c/>",
        "<a r=\"1'/>", "<!DOCTYPE a [<!ENTITY x 'y'>]><a>&x;</a>"}) {
    ExpectTheSame(xml);
  }
  const std::string with_zero("<a>x\0y</a>", 10);
  EXPECT_EQ(Read(with_zero).damage, ReadByParser(with_zero).damage);
}

TEST(PlainXml, ReadsOtherCharacterSetsByTheParser) {
  const Told told = Read("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE4</a>");
  EXPECT_EQ(told.nodes, (std::vector<std::string>{"start a", "text ä", "end a"}));
  const Told utf16 = Read(std::string("\xFF\xFE<\0a\0/\0>\0", 10));
  EXPECT_EQ(utf16.nodes, (std::vector<std::string>{"start a", "end a"}));
  EXPECT_EQ(Read("\xEF\xBB\xBF<a/>").nodes, utf16.nodes);
}

TEST(PlainXml, ElementsMayBeAsDeepAsForTheParserAndNoDeeper) {
  for (const std::size_t depth : {255, 256, 257}) {
    std::string xml;
    for (std::size_t i = 0; i < depth; ++i) xml += "<a>";
    xml += "x";
    for (std::size_t i = 0; i < depth; ++i) xml += "</a>";
    ExpectTheSame(xml);
    EXPECT_EQ(Read(xml).damage.empty(), depth <= 256);
  }
}

TEST(PlainXml, TagsAndTextsMayBeLongerThanWhatIsReadInOneGo) {
  for (const std::size_t size : {65'000UL, 65'536UL, 66'000UL, 200'000UL}) {
    const std::string letters(size, 'x');
    ExpectTheSame("<a>" + letters + "<b r='" + letters + "'>y</b>" + letters + "&amp;</a>");
    ExpectTheSame("<a>" + std::string(size, ' ') + "</a>");
  }
}

TEST(PlainXml, TellsOfAnyTextWhatTheParserTells) {
  std::mt19937 random(37);
  const auto roll = [&](std::size_t sides) { return random() % sides; };
  const std::vector<std::string> usual = {"text",     "ä",   " ",    "\n  ", "&amp;", "&#65;",
                                          "&#x20AC;", "1,5", "\r\n", "]",    ">"};
  const std::vector<std::string> unusual = {
      "<!-- c -->",   "<![CDATA[ & ]]>",  "<?p?>",      "</x>", "<b>", "&", "&x;", "]]>", "\x02", "\xFF", "<",
      "\xEF\xBF\xBE", "<c r='1' r='1'/>", "<c r='\n'/>"};
  int damaged = 0;
  for (int round = 0; round < 3000; ++round) {
    const std::size_t rarity = 2 + roll(400);
    std::string xml = "<w>";
    std::vector<std::string> open;
    for (std::size_t count = roll(round % 100 == 0 ? 20'000 : 300); count != 0; --count) {
      if (roll(rarity) == 0) {
        xml += unusual[roll(unusual.size())];
      } else if (roll(3) == 0 && open.size() < 20) {
        const std::string name = std::vector<std::string>{"row", "c", "x:v", "t"}[roll(4)];
        xml += "<" + name;
        if (roll(2) == 0) xml += " r=\"A" + std::to_string(roll(100)) + "\"";
        if (roll(4) == 0) xml += " x:id='ü&lt;\"'";
        if (roll(4) == 0) {
          xml += "/>";
        } else {
          xml += ">";
          open.push_back(name);
        }
      } else if (roll(2) == 0 && !open.empty()) {
        xml += "</" + open.back() + ">";
        open.pop_back();
      } else {
        xml += usual[roll(usual.size())];
      }
    }
    for (; !open.empty(); open.pop_back()) xml += "</" + open.back() + ">";
    xml += "</w>";
    ExpectTheSame(xml);
    damaged += Read(xml).damage.empty() ? 0 : 1;
    if (HasFatalFailure()) return;
  }
  EXPECT_GT(damaged, 300);
  EXPECT_LT(damaged, 2700);
}

}  // namespace
}  // namespace kestrel::excel
