// A late-bound object for tests: it answers to the members it was given and notes every call.
//
//   auto log = std::make_shared<RecordingObject>("log");
//   log->Method("CreateProtocol", [](auto& arguments) { return Value("P1"); })
//       .Get("ErrorCode", 0)
//       .Let("Application")
//       .Set("Connection");
//   ...
//   EXPECT_THAT(log->Lines(), ElementsAre("Let Application 2", R"(Call CreateProtocol("Titel", ByRef 7))"));
#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "kestrel/object.h"

namespace kestrel::testing {

// One use of a member, with the arguments as they were when it was made.
struct RecordedCall {
  std::string object;  // the label of the object called
  CallKind kind = CallKind::kMethod;
  std::string name;  // as the object was told it, whatever case the caller used
  std::vector<Value> arguments;
  std::vector<bool> by_reference;  // one per argument

  // "Call Name(1, "two", ByRef Null)", "Get Name", "Let Name value", "Set Name Object"; in front of it the
  // label and a point where the object has one. Left-out middle arguments read "Missing", unset ones "Empty".
  std::string ToText() const;
};

// What several objects were asked, in one order.
using CallJournal = std::vector<RecordedCall>;

// The text of a value as RecordedCall shows it.
std::string Describe(const Value& value);

class RecordingObject final : public Object {
 public:
  // Runs inside the call, behind its note; may set by-reference arguments, raise, and returns the result.
  using Handler = std::function<Value(std::span<Argument> arguments)>;

  // Objects that share a journal are noted in one order. Without one the object keeps its own.
  explicit RecordingObject(std::string label = "", std::shared_ptr<CallJournal> journal = nullptr);

  // --- Members; a name told twice for one kind takes the newer meaning ---
  // A method; without a handler it returns nothing.
  RecordingObject& Method(std::string_view name, Handler handler = nullptr);
  RecordingObject& Returns(std::string_view name, Value result);  // a method with a fixed result
  RecordingObject& Get(std::string_view name, Value value);
  template <class Answer>
  requires std::is_invocable_r_v<Value, Answer, std::span<Argument>> RecordingObject& Get(std::string_view name,
                                                                                          Answer handler) {
    return Bind(name, {CallKind::kGet, CallKind::kMethod}, Handler(std::move(handler)));
  }
  RecordingObject& Let(std::string_view name, Handler handler = nullptr);
  RecordingObject& Set(std::string_view name, Handler handler = nullptr);
  // Every kind of use that the member serves raises the error from now on; a member not told yet becomes one
  // that fails in every kind.
  RecordingObject& Raises(std::string_view name, RuntimeError error);

  // --- What happened ---
  // All calls of the journal, those of other objects that share it included.
  const CallJournal& calls() const { return *journal_; }
  std::vector<std::string> Lines() const;
  // How often a member of this object was used, in whatever kind.
  std::size_t CountOf(std::string_view name) const;
  void Forget() { journal_->clear(); }

  std::optional<MemberId> FindMember(std::string_view name) const override;
  Value Invoke(MemberId member, CallKind kind, std::span<Argument> arguments) override;

 private:
  static constexpr std::size_t kKinds = 4;
  struct Member {
    std::string name;
    std::optional<Handler> handlers[kKinds];
  };
  Member& MemberFor(std::string_view name);
  RecordingObject& Bind(std::string_view name, std::initializer_list<CallKind> kinds, const Handler& handler);

  std::string label_;
  std::shared_ptr<CallJournal> journal_;
  std::vector<Member> members_;
};

}  // namespace kestrel::testing
