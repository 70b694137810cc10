// How the import class is created, primed and asked.
#include "component/import_class.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "kestrel/runtime_error.h"
#include "support/expect_error.h"
#include "support/session_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::RecordingObject;
using testing::SessionFixture;
using Box = RecordingUserInterface::Box;

class ImportClassTest : public SessionFixture {
 protected:
  ImportClassTest() {
    session.ImportClassProgID = "ksbimport.importkunden";
    session.SpecFile = "/import/~copy.tmp";
  }
  std::shared_ptr<RecordingObject> AddImportClass() {
    auto object = AddComponent(session.ImportClassProgID);
    object->Set("Connection").Let("PersonalNr").Let("Application").Let("SpecificationFile");
    return object;
  }
  static Box Told(std::string text, Icon icon) { return Box{std::move(text), "", icon, Buttons::kOk}; }
};

TEST_F(ImportClassTest, IsPrimedWithFourPropertiesInTheirOrder) {
  const auto connection = std::make_shared<RecordingObject>();
  session.HostConnection = connection;
  const auto object = AddImportClass();
  EXPECT_TRUE(CreateImportClass(session));
  EXPECT_EQ(session.ImportClass, object);
  EXPECT_THAT(CallLines(), ElementsAre("Set Connection Object", R"(Let PersonalNr "4711")", "Let Application 2",
                                       R"(Let SpecificationFile "/import/~copy.tmp")"));
  EXPECT_EQ(journal->front().arguments[0].ToObject(), connection);
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(ImportClassTest, ReceivesAnUnsetConnectionWhereTheHostGaveNone) {
  AddImportClass();
  EXPECT_TRUE(CreateImportClass(session));
  EXPECT_EQ(CallLines().front(), "Set Connection Nothing");
}

TEST_F(ImportClassTest, ThePreviousObjectIsReleasedBeforeTheNewOneIsCreated) {
  auto previous = std::make_shared<RecordingObject>();
  const std::weak_ptr<RecordingObject> watched = previous;
  session.ImportClass = std::move(previous);
  bool gone = false;
  components.Register(session.ImportClassProgID, [&]() -> ObjectPtr {
    gone = watched.expired();
    throw RuntimeError(1, "x");
  });
  EXPECT_FALSE(CreateImportClass(session));
  EXPECT_TRUE(gone);
}

TEST_F(ImportClassTest, AnUnknownProgIdGivesTheMessageOf429) {
  session.ImportClassProgID = "ksbimport.unbekannt";
  std::optional<RuntimeError> failure;
  EXPECT_FALSE(CreateImportClass(session, &failure));
  EXPECT_THAT(ui.boxes,
              ElementsAre(Told("Der angegebene Import Provider ''ksbimport.unbekannt'' kann nicht geladen "
                               "werden. Fehlercode 429.",
                               Icon::kInformation)));
  EXPECT_EQ(session.ImportClass, nullptr);
  EXPECT_THAT(failure->Description(), HasSubstr("ksbimport.unbekannt"));
}

TEST_F(ImportClassTest, AnEmptyProgIdGivesTheSameMessage) {
  session.ImportClassProgID = "";
  EXPECT_FALSE(CreateImportClass(session));
  EXPECT_THAT(ui.boxes, ElementsAre(Told("Der angegebene Import Provider '''' kann nicht geladen werden. "
                                         "Fehlercode 429.",
                                         Icon::kInformation)));
}

TEST_F(ImportClassTest, AnotherErrorOfTheCreationIsToldWithoutAnIcon) {
  components.Register(session.ImportClassProgID,
                      []() -> ObjectPtr { throw RuntimeError(ErrorNumber::kOutOfMemory, "kein Platz"); });
  session.ImportClass = std::make_shared<RecordingObject>();
  std::optional<RuntimeError> failure;
  EXPECT_FALSE(CreateImportClass(session, &failure));
  EXPECT_THAT(ui.boxes, ElementsAre(Told("Fehler: kein Platz", Icon::kNone)));
  EXPECT_EQ(session.ImportClass, nullptr);
  EXPECT_EQ(failure->Description(), "kein Platz");
}

TEST_F(ImportClassTest, AStandardExceptionOfAFaultyComponentIsToldToo) {
  components.Register(session.ImportClassProgID, []() -> ObjectPtr { throw std::runtime_error("boom"); });
  EXPECT_FALSE(CreateImportClass(session));
  EXPECT_THAT(ui.boxes, ElementsAre(Told("Fehler: Automatisierungsfehler: boom", Icon::kNone)));
}

TEST_F(ImportClassTest, AFailingPropertyIsToldAndEndsThePriming) {
  const auto object = AddImportClass();
  object->Raises("PersonalNr", RuntimeError(1234, "Benutzer unbekannt"));
  EXPECT_FALSE(CreateImportClass(session));
  EXPECT_THAT(ui.boxes, ElementsAre(Told("Fehler: Benutzer unbekannt", Icon::kNone)));
  EXPECT_THAT(CallLines(), ElementsAre("Set Connection Nothing", R"(Let PersonalNr "4711")"));
  EXPECT_EQ(session.ImportClass, object) << "it was created, only not primed";
}

TEST_F(ImportClassTest, AMissingPropertyIsToldAsTheLateBindingErrorItIs) {
  AddComponent(session.ImportClassProgID)->Set("Connection");
  EXPECT_FALSE(CreateImportClass(session));
  ASSERT_EQ(ui.boxes.size(), 1u);
  EXPECT_THAT(ui.boxes[0].text, HasSubstr("Fehler: Objekt unterstützt diese Eigenschaft oder Methode nicht"));
}

TEST_F(ImportClassTest, AnError429OfAPropertyGivesTheMessageOf429) {
  AddImportClass()->Raises("Connection", RuntimeError(ErrorNumber::kCannotCreateObject));
  EXPECT_FALSE(CreateImportClass(session));
  EXPECT_THAT(ui.boxes, ElementsAre(Told("Der angegebene Import Provider ''ksbimport.importkunden'' kann nicht "
                                         "geladen werden. Fehlercode 429.",
                                         Icon::kInformation)));
}

// --- HasConfig and ShowConfig -------------------------------------------------------------------

TEST_F(ImportClassTest, OnlyATruthValueThatIsFalseMeansNoConfiguration) {
  const auto object = AddImportClass();
  ASSERT_TRUE(CreateImportClass(session));
  object->Get("HasConfig", false);
  EXPECT_FALSE(ImportClassHasConfig(session));
  for (const Value& answer : {Value(true), Value(0), Value(""), Value("False"), Value(kNull), Value()}) {
    object->Get("HasConfig", answer);
    EXPECT_TRUE(ImportClassHasConfig(session)) << testing::Describe(answer);
  }
}

TEST_F(ImportClassTest, HasConfigMayBeAMethod) {
  AddImportClass()->Returns("HasConfig", false);
  ASSERT_TRUE(CreateImportClass(session));
  EXPECT_FALSE(ImportClassHasConfig(session));
}

TEST_F(ImportClassTest, AFailingHasConfigIsTheCallersToTrap) {
  AddImportClass();
  ASSERT_TRUE(CreateImportClass(session));
  EXPECT_ERROR(ImportClassHasConfig(session), ErrorNumber::kMemberNotFound);
}

TEST_F(ImportClassTest, ShowConfigIsGivenTheCurrentWorkingCopyFirst) {
  AddImportClass()->Method("ShowConfig");
  ASSERT_TRUE(CreateImportClass(session));
  journal->clear();
  session.SpecFile = "/import/~other.tmp";
  ShowImportClassConfig(session);
  EXPECT_THAT(CallLines(), ElementsAre(R"(Let SpecificationFile "/import/~other.tmp")", "Call ShowConfig()"));
}

// --- ErrorCode ----------------------------------------------------------------------------------

TEST_F(ImportClassTest, WithoutAnErrorTheDescriptionIsNotRead) {
  AddImportClass()->Get("ErrorCode", 0).Get("ErrorDescription", "old");
  ASSERT_TRUE(CreateImportClass(session));
  journal->clear();
  const ImportClassError error = ReadImportClassError(session);
  EXPECT_EQ(error.code, 0);
  EXPECT_EQ(error.description, "");
  EXPECT_THAT(CallLines(), ElementsAre("Get ErrorCode"));
}

TEST_F(ImportClassTest, AnErrorIsReadOnceMoreForTheReport) {
  AddImportClass()->Get("ErrorCode", -2147467259).Get("ErrorDescription", "Feld fehlt");
  ASSERT_TRUE(CreateImportClass(session));
  journal->clear();
  const ImportClassError error = ReadImportClassError(session);
  EXPECT_EQ(error.code, -2147467259);
  EXPECT_EQ(error.description, "Feld fehlt");
  EXPECT_THAT(CallLines(), ElementsAre("Get ErrorCode", "Get ErrorCode", "Get ErrorDescription"));
}

TEST_F(ImportClassTest, ACodeThatIsForgottenWhenAskedIsStillReported) {
  int reads = 0;
  AddImportClass()
      ->Get("ErrorCode", [&reads](std::span<Argument>) { return Value(reads++ == 0 ? 5 : 0); })
      .Get("ErrorDescription", "x");
  ASSERT_TRUE(CreateImportClass(session));
  EXPECT_EQ(ReadImportClassError(session).code, 5);
}

}  // namespace
}  // namespace kestrel
