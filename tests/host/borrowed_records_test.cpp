// An import whose records borrow their texts leaves behind what one leaves whose records copy them.
#include <cmath>
#include <functional>
#include <random>

#include "component/import_class.h"
#include "host/host_fixture.h"
#include "import/import_run.h"
#include "kestrel/clock.h"
#include "kestrel/memory_recordset.h"
#include "mapping/field_assignment.h"
#include "mapping/value_conversion.h"
#include "platform/base/number.h"
#include "platform/base/text.h"
#include "platform/dialogs/recording_user_interface.h"
#include "sources/source_page.h"
#include "sources/source_reader.h"
#include "spec/specification.h"
#include "spec/working_copy.h"
#include "storage/field_value.h"

namespace kestrel {
namespace {

// The sample host's import class with records of the usual kind.
class WithCopyingRecords final : public Object {
 public:
  explicit WithCopyingRecords(ObjectPtr own)
      : own_(std::move(own)), new_record_(*own_->FindMember("GetNewRecord")) {}

  std::optional<MemberId> FindMember(std::string_view name) const override { return own_->FindMember(name); }
  Value Invoke(MemberId member, CallKind kind, std::span<Argument> arguments) override {
    Value answer = own_->Invoke(member, kind, arguments);
    if (member != new_record_) return answer;
    const RecordsetPtr shape = ToRecordset(answer);
    auto record = std::make_shared<MemoryRecordset>();
    for (std::size_t i = 0; i < shape->ColumnCount(); ++i)
      record->AppendColumn(std::string(shape->ColumnName(i)));
    record->AddNew();
    return Value(record);
  }

 private:
  ObjectPtr own_;
  MemberId new_record_;
};

class NotingView final : public RunView {
 public:
  std::vector<std::string> notes;

  void SetInfo(std::string_view) override {}
  void SetProgress(double) override {}
  void Yield() override {}
  void Tell(std::string_view text) override { notes.emplace_back(text); }
  void RecordDone(const RecordOutcome& outcome) override {
    std::string note = std::to_string(outcome.record) + ": " + std::to_string(static_cast<int>(outcome.fate)) +
                       " " + outcome.address;
    for (const RecordError& error : outcome.errors) {
      note += "|" + std::to_string(error.number) + " " + error.text + " " + error.field + " " +
              error.source_column + " '" + error.raw_value + "'";
    }
    for (const std::string& field : outcome.cut_fields) note += "|cut " + field;
    notes.push_back(note);
  }
  void CloseWindow() override {}
};

constexpr const char* kColumns[] = {"KundenNummer", "Bez1",   "Bez2",   "Strasse",     "Land",     "PLZ", "Ort",
                                    "KundeSeit",    "Umsatz", "Rabatt", "Mitarbeiter", "Bemerkung"};

// Values of all kinds in columns of all kinds.
std::string RandomSource(int records, unsigned seed) {
  const std::vector<std::string> values = {"",
                                           " ",
                                           "0",
                                           "-0",
                                           "-0,0",
                                           "+7",
                                           "12,0",
                                           "1.234,56",
                                           "1,5E3",
                                           "5,",
                                           ",5",
                                           "abc",
                                           "D",
                                           "A",
                                           "31.01.2024",
                                           "31.02.2024",
                                           "1.2.24 ",
                                           "Möbelhaus",
                                           "  links",
                                           "rechts ",
                                           "ßäöü€",
                                           "\"quoted\"",
                                           "\"a;b\"",
                                           "\"ein \"\"Wort\"\"\"",
                                           "a\"b",
                                           "999999999999999",
                                           "9999999999999999",
                                           "-1",
                                           "00012",
                                           "ein Text, der länger ist als jede Spalte von fünfzig Zeichen"};
  std::mt19937 random(seed);
  std::string content;
  for (const char* column : kColumns) content.append(column).append(";");
  content.back() = '\r';
  content += '\n';
  for (int record = 0; record < records; ++record) {
    for (std::size_t column = 0; column < std::size(kColumns); ++column) {
      const bool is_usual = random() % 3 != 0;
      std::string value = values[random() % values.size()];
      if (column == 0 && is_usual) value = std::to_string(1000 + record);
      if (column == 7 && is_usual)
        value = "1" + std::to_string(random() % 10) + ".0" + std::to_string(1 + random() % 9) + ".1999";
      if (column >= 8 && column <= 10 && is_usual)
        value = std::to_string(random() % 5000) + (column == 10 ? "" : ",25");
      content.append(value).append(column + 1 < std::size(kColumns) ? ";" : "\r\n");
    }
  }
  return ToWindows1252(content);
}

class BorrowedRecordsTest : public ::testing::Test {
 protected:
  // What is in the tables, and what the view was told.
  std::vector<std::string> Import(bool copies, bool is_test, const std::string& source) {
    const std::string name = copies ? "copied" : "borrowed";
    const ConnectionPtr connection = OpenConnection("Provider=SQLite;Data Source=" + folder.File(name + ".db"));
    host::PrepareNewDatabase(*connection);
    host::InitialiseHostDatabase(*connection);
    ComponentRegistry own;
    host::RegisterComponents(own);
    ComponentRegistry components;
    host::RegisterComponents(components);
    constexpr const char* kClass = "ksbimport.importkunden";
    if (copies) {
      components.Register(kClass,
                          [&] { return std::make_shared<WithCopyingRecords>(own.CreateObject(kClass)); });
    }
    RecordingUserInterface ui;
    const FixedClock clock{DateTime{CalendarDate{2024, 3, 7}, 14, 5, 9}};
    Session session{Platform{ui, components, clock}};
    session.HostConnection = connection;
    session.PersonalNr = "4711";
    session.AppMode = 2;
    session.SpecFolder = folder.path();
    session.SpecFile = folder.Write("Kunden.IMP", Specification());
    ReadCommonSection(session);
    WorkingCopyLock lock;
    CreateWorkingCopy(session, lock);
    session.ImportFileName = source;
    ApplyImportFileName(session);
    session.TestMode = is_test;
    ActiveImport import(session);
    EXPECT_TRUE(CreateImportClass(session));
    session.SourceFieldNames = SourceColumnNames(session);
    BuildAssignmentList(session, import.logs());
    NotingView view;
    ImportRun run(import, view);
    run.Activate();
    std::vector<std::string> found = std::move(view.notes);
    for (const char* query :
         {"SELECT * FROM Kunden ORDER BY KundenNummer", "SELECT * FROM Adressindex ORDER BY Referenz",
          "SELECT * FROM Protokollzeilen", "SELECT * FROM Protokolldetails"}) {
      for (const RecordsetPtr rows = connection->OpenRecordset(query); !rows->IsEof(); rows->MoveNext()) {
        std::string row;
        for (std::size_t i = 0; i < rows->ColumnCount(); ++i) {
          row += rows->IsNull(i) ? "|NULL" : "|" + std::string(rows->TextAt(i));
        }
        found.push_back(std::move(row));
      }
    }
    return found;
  }
  static std::string Specification() {
    std::string text =
        "[Common]\nDescription=Kunden\nApplication=2\nImportClass=ksbimport.importkunden\nProvider=Textdatei\n"
        "ColumnHeadings=True\nFileFormat=ANSI\nDelimiter=;\nTextRecognition=\"\n"
        "[FieldTranslation]\nLand=1\nMitarbeiter=1\n[Translation_Land]\nD=DE\nA=AT\nabc=ein langes Land\n"
        "[Translation_Mitarbeiter]\nD=5\nA=viele\n[FieldFormat]\nKundeSeit=tt.mm.jjjj\n[FieldAssignments]\n"
        "Suchbegriff=FIELD:Bez1\nZahlungsziel=CONST:30\nSprache=CONST:zu lang\nWaehrung=CONST:EUR\n";
    for (const char* column : kColumns) text.append(column).append("=FIELD:").append(column).append("\n");
    return ToWindows1252(text);
  }

  testing::TempFolder folder;
};

TEST_F(BorrowedRecordsTest, AnImportLeavesTheSameRowsLogsAndOutcomes) {
  const std::string source = folder.Write("Quelle.txt", RandomSource(600, 1));
  const std::vector<std::string> borrowed = Import(false, false, source);
  EXPECT_GT(borrowed.size(), 1200u);
  EXPECT_EQ(borrowed, Import(true, false, source));
}

TEST_F(BorrowedRecordsTest, ATestFindsTheSame) {
  const std::string source = folder.Write("Quelle.txt", RandomSource(600, 2));
  const std::vector<std::string> borrowed = Import(false, true, source);
  EXPECT_GT(borrowed.size(), 600u);
  EXPECT_EQ(borrowed, Import(true, true, source));
}

// --- One value ----------------------------------------------------------------------------------

std::string Told(const std::function<host::StoredValue()>& convert) {
  std::string told;
  const auto tell = [&] {
    const host::StoredValue value = convert();
    if (const auto* whole = std::get_if<std::int64_t>(&value)) told = "whole " + std::to_string(*whole);
    if (const auto* text = std::get_if<std::string_view>(&value)) told = "text " + std::string(*text);
    if (const auto* real = std::get_if<double>(&value)) {
      told = "real " + FormatNumber(*real) + (std::signbit(*real) ? " negative" : "");
    }
  };
  Trap(tell, [&](const RuntimeError& error) { told = error.Description(); });
  return told;
}

TEST(ConvertField, WhatIsKnownOfATextGivesWhatTheTextGives) {
  std::mt19937 random(3);
  constexpr std::string_view kCharacters = "0123456789,.-+ E";
  for (int i = 0; i < 20000; ++i) {
    std::string text;
    for (auto left = random() % 18; left > 0; --left) text += kCharacters[random() % (i % 2 == 0 ? 12 : 16)];
    BorrowedText value{text};
    StoredDate date;
    const bool is_day =
        i % 5 == 0 && ConvertDate("1" + std::to_string(i % 10) + ".03." + std::to_string(1900 + i % 200),
                                  *FindDatePattern("tt.mm.jjjj"), date);
    if (is_day) {
      value = {{date.text.data(), date.text.size()}, date.day, 0, KnownText::kDay};
    } else if (const auto decimal = ReadPlainDecimal(text)) {
      value = {text, decimal->number, static_cast<std::uint8_t>(decimal->decimals), KnownText::kDecimal};
    }
    for (const host::FieldKind kind :
         {host::FieldKind::kText, host::FieldKind::kWhole, host::FieldKind::kReal, host::FieldKind::kDate}) {
      host::DestinationField field;
      field.name = "Feld";
      field.kind = kind;
      field.size = 10;
      host::IsoDate iso{};
      host::IsoDate plain_iso{};
      EXPECT_EQ(Told([&] {
                  host::StoredValue stored;
                  if (const auto refusal = host::ConvertField(field, value, iso, stored))
                    throw RuntimeError(*refusal);
                  return stored;
                }),
                Told([&] { return host::ConvertFieldText(field, value.text, plain_iso); }))
          << value.text;
    }
  }
}

}  // namespace
}  // namespace kestrel
