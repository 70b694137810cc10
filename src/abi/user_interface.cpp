#include "abi/user_interface.h"

#include <utility>

#include "abi/callbacks.h"
#include "abi/library.h"

namespace kestrel::abi {

namespace {

kestrel_question Question(std::int32_t kind, std::string_view text, std::string_view title) {
  kestrel_question question{};
  question.size = sizeof question;
  question.kind = kind;
  question.text = ToText(text);
  question.title = ToText(title.empty() ? std::string_view(kDefaultTitle) : title);
  return question;
}

std::int32_t NumberOf(Icon icon) {
  switch (icon) {
    case Icon::kNone: return KESTREL_ICON_NONE;
    case Icon::kInformation: return KESTREL_ICON_INFORMATION;
    case Icon::kQuestion: return KESTREL_ICON_QUESTION;
    case Icon::kStop: return KESTREL_ICON_STOP;
  }
  return KESTREL_ICON_NONE;
}

}  // namespace

std::int32_t CUserInterface::Ask(kestrel_question question) {
  answer_.reset();
  if (functions_.ask == nullptr) return 0;
  std::int32_t answer = 0;
  const bool was_asking = std::exchange(is_asking_, true);
  const std::uint64_t failures = library_.failures();
  const std::int32_t status = functions_.ask(functions_.context, library_.handle(), &question, &answer);
  is_asking_ = was_asking;
  if (status != KESTREL_OK) RaiseCallbackFailure(library_, status, failures);
  return answer;
}

std::optional<std::string> CUserInterface::AskForText(kestrel_question question) {
  Ask(question);
  return std::exchange(answer_, std::nullopt);
}

void CUserInterface::AnswerWith(std::string text) {
  if (!is_asking_) throw RuntimeError(ErrorNumber::kInvalidProcedureCall, "Es ist keine Frage gestellt.");
  answer_ = std::move(text);
}

Answer CUserInterface::MessageBox(std::string_view text, std::string_view title, Icon icon, Buttons buttons) {
  const bool is_question = buttons == Buttons::kYesNo;
  kestrel_question question = Question(is_question ? KESTREL_ASK_YES_NO : KESTREL_TELL, text, title);
  question.icon = NumberOf(icon);
  const std::int32_t answer = Ask(question);
  if (!is_question) return Answer::kOk;
  return answer != 0 ? Answer::kYes : Answer::kNo;
}

std::optional<std::string> CUserInterface::InputBox(std::string_view prompt, std::string_view title) {
  return AskForText(Question(KESTREL_ASK_TEXT, prompt, title));
}

std::optional<std::string> CUserInterface::ChooseFile(std::string_view title, std::string_view filter,
                                                      const std::string& start) {
  kestrel_question question = Question(KESTREL_ASK_FILE, "", title);
  question.filter = ToText(filter);
  question.start = ToText(start);
  return AskForText(question);
}

std::optional<std::string> CUserInterface::ChooseFolder(std::string_view title, const std::string& start) {
  kestrel_question question = Question(KESTREL_ASK_FOLDER, "", title);
  question.start = ToText(start);
  return AskForText(question);
}

}  // namespace kestrel::abi

using namespace kestrel::abi;

int32_t kestrel_user_interface_set(kestrel_library* library, const kestrel_user_interface* user_interface) {
  return Guarded(library, [&](Library& open) {
    open.ui.Use(user_interface == nullptr ? kestrel_user_interface{} : Read(user_interface, "user_interface"));
  });
}

int32_t kestrel_answer(kestrel_library* library, kestrel_text answer) {
  return Guarded(library, [&](Library& open) { open.ui.AnswerWith(ToString(answer, "answer")); });
}
