// How a text file is to be read, found out from its beginning.
#include "sources/text_detection.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/base/text.h"
#include "sources/source_detection.h"
#include "sources/text_source.h"
#include "sources/value_shape.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using ::testing::Optional;

DetectedText Detect(const std::string& text) { return DetectText(text, /*is_whole=*/true).value(); }

// A file of addresses, every value enclosed or only those that have to be.
struct Written {
  std::string delimiter = ";";
  std::string qualifier = {};
  std::string line_end = "\r\n";
  bool has_headings = true;
};
std::string Write(const Written& as) {
  const std::vector<std::vector<std::string>> rows = {
      {"Firma", "Vorname", "Straße", "PLZ", "Ort", "Umsatz", "Kunde seit"},
      {"Müller & Söhne", "Jörg", "Hauptstr. 5", "50667", "Köln", "1.250,50", "01.02.2024"},
      {"Bäckerei Groß", "", "Am Markt 12 a", "01067", "Dresden", "-3,00", "24.12.1999"},
      {"Schmidt", "Anna-Lena", "Bahnhofstraße 7", "80331", "München", "0", "31.10.2020"},
      {"O. Öztürk", "Can", "Lange Gasse 1", "20095", "Hamburg", "17", "05.05.2005"}};
  std::string text;
  for (std::size_t row = as.has_headings ? 0 : 1; row < rows.size(); ++row) {
    for (std::size_t column = 0; column < rows[row].size(); ++column) {
      const std::string& value = rows[row][column];
      const bool encloses = !as.qualifier.empty() || value.find(as.delimiter) != std::string::npos;
      const std::string qualifier = as.qualifier.empty() ? "\"" : as.qualifier;
      text += (column == 0 ? "" : as.delimiter) + (encloses ? qualifier + value + qualifier : value);
    }
    text += as.line_end;
  }
  return text;
}

TEST(TextDetection, FindsSeparatorsAndHeadingsHoweverAFileIsWritten) {
  for (const std::string delimiter : {"\t", ";", ",", "|", "^"}) {
    for (const std::string qualifier : {"", "\"", "'"}) {
      for (const std::string line_end : {"\r\n", "\n", "\r"}) {
        for (const bool has_headings : {true, false}) {
          const DetectedText found = Detect(Write({delimiter, qualifier, line_end, has_headings}));
          const std::string what = delimiter + " " + qualifier + " " + std::to_string(line_end.size()) +
                                   std::to_string(has_headings);
          EXPECT_THAT(found.delimiter, Optional(delimiter == "\t" ? "TAB" : delimiter)) << what;
          EXPECT_EQ(found.qualifier, qualifier == "'" ? '\'' : '"') << what;
          EXPECT_EQ(found.has_headings, has_headings) << what;
          EXPECT_EQ(found.charset, "UTF-8") << what;
        }
      }
    }
  }
}

TEST(TextDetection, TellsTheCharacterSet) {
  const std::string text = Write({});
  EXPECT_EQ(Detect("\xEF\xBB\xBF" + text).charset, "UTF-8");
  const DetectedText ansi = Detect(ToWindows1252(text));
  EXPECT_EQ(ansi.charset, "ANSI (Windows-1252)");
  EXPECT_FALSE(ansi.is_dos);
  const DetectedText dos = Detect(ToWindows1252(SpoilAsciiUmlauts(text)));
  EXPECT_EQ(dos.charset, "ASCII (DOS-Umlaute)");
  EXPECT_TRUE(dos.is_dos);
  EXPECT_EQ(Detect("Name;Ort\r\nMeier;Ulm\r\n").charset, "");
}

TEST(TextDetection, GermanQuotationMarksAndForeignNamesAreNoDosUmlauts) {
  EXPECT_FALSE(Detect(ToWindows1252("Name;Ort\r\n„Haus“ Weiß;Málaga\r\nŽižek;Šumava\r\nBašić;Ulm\r\n")).is_dos);
}

TEST(TextDetection, ACharacterThatTheBeginningCutsIsStillUtf8) {
  const std::string text = "Name;Ort\r\nMüller;Köln\r\nMü";
  EXPECT_EQ(DetectText(std::string_view(text).substr(0, text.size() - 1), /*is_whole=*/false)->charset,
            "UTF-8");
}

TEST(TextDetection, Utf16IsReadWithItsMark) {
  std::string text = "\xFF\xFE";
  for (const char c : std::string("Name;Ort\r\nMeier;Ulm\r\nBeck;Bonn\r\n")) text += {c, '\0'};
  const DetectedText found = Detect(text);
  EXPECT_EQ(found.charset, "UTF-16");
  EXPECT_THAT(found.delimiter, Optional(std::string(";")));
  EXPECT_TRUE(found.has_headings);
}

TEST(TextDetection, BytesWithNullsAreNoText) {
  EXPECT_EQ(DetectText(std::string_view("\x89PNG\r\n\x1A\n\0\0\0\rIHDR", 16), true), std::nullopt);
}

TEST(TextDetection, AComaInNumbersAndTextsIsNotTheSeparator) {
  EXPECT_THAT(Detect("Ort;Länge\nUlm, Donau;1,5\nBonn, Rhein;2,5\nKöln, Rhein;3,25\n").delimiter,
              Optional(std::string(";")));
}

TEST(TextDetection, LineFeedsAndSeparatorsWithinEnclosedValuesAreText) {
  const DetectedText found = Detect(
      "Name;Bemerkung;Ort\n\"Beck\";\"erste Zeile\nzweite; mit Strichpunkt\nEnde\";Ulm\nMeier;\"kurz\";Bonn\n"
      "Groß;;Köln\n");
  EXPECT_THAT(found.delimiter, Optional(std::string(";")));
  EXPECT_TRUE(found.has_enclosed_values);
  EXPECT_TRUE(found.has_headings);
}

TEST(TextDetection, AnOpenQuotationMarkDoesNotHideTheRows) {
  EXPECT_THAT(Detect("Name;Maß;Ort\nRohr;\"3 Zoll;Ulm\nRohr;4 Zoll;Bonn\nRohr;5;Köln\nRohr;6;Hof\n").delimiter,
              Optional(std::string(";")));
}

TEST(TextDetection, OneColumnHasNoSeparator) {
  const DetectedText found = Detect("Name\nMeier\nBeck\nGroß\n");
  EXPECT_EQ(found.delimiter, std::nullopt);
  EXPECT_TRUE(found.has_headings);
  EXPECT_EQ(DescriptionOf(found), "eine Spalte, Überschriften, UTF-8");
}

TEST(TextDetection, NothingIsFoundInAnEmptyFile) {
  const DetectedText found = Detect("");
  EXPECT_EQ(found.delimiter, std::nullopt);
  EXPECT_FALSE(found.has_headings);
  EXPECT_EQ(found.qualifier, '"');
}

TEST(TextDetection, AFirstRowThatNothingSetsApartIsARecord) {
  EXPECT_FALSE(Detect("Meier;Anna;Ulm\nBeck;Otto;Bonn\nGroß;Eva;Köln\n").has_headings);
  // Not even where its town does not come again.
  EXPECT_FALSE(Detect("Meier;50667\nBeck;20095\nGroß;80331\n").has_headings);
}

TEST(TextDetection, HeadingsAreKnownByTheColumnsBelowThem) {
  EXPECT_TRUE(Detect("F1;F2\nMeier;50667\nBeck;20095\nGroß;80331\n").has_headings) << "numbers below a word";
  std::string repeated = "Salutation;Wer\n";
  for (int i = 0; i < 12; ++i)
    repeated += std::string(i % 2 == 0 ? "Herr" : "Frau") + ";X" + std::string(i + 1, 'y') + "\n";
  EXPECT_TRUE(Detect(repeated).has_headings) << "the same values again and again, and not this one";
  EXPECT_FALSE(Detect(repeated.substr(repeated.find('\n') + 1)).has_headings);
}

TEST(TextDetection, DescribesWhatItHasFound) {
  EXPECT_EQ(DescriptionOf(Detect(Write({";", "\""}))), "Semikolon, Anführungszeichen, Überschriften, UTF-8");
  EXPECT_EQ(DescriptionOf(Detect(ToWindows1252(Write({"\t", "", "\r\n", false})))),
            "Tabstop, keine Überschriften, ANSI (Windows-1252)");
  EXPECT_EQ(DescriptionOf(Detect(Write({"|", "'"}))), "Trennzeichen |, Apostrophe, Überschriften, UTF-8");
}

TEST(TextDetection, ReadsPublicFilesAsTheyAreWritten) {
  const std::string folder = testing::TestDataFolder();
  if (folder.empty()) GTEST_SKIP() << "the public test files are not there";
  const SourceKinds kinds;
  const auto description = [&](const char* name) { return DescriptionOf(DetectSource(kinds, folder + name)); };
  EXPECT_EQ(description("/csv/plz_de_2000_cp1252.csv"),
            "Erkannt: Semikolon, Überschriften, ANSI (Windows-1252)");
  EXPECT_EQ(description("/csv/plz_de_2000_cp437.csv"),
            "Erkannt: Semikolon, Überschriften, ASCII (DOS-Umlaute)");
  EXPECT_EQ(description("/csv/plz_de_2000_utf16.csv"), "Erkannt: Semikolon, Überschriften, UTF-16");
  EXPECT_EQ(description("/csv/plz_de_2000_utf8bom.csv"), "Erkannt: Semikolon, Überschriften, UTF-8");
  EXPECT_EQ(description("/labelled/febrl1.csv"), "Erkannt: Komma, Überschriften");
}

TEST(ValueShapes, AreToldByTheCharacters) {
  const auto expect = [](ValueShape shape, std::initializer_list<const char*> values) {
    for (const char* value : values) EXPECT_EQ(ShapeOf(value), shape) << value;
  };
  expect(ValueShape::kEmpty, {"", "  "});
  expect(ValueShape::kNumber, {"0", "-17", "1.250,50", "1,250.50", "50667", "3,5 %", "12,00 €", "5-"});
  expect(ValueShape::kDate, {"1.2.24", "01.02.2024", "2024-02-01", "1/2/2024", "2024-02-01T12:30:00"});
  expect(ValueShape::kTime, {"7:30", "12:30:15"});
  expect(ValueShape::kPhone, {"0221/123456", "+49 (0) 221 1234-56"});
  expect(ValueShape::kEmail, {"anna@beispiel.de"});
  expect(ValueShape::kUrl, {"https://beispiel.de/x?y=1", "www.beispiel.de"});
  expect(ValueShape::kText, {"Müller & Söhne", "Hauptstr. 5 a", "D-50667", "1.", "anna@"});
  expect(ValueShape::kOther, {"a;b", "x|y", "'Meier'", "3\" Rohr"});
}

}  // namespace
}  // namespace kestrel
