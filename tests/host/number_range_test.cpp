// The range of numbers that the specification gives for new addresses.
#include "schema/number_range.h"

#include <gmock/gmock.h>

#include "host/host_fixture.h"
#include "support/expect_error.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class NumberRangeTest : public testing::HostFixture {
 protected:
  ObjectPtr ImporterWith(const std::string& settings) {
    const std::string specification = folder.Write("Import.IMP", "[CfgSettings]\r\n" + settings);
    const ObjectPtr importer = Importer();
    LetProperty(importer, "SpecificationFile", specification);
    return importer;
  }
  // Error descriptions that come with records or late.
  std::vector<std::string> ImportNames(const ObjectPtr& importer, const std::vector<const char*>& names) {
    std::vector<std::string> errors;
    for (const char* name : names) {
      if (std::string error = Import(importer, {{"Bez1", name}}); !error.empty()) errors.push_back(error);
    }
    while (CallMethod(importer, "NextLateError").ToBool()) {
      errors.push_back(GetProperty(importer, "ErrorDescription").ToText());
    }
    CallMethod(importer, "AfterImport");
    while (CallMethod(importer, "NextLateError").ToBool()) {
      errors.push_back(GetProperty(importer, "ErrorDescription").ToText());
    }
    return errors;
  }
  std::vector<std::string> Stored() { return Rows("SELECT KundenNummer, Bez1 FROM Kunden ORDER BY 1"); }
};

TEST_F(NumberRangeTest, GivesNewAddressesNumbersBehindTheGreatestInIt) {
  connection->Execute(
      "INSERT INTO Kunden (KundenNummer, Bez1) VALUES (7, 'alt'), (501, 'darin'), (9000, 'danach')");
  const ObjectPtr importer = ImporterWith("KundenNummernVon=500\r\nKundenNummernBis=599\r\n");
  EXPECT_THAT(ImportNames(importer, {"A", "B"}), ElementsAre());
  EXPECT_THAT(Stored(), ElementsAre("7|alt", "501|darin", "502|A", "503|B", "9000|danach"));
}

TEST_F(NumberRangeTest, BeginsWithItsFirstNumberAndGoesOnInTheNextImport) {
  const char* const range = "KundenNummernVon=500\r\nKundenNummernBis=599\r\n";
  EXPECT_THAT(ImportNames(ImporterWith(range), {"A"}), ElementsAre());
  EXPECT_THAT(ImportNames(ImporterWith(range), {"B"}), ElementsAre());
  EXPECT_THAT(Stored(), ElementsAre("500|A", "501|B"));
}

TEST_F(NumberRangeTest, ThatIsUsedUpIsAnErrorOfEachFurtherAddress) {
  const ObjectPtr importer = ImporterWith("KundenNummernVon=500\r\nKundenNummernBis=501\r\n");
  EXPECT_THAT(ImportNames(importer, {"A", "B", "C", "D"}),
              ElementsAre(HasSubstr("Der Nummernkreis 500 bis 501 für 'Kunden' ist aufgebraucht."),
                          HasSubstr("in den Einstellungen des Imports")));
  EXPECT_THAT(Stored(), ElementsAre("500|A", "501|B"));
}

TEST_F(NumberRangeTest, LeavesAddressesWithTheirOwnNumberAlone) {
  const ObjectPtr importer = ImporterWith("KundenNummernVon=500\r\nKundenNummernBis=599\r\n");
  EXPECT_EQ(Import(importer, {{"KundenNummer", "12"}, {"Bez1", "eigene"}}), "");
  EXPECT_EQ(Import(importer, {{"KundenNummer", "510"}, {"Bez1", "im Kreis"}}), "");
  EXPECT_THAT(ImportNames(importer, {"A"}), ElementsAre());
  EXPECT_THAT(Stored(), ElementsAre("12|eigene", "510|im Kreis", "511|A"));
}

TEST_F(NumberRangeTest, ANumberThatSomebodyElseHasTakenMeanwhileIsPassedOver) {
  const ObjectPtr importer = ImporterWith("KundenNummernVon=500\r\nKundenNummernBis=599\r\n");
  EXPECT_THAT(ImportNames(importer, {"A"}), ElementsAre());
  OpenConnection(file)->Execute("INSERT INTO Kunden (KundenNummer, Bez1) VALUES (501, 'anderer')");
  EXPECT_THAT(ImportNames(importer, {"B"}), ElementsAre());
  EXPECT_THAT(Stored(), ElementsAre("500|A", "501|anderer", "502|B"));
}

TEST_F(NumberRangeTest, ATestRunTellsWhatTheImportWould) {
  const ObjectPtr importer = ImporterWith("KundenNummernVon=500\r\nKundenNummernBis=501\r\n");
  std::vector<std::string> errors;
  for (const char* name : {"A", "B", "C"}) {
    Value record = CallMethod(importer, "GetNewRecord");
    const RecordsetPtr row = ToRecordset(record);
    row->SetText(row->RequireColumn("Bez1"), name);
    CallMethod(importer, "CheckRecord", ByRef(record));
    errors.push_back(GetProperty(importer, "ErrorDescription").ToText());
  }
  EXPECT_THAT(errors, ElementsAre("", "", HasSubstr("ist aufgebraucht")));
  EXPECT_THAT(Stored(), ElementsAre());
}

TEST_F(NumberRangeTest, ThatIsNoneRefusesEveryRecordAndIsToldByTheCheck) {
  const ObjectPtr importer = ImporterWith("KundenNummernVon=500\r\nKundenNummernBis=viele\r\n");
  EXPECT_THAT(Import(importer, {{"Bez1", "A"}}),
              HasSubstr("Nummernkreis, KundenNummernBis: 'viele' ist keine ganze Zahl ab 1."));
  EXPECT_THAT(CallMethod(importer, "CheckDestination").ToText(), HasSubstr("KundenNummernBis"));
  EXPECT_THAT(Stored(), ElementsAre());
}

TEST(NumberRange, NeedsBothEndsInTheirOrder) {
  EXPECT_FALSE(host::ReadNumberRange("Kunden", "", " "));
  const auto range = host::ReadNumberRange("Kunden", "5", "5");
  ASSERT_TRUE(range);
  EXPECT_EQ(range->from, 5);
  EXPECT_EQ(range->to, 5);
  for (const auto& [from, to] : {std::pair("", "5"), {"5", ""}, {"6", "5"}, {"0", "5"}, {"1,5", "5"}}) {
    EXPECT_ERROR(host::ReadNumberRange("Kunden", from, to), ErrorNumber::kInvalidProcedureCall) << from << to;
  }
}

}  // namespace
}  // namespace kestrel
