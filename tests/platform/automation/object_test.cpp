#include "kestrel/object.h"

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>

#include "kestrel/bound_object.h"
#include "kestrel/component_registry.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using ::testing::HasSubstr;

class Greeter final : public BoundObject<Greeter> {
 public:
  static void Bind(Members& members) {
    members.Method("Greet", &Greeter::Greet);
    members.Method("Swap", &Greeter::Swap);
    members.Method("Fail", &Greeter::Fail);
    members.Method("Optional", &Greeter::Optional);
    members.Let("Loud", &Greeter::SetLoud);
    members.Get("Loud", &Greeter::Loud);
    members.Set("Friend", &Greeter::SetFriend);
    members.Method("Short", &Greeter::Short);
  }
  std::string Greet(const std::string& name) { return (loud_ ? "HALLO " : "Hallo ") + name; }
  void Swap(bool& flag, std::string& text, Value& any) {
    flag = !flag;
    text += "!";
    any = Value(7);
  }
  void Fail() { throw std::logic_error("kaputt"); }
  std::string Optional(std::int32_t first, std::optional<std::string> middle,
                       std::optional<std::int32_t> last) {
    return std::to_string(first) + middle.value_or("-") + std::to_string(last.value_or(-1));
  }
  void SetLoud(bool loud) { loud_ = loud; }
  bool Loud() const { return loud_; }
  void SetFriend(std::shared_ptr<Greeter> other) { friend_ = std::move(other); }
  std::int16_t Short(std::int16_t number) { return number; }

 private:
  bool loud_ = false;
  std::weak_ptr<Greeter> friend_;
};

int ErrorNumberOf(const std::function<void()>& action) {
  int number = 0;
  Trap(action, [&](const RuntimeError& error) { number = error.Number(); });
  return number;
}

TEST(Object, MembersAreFoundByNameWithoutCase) {
  const ObjectPtr greeter = std::make_shared<Greeter>();
  EXPECT_EQ(CallMethod(greeter, "GREET", "Welt").ToText(), "Hallo Welt");
  LetProperty(greeter, "loud", true);
  EXPECT_TRUE(GetProperty(greeter, "Loud").ToBool());
  EXPECT_EQ(CallMethod(greeter, "greet", "Welt").ToText(), "HALLO Welt");
}

TEST(Object, ALackingMemberIsError438AndNamed) {
  const ObjectPtr greeter = std::make_shared<Greeter>();
  try {
    CallMethod(greeter, "Wink");
    FAIL();
  } catch (const RuntimeError& error) {
    EXPECT_TRUE(error.Is(ErrorNumber::kMemberNotFound));
    EXPECT_THAT(error.Description(), HasSubstr("Wink"));
  }
  EXPECT_EQ(ErrorNumberOf([&] { LetProperty(greeter, "Greet", 1); }), 438);
}

TEST(Object, AnObjectThatIsNotSetIsError91) {
  EXPECT_EQ(ErrorNumberOf([] { CallMethod(nullptr, "Greet"); }), 91);
  BoundMember member(nullptr, "Greet");
  EXPECT_EQ(ErrorNumberOf([&] { member.Call(); }), 91);
}

TEST(Object, ByReferenceArgumentsComeBack) {
  const ObjectPtr greeter = std::make_shared<Greeter>();
  Value flag(false), text("a"), any;
  CallMethod(greeter, "Swap", ByRef(flag), ByRef(text), ByRef(any));
  EXPECT_EQ(flag, Value(true));
  EXPECT_EQ(text, Value("a!"));
  EXPECT_EQ(any, Value(7));
}

TEST(Object, AnArgumentTakesOverWhatItIsMadeOf) {
  std::string text(100, 'x');
  const char* const characters = text.data();
  const Argument by_value(std::move(text));
  EXPECT_EQ(by_value.Get().TextOrEmpty().data(), characters) << "moved, not copied";
  Value variable("a");
  const Argument by_reference(ByRef(variable));
  EXPECT_EQ(&by_reference.Get(), &variable);
  EXPECT_TRUE(by_reference.IsReference());
}

TEST(Object, ByValueArgumentsStayAsTheyWere) {
  const ObjectPtr greeter = std::make_shared<Greeter>();
  Value flag(false);
  Value any;
  CallMethod(greeter, "Swap", flag, "a", any);
  EXPECT_EQ(flag, Value(false));
  EXPECT_TRUE(any.IsUnset());
}

TEST(Object, OptionalArgumentsMayBeLeftOutOrMissing) {
  const ObjectPtr greeter = std::make_shared<Greeter>();
  EXPECT_EQ(CallMethod(greeter, "Optional", 1).ToText(), "1--1");
  EXPECT_EQ(CallMethod(greeter, "Optional", 1, kMissing, 3).ToText(), "1-3");
  EXPECT_EQ(CallMethod(greeter, "Optional", 1, "x", 3).ToText(), "1x3");
}

TEST(Object, WrongArgumentsHaveTheirNumbers) {
  const ObjectPtr greeter = std::make_shared<Greeter>();
  EXPECT_EQ(ErrorNumberOf([&] { CallMethod(greeter, "Greet"); }), 449);
  EXPECT_EQ(ErrorNumberOf([&] { CallMethod(greeter, "Greet", kMissing); }), 449);
  EXPECT_EQ(ErrorNumberOf([&] { CallMethod(greeter, "Greet", "a", "b"); }), 450);
  EXPECT_EQ(ErrorNumberOf([&] { CallMethod(greeter, "Greet", kNull); }), 94);
  EXPECT_EQ(ErrorNumberOf([&] { CallMethod(greeter, "Short", 40000); }), 6);
  EXPECT_EQ(ErrorNumberOf([&] { CallMethod(greeter, "Short", "abc"); }), 13);
  EXPECT_EQ(ErrorNumberOf([&] { SetProperty(greeter, "Friend", nullptr); }), 91);
}

TEST(Object, WhatAForeignComponentThrowsBecomesError440) {
  const ObjectPtr greeter = std::make_shared<Greeter>();
  EXPECT_EQ(ErrorNumberOf([&] { CallMethod(greeter, "Fail"); }), 440);
}

TEST(Registry, CreatesByIdentifierWithoutCase) {
  ComponentRegistry registry;
  registry.Register("test.greeter", [] { return std::make_shared<Greeter>(); });
  EXPECT_NE(registry.CreateObject("Test.Greeter"), nullptr);
}

TEST(Registry, AnUnknownIdentifierIsError429WithItAndTheFoldersSearched) {
  ComponentRegistry registry;
  registry.AddFolder("/gibt/es/nicht");
  try {
    registry.CreateObject("gibt.esnicht");
    FAIL();
  } catch (const RuntimeError& error) {
    EXPECT_TRUE(error.Is(ErrorNumber::kCannotCreateObject));
    EXPECT_THAT(error.Description(), HasSubstr("gibt.esnicht"));
    EXPECT_THAT(error.Description(), HasSubstr("/gibt/es/nicht"));
  }
}

TEST(Registry, APlugInThatCannotBeLoadedNamesTheLibraryAndTheReason) {
  const testing::TempFolder folder;
  folder.Write("x.component", "[Components]\r\nx.y=libfehlt.so\r\n");
  ComponentRegistry registry;
  registry.AddFolder(folder.path());
  try {
    registry.CreateObject("x.y");
    FAIL();
  } catch (const RuntimeError& error) {
    EXPECT_TRUE(error.Is(ErrorNumber::kCannotCreateObject));
    EXPECT_THAT(error.Description(), HasSubstr("libfehlt.so"));
  }
}

TEST(Values, ConvertAsLateBoundValuesDo) {
  EXPECT_EQ(Value(2.5).ToInteger(), 2);
  EXPECT_EQ(Value(3.5).ToInteger(), 4);
  EXPECT_EQ(Value("1,5").ToDouble(), 1.5);
  EXPECT_TRUE(Value("Wahr").ToBool());
  EXPECT_FALSE(Value("0").ToBool());
  EXPECT_EQ(Value(1.5).ToText(), "1,5");
  EXPECT_EQ(Value(true).ToText(), "Wahr");
  EXPECT_EQ(Value().ToText(), "");
  EXPECT_EQ(ErrorNumberOf([] { Value(1e300).ToInteger(); }), 6);
  EXPECT_EQ(ErrorNumberOf([] { Value("x").ToObject(); }), 424);
}

}  // namespace
}  // namespace kestrel
