// Components written as ordinary C++ classes: a table binds member functions to names.
//
//   class Greeter final : public BoundObject<Greeter> {
//    public:
//     static void Bind(Members& members) {
//       members.Method("Greet", &Greeter::Greet);        // std::string Greet(const std::string& name)
//       members.Let("Loud", &Greeter::SetLoud);          // void SetLoud(bool loud)
//       members.Get("Loud", &Greeter::Loud);             // bool Loud() const
//     }
//     ...
//   };
//
// Parameter types and what they accept:
//   bool, std::int16_t, std::int32_t, std::int64_t, double, std::string, const std::string&,
//   std::string_view                converted as Value tells; errors 13, 6, 94
//   Value, const Value&             as it came
//   bool&, std::string&, Value&     by reference: what the function leaves there goes back to the caller
//   ObjectPtr                       an object or none; 424 otherwise
//   std::shared_ptr<T>              an object of that class; 13 for another, 91 for none
//   std::optional<T>                may be left out or missing
// Results: void, Value, or anything a Value can be made of. Texts are UTF-8. What a function raises passes
// on to the caller. An object has the threads of its class.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "kestrel/export.h"
#include "kestrel/object.h"

namespace kestrel {

namespace detail {

// Converts one argument for a parameter and, for a reference, writes back what the function left.
template <class Parameter>
class BoundParameter;

template <class Kind>
Kind FromValue(const Value& value) {
  if constexpr (std::is_same_v<Kind, bool>) {
    return value.ToBool();
  } else if constexpr (std::is_same_v<Kind, std::int16_t>) {
    return value.ToInt16();
  } else if constexpr (std::is_same_v<Kind, std::int64_t>) {
    return value.ToInteger();
  } else if constexpr (std::is_same_v<Kind, std::int32_t>) {
    const std::int64_t number = value.ToInteger();
    if (number < INT32_MIN || number > INT32_MAX) throw RuntimeError(ErrorNumber::kOverflow);
    return static_cast<std::int32_t>(number);
  } else if constexpr (std::is_same_v<Kind, double>) {
    return value.ToDouble();
  } else if constexpr (std::is_same_v<Kind, std::string>) {
    return value.ToText();
  } else if constexpr (std::is_same_v<Kind, ObjectPtr>) {
    return value.ToObject();
  } else {  // std::shared_ptr<T>
    const ObjectPtr object = value.ToObject();
    if (object == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
    auto typed = std::dynamic_pointer_cast<typename Kind::element_type>(object);
    if (typed == nullptr) throw RuntimeError(ErrorNumber::kTypeMismatch);
    return typed;
  }
}

template <class Parameter>
class BoundParameter {
  using Kind = std::remove_cvref_t<Parameter>;
  static constexpr bool kReference =
      std::is_lvalue_reference_v<Parameter> && !std::is_const_v<std::remove_reference_t<Parameter>>;

 public:
  explicit BoundParameter(Argument* argument) : argument_(argument), content_(Read(argument)) {}
  std::conditional_t<std::is_lvalue_reference_v<Parameter>, std::remove_reference_t<Parameter>&, Kind> Get() {
    if constexpr (std::is_lvalue_reference_v<Parameter>) {
      return content_;
    } else {
      return std::move(content_);
    }
  }
  void WriteBack() {
    if constexpr (kReference) argument_->Set(Value(std::move(content_)));
  }

 private:
  static Kind Read(Argument* argument) {
    if (argument == nullptr || argument->Get().IsMissing())
      throw RuntimeError(ErrorNumber::kArgumentNotOptional);
    return FromValue<Kind>(argument->Get());
  }
  Argument* argument_;
  Kind content_;
};

// Values pass through unconverted; a reference works on the caller's own variable.
template <class Parameter>
requires std::is_same_v<std::remove_cvref_t<Parameter>, Value>
class BoundParameter<Parameter> {
 public:
  explicit BoundParameter(Argument* argument) : argument_(argument) {
    if (argument == nullptr) throw RuntimeError(ErrorNumber::kArgumentNotOptional);
    if constexpr (kReference) content_ = argument->Get();
  }
  decltype(auto) Get() {
    if constexpr (kReference) {
      return (content_);
    } else {
      return (argument_->Get());
    }
  }
  void WriteBack() {
    if constexpr (kReference) argument_->Set(std::move(content_));
  }

 private:
  static constexpr bool kReference =
      std::is_lvalue_reference_v<Parameter> && !std::is_const_v<std::remove_reference_t<Parameter>>;
  Argument* argument_;
  Value content_;
};

// A view of a text argument, without a copy.
template <>
class BoundParameter<std::string_view> {
 public:
  explicit BoundParameter(Argument* argument) {
    if (argument == nullptr || argument->Get().IsMissing())
      throw RuntimeError(ErrorNumber::kArgumentNotOptional);
    if (argument->Get().IsText()) {
      view_ = argument->Get().TextOrEmpty();
    } else {
      converted_ = std::make_unique<const std::string>(argument->Get().ToText());
      view_ = *converted_;
    }
  }
  std::string_view Get() const { return view_; }
  void WriteBack() {}

 private:
  std::unique_ptr<const std::string> converted_;  // of what is no text, which is rare
  std::string_view view_;
};

template <class Kind>
class BoundParameter<std::optional<Kind>> {
 public:
  explicit BoundParameter(Argument* argument) {
    if (argument == nullptr || argument->Get().IsMissing()) return;
    if constexpr (std::is_same_v<Kind, Value>) {
      content_ = argument->Get();
    } else {
      content_ = FromValue<Kind>(argument->Get());
    }
  }
  std::optional<Kind> Get() { return std::move(content_); }
  void WriteBack() {}

 private:
  std::optional<Kind> content_;
};

template <>
class BoundParameter<std::optional<std::string_view>> {
 public:
  explicit BoundParameter(Argument* argument) {
    if (argument != nullptr && !argument->Get().IsMissing()) content_.emplace(argument);
  }
  std::optional<std::string_view> Get() const {
    return content_ ? std::optional(content_->Get()) : std::nullopt;
  }
  void WriteBack() {}

 private:
  std::optional<BoundParameter<std::string_view>> content_;
};

}  // namespace detail

// `Component` is the class that derives from it; it has a static function Bind(Members&), called once a process.
template <class Component>
class KESTREL_EXPORT BoundObject : public Object {
 public:
  // The table of names. Names are compared without case; of two entries for the same use of a name the first counts.
  class Members {
   public:
    // A function, also reached where a caller reads it like a property.
    template <class Result, class... Parameters>
    void Method(std::string_view name, Result (Component::*function)(Parameters...)) {
      Add(name, function, {CallKind::kMethod, CallKind::kGet});
    }
    // The same for one that changes nothing.
    template <class Result, class... Parameters>
    void Method(std::string_view name, Result (Component::*function)(Parameters...) const) {
      Add(name, function, {CallKind::kMethod, CallKind::kGet});
    }
    // A property that is read.
    template <class Result>
    void Get(std::string_view name, Result (Component::*function)() const) {
      Add(name, function, {CallKind::kGet, CallKind::kMethod});
    }
    // A property that a value is assigned to.
    template <class Parameter>
    void Let(std::string_view name, void (Component::*function)(Parameter)) {
      Add<void, void (Component::*)(Parameter), Parameter>(name, function, {CallKind::kLet});
    }
    // A property that an object is assigned to.
    template <class Parameter>
    void Set(std::string_view name, void (Component::*function)(Parameter)) {
      Add<void, void (Component::*)(Parameter), Parameter>(name, function, {CallKind::kSet});
    }

   private:
    friend class BoundObject;
    using Thunk = std::function<Value(Component&, std::span<Argument>)>;
    static constexpr std::size_t kKinds = 4;
    struct Entry {
      std::string name;
      std::array<Thunk, kKinds> thunks;
    };

    template <class Result, class... Parameters>
    void Add(std::string_view name, Result (Component::*function)(Parameters...),
             std::initializer_list<CallKind> kinds) {
      Add<Result, decltype(function), Parameters...>(name, function, kinds);
    }
    template <class Result, class... Parameters>
    void Add(std::string_view name, Result (Component::*function)(Parameters...) const,
             std::initializer_list<CallKind> kinds) {
      Add<Result, decltype(function), Parameters...>(name, function, kinds);
    }
    template <class Result, class Function, class... Parameters>
    void Add(std::string_view name, Function function, std::initializer_list<CallKind> kinds) {
      const Thunk thunk = [function](Component& self, std::span<Argument> arguments) {
        return Call<Result, Function, Parameters...>(self, function, arguments,
                                                     std::index_sequence_for<Parameters...>());
      };
      Entry& entry = EntryFor(name);
      for (const CallKind kind : kinds) {
        Thunk& slot = entry.thunks[static_cast<std::size_t>(kind)];
        if (slot == nullptr) slot = thunk;
      }
    }
    template <class Result, class Function, class... Parameters, std::size_t... Index>
    static Value Call(Component& self, Function function, std::span<Argument> arguments,
                      std::index_sequence<Index...>) {
      if (arguments.size() > sizeof...(Parameters)) throw RuntimeError(ErrorNumber::kWrongNumberOfArguments);
      std::tuple<detail::BoundParameter<Parameters>...> parameters{
          detail::BoundParameter<Parameters>(Index < arguments.size() ? &arguments[Index] : nullptr)...};
      if constexpr (std::is_void_v<Result>) {
        (self.*function)(std::get<Index>(parameters).Get()...);
        (std::get<Index>(parameters).WriteBack(), ...);
        return Value();
      } else {
        Value result((self.*function)(std::get<Index>(parameters).Get()...));
        (std::get<Index>(parameters).WriteBack(), ...);
        return result;
      }
    }
    Entry& EntryFor(std::string_view name) {
      for (Entry& entry : entries_) {
        if (detail::IsSameMember(entry.name, name)) return entry;
      }
      entries_.push_back(Entry{std::string(name), {}});
      return entries_.back();
    }

    std::vector<Entry> entries_;
  };

  // By the table of names.
  std::optional<MemberId> FindMember(std::string_view name) const final {
    const auto& entries = Table().entries_;
    // Nearly every caller writes the name as its owner does, and that is much sooner compared.
    for (std::size_t i = 0; i < entries.size(); ++i) {
      if (entries[i].name == name) return static_cast<MemberId>(i);
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
      if (detail::IsSameMember(entries[i].name, name)) return static_cast<MemberId>(i);
    }
    return std::nullopt;
  }

  // By the table; 438 for a use of the member that has no entry.
  Value Invoke(MemberId member, CallKind kind, std::span<Argument> arguments) final {
    const auto& entries = Table().entries_;
    const auto index = static_cast<std::size_t>(member);
    if (index >= entries.size()) return LacksMember();
    const auto& thunk = entries[index].thunks[static_cast<std::size_t>(kind)];
    if (thunk == nullptr) return LacksMember();
    return thunk(static_cast<Component&>(*this), arguments);
  }

 private:
  // Built once; the table is constant afterwards.
  static const Members& Table() {
    static const Members table = [] {
      Members members;
      Component::Bind(members);
      return members;
    }();
    return table;
  }
};

}  // namespace kestrel
