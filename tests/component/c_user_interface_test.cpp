// How boxes and questions reach a program in C, which no import of its own asks all of.
#include "abi/user_interface.h"

#include <gtest/gtest.h>

#include <string>

#include "abi/library.h"
#include "support/expect_error.h"

namespace kestrel::abi {
namespace {

struct Program {
  std::int32_t status = KESTREL_OK;
  std::int32_t answer = 0;
  std::string answer_text;
  std::string asked;
};

std::int32_t Ask(void* context, kestrel_library* library, const kestrel_question* question,
                 std::int32_t* answer) {
  auto& program = *static_cast<Program*>(context);
  const auto text = [](const kestrel_text& part) { return std::string(part.data, part.length); };
  program.asked = std::to_string(question->kind) + std::to_string(question->icon) + "|" + text(question->text) +
                  "|" + text(question->title) + "|" + text(question->filter) + "|" + text(question->start);
  *answer = program.answer;
  if (!program.answer_text.empty()) {
    EXPECT_EQ(kestrel_answer(library, {program.answer_text.data(), program.answer_text.size()}), KESTREL_OK);
  }
  return program.status;
}

class CUserInterfaceTest : public ::testing::Test {
 protected:
  CUserInterfaceTest() {
    EXPECT_EQ(kestrel_library_open(nullptr, &handle_), KESTREL_OK);
    kestrel_user_interface functions{};
    functions.size = sizeof functions;
    functions.context = &program_;
    functions.ask = Ask;
    EXPECT_EQ(kestrel_user_interface_set(handle_, &functions), KESTREL_OK);
  }
  ~CUserInterfaceTest() override { kestrel_library_close(handle_); }

  UserInterface& Ui() {
    std::int32_t status = KESTREL_OK;
    return FindLibrary(handle_, status)->ui;
  }

  Program program_;
  kestrel_library* handle_ = nullptr;
};

TEST_F(CUserInterfaceTest, AYesIsWhatTheProgramAnswersWithANumber) {
  EXPECT_EQ(Ui().MessageBox("Löschen?", "", Icon::kQuestion, Buttons::kYesNo), Answer::kNo);
  EXPECT_EQ(program_.asked, "12|Löschen?|KESTREL Import||");
  program_.answer = 1;
  EXPECT_EQ(Ui().MessageBox("Löschen?", "Liste", Icon::kStop, Buttons::kYesNo), Answer::kYes);
  EXPECT_EQ(program_.asked, "13|Löschen?|Liste||");
  EXPECT_EQ(Ui().MessageBox("Fertig", "", Icon::kInformation, Buttons::kOk), Answer::kOk);
  EXPECT_EQ(program_.asked, "01|Fertig|KESTREL Import||");
}

TEST_F(CUserInterfaceTest, ATextIsAnsweredByAFunctionOrCancelled) {
  EXPECT_EQ(Ui().InputBox("Name?", "Sichern"), std::nullopt);
  program_.answer_text = "Größe";
  EXPECT_EQ(Ui().InputBox("Name?", "Sichern"), "Größe");
  EXPECT_EQ(program_.asked, "20|Name?|Sichern||");
  EXPECT_EQ(Ui().ChooseFile("Öffnen", "*.MDB", "/a"), "Größe");
  EXPECT_EQ(program_.asked, "30||Öffnen|*.MDB|/a");
  EXPECT_EQ(Ui().ChooseFolder("Ordner", "/b"), "Größe");
  EXPECT_EQ(program_.asked, "40||Ordner||/b");
  program_.answer_text.clear();
  EXPECT_EQ(Ui().ChooseFolder("Ordner", "/b"), std::nullopt);
}

TEST_F(CUserInterfaceTest, AProgramThatCannotAnswerEndsWhatIsUnderWay) {
  program_.status = 42;
  EXPECT_ERROR_TEXT(Ui().MessageBox("Fertig", "", Icon::kNone, Buttons::kOk), ErrorNumber::kAutomation,
                    ::testing::HasSubstr("42"));
}

}  // namespace
}  // namespace kestrel::abi
