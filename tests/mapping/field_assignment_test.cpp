#include "mapping/field_assignment.h"

#include <gmock/gmock.h>

#include "kestrel/open_connection.h"
#include "log/import_log.h"
#include "support/expect_error.h"
#include "support/field_list.h"
#include "support/session_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::RecordingObject;
using ::testing::SizeIs;

using testing::FieldList;
using Field = testing::DestinationField;

class FieldAssignmentTest : public testing::SessionFixture {
 protected:
  FieldAssignmentTest() { session.SourceFieldNames = {"Name1", "Ort", ""}; }

  void UseFields(const std::vector<Field>& fields) { UseFieldList(FieldList(fields)); }
  void UseFieldList(const Value& fields) {
    import_class = std::make_shared<RecordingObject>("class", journal);
    import_class->Returns("GetFields", fields).Get("ErrorCode", Value(0)).Get("ErrorDescription", Value(""));
    session.ImportClass = import_class;
  }
  // The list of one field "Feld" whose specification holds `entries` under [FieldAssignments].
  MemoryRecordset& BuildOne(const std::string& assignments, const std::string& other = "",
                            Field field = {"Feld"}) {
    UseSpecification("[FieldAssignments]\n" + assignments + "\n" + other);
    UseFields({std::move(field)});
    BuildAssignmentList(session, logs);
    EXPECT_EQ(session.AssignmentList->RecordCount(), 1);
    return *session.AssignmentList;
  }

  ImportLogs logs{session};
  std::shared_ptr<RecordingObject> import_class;
};

std::string Text(const MemoryRecordset& list, AssignmentColumn column) {
  return list.IsNull(column) ? "(unset)" : std::string(list.TextAt(column));
}

// Option, name, display text, translation switch, remark and format of the current row.
std::vector<std::string> Assignment(const MemoryRecordset& list) {
  std::vector<std::string> texts;
  for (const AssignmentColumn column :
       {kOption, kDestinationName, kDspDestinationName, kTranslate, kInfo, kFormat}) {
    texts.push_back(Text(list, column));
  }
  return texts;
}

// --- The table ---

TEST_F(FieldAssignmentTest, TheListHasItsThirteenColumnsInOrder) {
  const auto list = CreateAssignmentList();
  std::vector<std::string> columns;
  for (std::size_t i = 0; i < list->ColumnCount(); ++i) {
    const MemoryRecordset::Column& column = list->ColumnAt(i);
    constexpr const char* kTypes[] = {"text", "int16", "int64", "double", "bool"};
    columns.push_back(column.name + " " + kTypes[static_cast<int>(column.type)] + " " +
                      std::to_string(column.size));
  }
  EXPECT_THAT(columns,
              ElementsAre("SourceName text 255", "DestinationName text 255", "DspDestinationName text 255",
                          "Option int64 0", "Obligation bool 0", "RowSourceTyp int64 0", "RowSource text 255",
                          "Translate int16 0", "FieldTyp text 50", "Size int64 0", "Info text 50",
                          "Format text 50", "DateField bool 0"));
  EXPECT_EQ(list->RecordCount(), 0);
}

// --- Building ---

TEST_F(FieldAssignmentTest, RowsStandInTheOrderOfGetFieldsAndTheFirstIsCurrent) {
  UseSpecification("");
  UseFields({{"Zeta"}, {"Alpha"}, {"Mitte"}});
  BuildAssignmentList(session, logs);
  MemoryRecordset& list = *session.AssignmentList;
  std::vector<std::string> names;
  for (; !list.IsEof(); list.MoveNext()) names.push_back(Text(list, kSourceName));
  EXPECT_THAT(names, ElementsAre("Zeta", "Alpha", "Mitte"));
}

TEST_F(FieldAssignmentTest, FieldPropertiesAreCopied) {
  const MemoryRecordset& list = BuildOne("", "", {"Feld", true, true, "INT", 7, "1*eins#2*zwei"});
  EXPECT_TRUE(list.ValueAt(kObligation).ToBool());
  EXPECT_EQ(list.ValueAt(kRowSourceTyp), Value(1));
  EXPECT_EQ(list.ValueAt(kRowSource), Value("1*eins#2*zwei"));
  EXPECT_EQ(list.ValueAt(kSize), Value(7));
  EXPECT_EQ(list.ValueAt(kFieldTyp), Value("INT"));
  EXPECT_TRUE(list.ValueAt(kDateField).ToBool());
}

TEST_F(FieldAssignmentTest, MandatoryFlagsCountFromOne) {
  UseSpecification("");
  UseFields({{"A", true}, {"B", false}, {"C", true}});
  EXPECT_THAT(BuildAssignmentList(session, logs), ElementsAre(false, true, false, true));
}

TEST_F(FieldAssignmentTest, AFieldWithoutEntryStaysUnset) {
  const MemoryRecordset& list = BuildOne("");
  EXPECT_THAT(Assignment(list), ElementsAre("(unset)", "(unset)", "(unset)", "(unset)", "", "(unset)"));
}

TEST_F(FieldAssignmentTest, AMandatoryFieldWithoutEntryPassesUntilItIsStoredAsNotAssigned) {
  MemoryRecordset& list = BuildOne("", "", {"Feld", true});
  EXPECT_FALSE(MandatoryFieldUnassigned(list));
  StoreCurrentAssignment(list, {});
  EXPECT_TRUE(MandatoryFieldUnassigned(list));
}

TEST_F(FieldAssignmentTest, NotAssignedIsOptionOneWithAnEmptyName) {
  const MemoryRecordset& list = BuildOne("Feld=NOTASSIGNED", "", {"Feld", true});
  EXPECT_THAT(Assignment(list), ElementsAre("1", "", "(unset)", "(unset)", "", "(unset)"));
  EXPECT_TRUE(MandatoryFieldUnassigned(*session.AssignmentList));
}

TEST_F(FieldAssignmentTest, LowerCaseNotAssignedAssignsNothing) {
  const MemoryRecordset& list = BuildOne("Feld=notassigned");
  EXPECT_THAT(Assignment(list), ElementsAre("(unset)", "(unset)", "(unset)", "(unset)", "", "(unset)"));
}

TEST_F(FieldAssignmentTest, LowerCasePrefixesAssignNothing) {
  EXPECT_TRUE(BuildOne("Feld=field:Name1").IsNull(kOption));
  EXPECT_TRUE(BuildOne("Feld=const:x").IsNull(kOption));
}

TEST_F(FieldAssignmentTest, ASourceColumnThatExistsIsOptionTwo) {
  const MemoryRecordset& list = BuildOne("Feld=FIELD:Name1");
  EXPECT_THAT(Assignment(list), ElementsAre("2", "Name1", "«Name1»", "0", "", "(unset)"));
}

TEST_F(FieldAssignmentTest, ASourceColumnThatIsGoneIsOptionOneButKeepsTranslationAndFormat) {
  const MemoryRecordset& list = BuildOne("Feld=FIELD:Weg",
                                         "[FieldTranslation]\nFeld=1\n[FieldFormat]\nFeld=ttmmjj\n"
                                         "[Translation_Feld]\nA=B\n");
  EXPECT_THAT(Assignment(list), ElementsAre("1", "", "", "1", "-wird übersetzt-", "ttmmjj"));
}

TEST_F(FieldAssignmentTest, SourceColumnsAreComparedWithCase) {
  session.SourceFieldNames = {"Name", ""};
  EXPECT_EQ(BuildOne("Feld=FIELD:name").ValueAt(kOption), Value(1));
}

TEST_F(FieldAssignmentTest, ASourceColumnIsCutAtItsFirstColon) {
  session.SourceFieldNames = {"a", "a:b", ""};
  EXPECT_EQ(Text(BuildOne("Feld=FIELD:a:b"), kDestinationName), "a");
}

TEST_F(FieldAssignmentTest, TheLastElementOfTheSourceFieldListIsNeverMatched) {
  EXPECT_TRUE(IsInList("a", {"a", "b"}));
  EXPECT_FALSE(IsInList("b", {"a", "b"}));
  EXPECT_FALSE(IsInList("", {"a", ""}));
  EXPECT_TRUE(IsInList("", {"", "a", ""}));
  EXPECT_FALSE(IsInList("a", {}));
}

TEST_F(FieldAssignmentTest, NamesAreComparedWithoutTrimming) {
  EXPECT_FALSE(IsInList("a ", {"a", ""}));
  EXPECT_FALSE(IsInList("a", {" a", ""}));
}

TEST_F(FieldAssignmentTest, AConstantIsCutAtItsFirstColon) {
  const MemoryRecordset& list = BuildOne("Feld=CONST:10:30",
                                         "[FieldTranslation]\nFeld=1\n"
                                         "[FieldFormat]\nFeld=ttmmjj\n[Translation_Feld]\nA=B\n");
  EXPECT_THAT(Assignment(list), ElementsAre("3", "10", "\"10\"", "(unset)", "", "(unset)"));
}

TEST_F(FieldAssignmentTest, AnEmptyConstantIsShownAsTwoQuoteMarks) {
  const MemoryRecordset& list = BuildOne("Feld=CONST:");
  EXPECT_THAT(Assignment(list), ElementsAre("3", "", "\"\"", "(unset)", "", "(unset)"));
}

TEST_F(FieldAssignmentTest, ATranslationFlagWithoutATableIsNotTranslated) {
  EXPECT_EQ(BuildOne("Feld=FIELD:Name1", "[FieldTranslation]\nFeld=1\n").ValueAt(kTranslate), Value(0));
  EXPECT_EQ(
      BuildOne("Feld=FIELD:Name1", "[FieldTranslation]\nFeld=1\n[Translation_Feld]\n").ValueAt(kTranslate),
      Value(0));
}

TEST_F(FieldAssignmentTest, OnlyExactlyOneSwitchesTranslationOn) {
  constexpr const char* kTable = "[Translation_Feld]\nA=B\n";
  EXPECT_EQ(BuildOne("Feld=FIELD:Name1", kTable).ValueAt(kTranslate), Value(0));
  EXPECT_EQ(
      BuildOne("Feld=FIELD:Name1", std::string(kTable) + "[FieldTranslation]\nFeld=True\n").ValueAt(kTranslate),
      Value(0));
  EXPECT_EQ(
      BuildOne("Feld=FIELD:Name1", std::string(kTable) + "[FieldTranslation]\nFeld=1\n").ValueAt(kTranslate),
      Value(1));
}

TEST_F(FieldAssignmentTest, NullPropertiesOfAFieldStayNullAndAreNotMandatory) {
  UseSpecification("");
  const auto fields = FieldList({{"A"}});
  fields->ClearRow();
  fields->SetText(0, "A");
  UseFieldList(fields);
  std::string failure;
  EXPECT_THAT(BuildAssignmentList(session, logs, &failure), ElementsAre(false, false));
  EXPECT_EQ(failure, "");
  EXPECT_TRUE(session.AssignmentList->IsNull(kObligation));
  EXPECT_TRUE(session.AssignmentList->IsNull(kRowSourceTyp));
  EXPECT_FALSE(DateFieldWithoutFormat(*session.AssignmentList));
}

// --- Failures of the build ---

TEST_F(FieldAssignmentTest, AnErrorOfGetFieldsIsLoggedAndTheBuildGoesOn) {
  UseSpecification("");
  UseFields({{"A"}});
  import_class->Get("ErrorCode", Value(17)).Get("ErrorDescription", Value("Tabelle gesperrt"));
  const ConnectionPtr host = OpenConnection("Provider=SQLite;Data Source=" + folder.File("host.db"));
  host->Execute("CREATE TABLE Personalstamm (PersonalNr TEXT, Nachname TEXT, Vorname TEXT, Titel TEXT)");
  session.HostConnection = host;
  const auto log = AddComponent("KSHProto.Protokoll", "log");
  log->Returns("CreateProtokoll", "P1").Method("AddNewRecord").Method("SetField").Method("UpdateRecord");
  logs.CreateProtocol(kErrorLogTitle, kErrorLogList, "d", "d", "f", "s");
  journal->clear();
  BuildAssignmentList(session, logs);
  EXPECT_THAT(
      CallLines(),
      ElementsAre("Call class.GetFields()", "Get class.ErrorCode", "Get class.ErrorCode",
                  "Get class.ErrorDescription", "Call log.AddNewRecord()",
                  R"x(Call log.SetField(10, 0, ByRef "Fehler: 17 Tabelle gesperrt (GetFields/GetData)"))x",
                  "Call log.UpdateRecord()"));
  EXPECT_EQ(session.AssignmentList->RecordCount(), 1);
}

TEST_F(FieldAssignmentTest, AFailingGetFieldsLeavesAnEmptyListAndTellsWhy) {
  UseFields({});
  import_class->Raises("GetFields", RuntimeError(4711, "kaputt"));
  std::string failure;
  EXPECT_THAT(BuildAssignmentList(session, logs, &failure), SizeIs(1));
  EXPECT_EQ(failure, "kaputt");
  ASSERT_NE(session.AssignmentList, nullptr);
  EXPECT_EQ(session.AssignmentList->RecordCount(), 0);
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(FieldAssignmentTest, AFieldThatDoesNotFitEndsTheBuildWithTheRowsSoFar) {
  UseSpecification("");
  UseFields({{"A", true}, {std::string(256, 'x'), true}, {"C", true}});
  std::string failure;
  const std::vector<bool> mandatory = BuildAssignmentList(session, logs, &failure);
  EXPECT_NE(failure, "");
  EXPECT_EQ(session.AssignmentList->RecordCount(), 2);
  EXPECT_THAT(mandatory, ElementsAre(false, true, false));
}

TEST_F(FieldAssignmentTest, ATextThatIsTooLongIsToldWithFieldPlaceAndLimit) {
  const auto failure_with = [&](const std::string& assignment, const std::string& row_source) {
    UseSpecification("[FieldAssignments]\nName=" + assignment + "\n");
    Field field{"Name"};
    field.row_source = row_source;
    UseFields({field});
    std::string failure;
    BuildAssignmentList(session, logs, &failure);
    return failure;
  };
  EXPECT_EQ(failure_with("CONST:" + std::string(253, 'x'), std::string(255, 'y')), "");
  EXPECT_EQ(
      failure_with("CONST:" + std::string(254, 'x'), ""),
      "Feld \"Name\", Abschnitt [FieldAssignments], Schlüssel \"Name\": der Text hat 254 Zeichen, höchstens "
      "253 sind möglich");
  EXPECT_EQ(
      failure_with("NOTASSIGNED", std::string(256, 'y')),
      "Feld \"Name\", Spalte RowSource der Feldliste des Importziels: der Text hat 256 Zeichen, höchstens 255 "
      "sind möglich");
}

TEST_F(FieldAssignmentTest, AConstantThatIsTooLongLeavesTheRowAsItWas) {
  UseSpecification("[FieldAssignments]\nName=CONST:alt\n");
  UseFields({{"Name"}});
  BuildAssignmentList(session, logs);
  AssignmentPanel panel;
  panel.option = kConstantValue;
  panel.constant = std::string(254, 'x');
  EXPECT_ERROR_TEXT(StoreCurrentAssignment(*session.AssignmentList, panel), ErrorNumber::kColumnType,
                    HasSubstr("höchstens 253"));
  EXPECT_EQ(session.AssignmentList->TextAt(kDestinationName), "alt");
}

TEST_F(FieldAssignmentTest, AnErrorCodeThatCannotBeReadEndsTheBuild) {
  UseFields({{"A"}});
  import_class->Raises("ErrorCode", RuntimeError(4711, "kaputt"));
  std::string failure;
  BuildAssignmentList(session, logs, &failure);
  EXPECT_EQ(failure, "kaputt");
  EXPECT_EQ(session.AssignmentList->RecordCount(), 0);
}

TEST_F(FieldAssignmentTest, WithoutAnImportClassTheListIsEmpty) {
  std::string failure;
  BuildAssignmentList(session, logs, &failure);
  EXPECT_EQ(failure, "Objektvariable nicht festgelegt");
  EXPECT_EQ(session.AssignmentList->RecordCount(), 0);
}

TEST_F(FieldAssignmentTest, AFieldListThatLacksAColumnNamesIt) {
  auto fields = std::make_shared<MemoryRecordset>();
  fields->AppendColumn("FieldName");
  UseFieldList(fields);
  std::string failure;
  BuildAssignmentList(session, logs, &failure);
  EXPECT_THAT(failure, ::testing::HasSubstr("Obligation"));
}

// --- Storing and showing ---

TEST_F(FieldAssignmentTest, StoringNoAssignmentLeavesTranslationAndFormat) {
  MemoryRecordset& list = BuildOne(
      "Feld=FIELD:Name1", "[FieldTranslation]\nFeld=1\n[FieldFormat]\nFeld=ttmmjj\n[Translation_Feld]\nA=B\n");
  StoreCurrentAssignment(list, {});
  EXPECT_THAT(Assignment(list), ElementsAre("1", "", "", "1", "", "ttmmjj"));
}

TEST_F(FieldAssignmentTest, StoringAnImportFieldSetsAllOfIt) {
  MemoryRecordset& list = BuildOne("");
  StoreCurrentAssignment(list, {kImportField, "Ort", "ungenutzt", true, "tt.mm.jj"});
  EXPECT_THAT(Assignment(list), ElementsAre("2", "Ort", "«Ort»", "1", "-wird übersetzt-", "tt.mm.jj"));

  StoreCurrentAssignment(list, {kImportField, "", "", false, ""});
  EXPECT_THAT(Assignment(list), ElementsAre("2", "", "", "0", "", ""));
}

TEST_F(FieldAssignmentTest, ANameTypedByHandIsStoredAsItStands) {
  MemoryRecordset& list = BuildOne("");
  StoreCurrentAssignment(list, {kImportField, "gibt es nicht ", "", false, ""});
  EXPECT_THAT(Assignment(list), ElementsAre("2", "gibt es nicht ", "«gibt es nicht »", "0", "", ""));
}

TEST_F(FieldAssignmentTest, StoringAConstantKeepsItWholeAndShowsItInQuoteMarks) {
  MemoryRecordset& list = BuildOne("");
  StoreCurrentAssignment(list, {kConstantValue, "Ort", "10:30", true, "ttmmjj"});
  EXPECT_THAT(Assignment(list), ElementsAre("3", "10:30", "\"10:30\"", "(unset)", "", "(unset)"));
}

TEST_F(FieldAssignmentTest, ThePanelShowsWhatWasStoredAndTheListStays) {
  UseSpecification("");
  UseFields({{"A"}, {"B"}, {"C"}, {"D"}});
  BuildAssignmentList(session, logs);
  MemoryRecordset& list = *session.AssignmentList;
  StoreCurrentAssignment(list, {kImportField, "Ort", "", true, "ttmmjj"});
  list.GoTo(1);
  StoreCurrentAssignment(list, {kConstantValue, "", "fest", false, ""});
  list.GoTo(2);
  StoreCurrentAssignment(list, {});

  const AssignmentPanel field = ReadAssignment(list, 0);
  EXPECT_EQ(field.option, kImportField);
  EXPECT_EQ(field.import_field, "Ort");
  EXPECT_TRUE(field.translate);
  EXPECT_EQ(field.date_format, "ttmmjj");
  EXPECT_EQ(field.constant, "");
  const AssignmentPanel constant = ReadAssignment(list, 1);
  EXPECT_EQ(constant.option, kConstantValue);
  EXPECT_EQ(constant.constant, "fest");
  EXPECT_EQ(constant.import_field, "");
  EXPECT_EQ(ReadAssignment(list, 2).option, kNotAssigned);
  EXPECT_EQ(ReadAssignment(list, 3).option, kNotAssigned);
  EXPECT_EQ(list.Bookmark(), 2);
}

TEST_F(FieldAssignmentTest, AnEmptyNameIsShownEmpty) {
  EXPECT_EQ(DisplayFieldName(""), "");
  EXPECT_EQ(DisplayFieldName("Straße"), "«Straße»");
  EXPECT_EQ(DisplayConstant("a\"b"), "\"a\"b\"");
}

TEST_F(FieldAssignmentTest, UnnamedSourceColumnsAreOfferedByTheirNumber) {
  EXPECT_THAT(OfferedSourceFields({"A", "B", "", "D", ""}), ElementsAre("A", "B", "Feld03", "D"));
  std::vector<std::string> many(12);
  EXPECT_EQ(OfferedSourceFields(many)[9], "Feld10");
  EXPECT_THAT(OfferedSourceFields({""}), IsEmpty());
  EXPECT_THAT(OfferedSourceFields({}), IsEmpty());
}

// --- The two checks ---

TEST_F(FieldAssignmentTest, ADateFieldLoadedWithoutFormatPassesUntilItIsStored) {
  MemoryRecordset& list = BuildOne("Feld=FIELD:Name1", "", {"Feld", false, true});
  EXPECT_FALSE(DateFieldWithoutFormat(list));
  StoreCurrentAssignment(list, ReadAssignment(list, 0));
  EXPECT_TRUE(DateFieldWithoutFormat(list));
  StoreCurrentAssignment(list, {kImportField, "Name1", "", false, "ttmmjj"});
  EXPECT_FALSE(DateFieldWithoutFormat(list));
}

TEST_F(FieldAssignmentTest, AConstantOnADateFieldPassesUnlessAnEmptyFormatWasStoredBefore) {
  MemoryRecordset& list = BuildOne("Feld=CONST:01.02.2024", "", {"Feld", false, true});
  EXPECT_FALSE(DateFieldWithoutFormat(list));
  StoreCurrentAssignment(list, {kImportField, "", "", false, ""});
  EXPECT_FALSE(DateFieldWithoutFormat(list));  // nothing is assigned
  StoreCurrentAssignment(list, {kConstantValue, "", "01.02.2024", false, ""});
  EXPECT_TRUE(DateFieldWithoutFormat(list));
}

TEST_F(FieldAssignmentTest, AFieldThatIsNoDateNeedsNoFormat) {
  MemoryRecordset& list = BuildOne("");
  StoreCurrentAssignment(list, {kImportField, "Name1", "", false, ""});
  EXPECT_FALSE(DateFieldWithoutFormat(list));
}

TEST_F(FieldAssignmentTest, AFieldThatIsNotMandatoryMayStayUnassigned) {
  EXPECT_FALSE(MandatoryFieldUnassigned(BuildOne("Feld=NOTASSIGNED")));
}

TEST_F(FieldAssignmentTest, AMandatoryFieldWithAnEmptyConstantFails) {
  EXPECT_TRUE(MandatoryFieldUnassigned(BuildOne("Feld=CONST:", "", {"Feld", true})));
}

TEST_F(FieldAssignmentTest, BothChecksLookAtEveryRowAndReturnToTheCurrentOne) {
  UseSpecification("[FieldAssignments]\nC=NOTASSIGNED\n");
  UseFields({{"A", true}, {"B", true, true}, {"C", true}});
  BuildAssignmentList(session, logs);
  MemoryRecordset& list = *session.AssignmentList;
  list.GoTo(1);
  StoreCurrentAssignment(list, {kImportField, "Ort", "", false, ""});
  EXPECT_TRUE(MandatoryFieldUnassigned(list));
  EXPECT_EQ(list.Bookmark(), 1);
  list.GoTo(2);
  EXPECT_TRUE(DateFieldWithoutFormat(list));
  EXPECT_EQ(list.Bookmark(), 2);
}

TEST_F(FieldAssignmentTest, BothChecksWorkOnAListAtItsEndAndOnAnEmptyOne) {
  const auto empty = CreateAssignmentList();
  EXPECT_FALSE(MandatoryFieldUnassigned(*empty));
  EXPECT_FALSE(DateFieldWithoutFormat(*empty));
  MemoryRecordset& list = BuildOne("Feld=NOTASSIGNED", "", {"Feld", true});
  list.MoveNext();
  EXPECT_TRUE(MandatoryFieldUnassigned(list));
}

}  // namespace
}  // namespace kestrel
