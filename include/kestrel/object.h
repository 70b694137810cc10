// Objects that are driven by member name: import classes, log, settings and key components.
//
// A caller resolves a name once to a MemberId and then invokes it; both steps are virtual, so that an
// object may be written in any way (see bound_object.h for the usual one). Objects are shared (ObjectPtr) and
// called by the thread of the import only.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "kestrel/export.h"
#include "kestrel/value.h"

namespace kestrel {

// What an object knows one of its members by; means nothing to another object.
using MemberId = int;

// How a member is used. A name may serve several kinds (a property with get and let).
enum class CallKind {
  kMethod,  // call with arguments; also reads a property, as late binding does not tell them apart
  kGet,     // read a property
  kLet,     // assign a value to a property; one argument
  kSet,     // assign an object to a property; one argument
};

// A caller's variable on its way into an argument; see ByRef.
struct VariableReference {
  Value& variable;  // the caller's; outlives the call
};

// One argument of a call: by value, or by reference, in which case what the object writes arrives in the
// caller's variable. The caller's variable must outlive the call; the object may keep neither.
class KESTREL_EXPORT Argument {
 public:
  // By value: of anything that a Value can be made of, in place.
  template <class Content, class = std::enable_if_t<std::is_constructible_v<Value, Content&&> &&
                                                    !std::is_same_v<std::remove_cvref_t<Content>, Argument>>>
  explicit Argument(Content&& content) : value_(std::forward<Content>(content)) {}
  // By reference.
  Argument(VariableReference reference) : reference_(&reference.variable) {}

  // Whether what the object writes reaches the caller.
  bool IsReference() const { return reference_ != nullptr; }
  // The value, or what the caller's variable holds now.
  const Value& Get() const { return reference_ != nullptr ? *reference_ : value_; }
  // Without effect for the caller where the argument was passed by value.
  void Set(Value value) { (reference_ != nullptr ? *reference_ : value_) = std::move(value); }

 private:
  Value value_;
  Value* reference_ = nullptr;
};

// Whatever answers to members by name. Written with BoundObject, in C, or in any other way.
class KESTREL_EXPORT Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;

  // The id of a member, names compared without case; none where the object lacks it. An id stays valid
  // for the life of the object.
  virtual std::optional<MemberId> FindMember(std::string_view name) const = 0;

  // Uses a member. Trailing optional arguments are left out; one in the middle is kMissing. Raises 438
  // where the member does not serve `kind`, 449 or 450 for wrong arguments, 13 for a wrong type, and
  // whatever the member itself raises.
  virtual Value Invoke(MemberId member, CallKind kind, std::span<Argument> arguments) = 0;

 protected:
  // Raises 438. For objects without members of their own (record sets, connections).
  static Value LacksMember();
};

// --- Calling ------------------------------------------------------------------------------------
// Each raises 91 where the object is not set and 438 (naming the member) where the object lacks it.

namespace detail {
// Whether both name the same member: ASCII letters are compared without case.
KESTREL_EXPORT bool IsSameMember(std::string_view a, std::string_view b);
KESTREL_EXPORT MemberId ResolveMember(Object* object, std::string_view name);
KESTREL_EXPORT Value InvokeMember(Object* object, std::string_view name, MemberId member, CallKind kind,
                                  std::span<Argument> arguments);
}  // namespace detail

// Has a call pass the variable by reference: CallMethod(log, "SetField", 10, 0, ByRef(text)).
inline VariableReference ByRef(Value& variable) { return {variable}; }

// Calls a method. The arguments are anything that a Value can be made of, or ByRef. Raises what the member does, 449 or
// 450 for wrong arguments.
template <class... Arguments>
Value CallMethod(const ObjectPtr& object, std::string_view name, Arguments&&... arguments) {
  const MemberId member = detail::ResolveMember(object.get(), name);
  std::array<Argument, sizeof...(Arguments)> list{Argument(std::forward<Arguments>(arguments))...};
  return detail::InvokeMember(object.get(), name, member, CallKind::kMethod, list);
}

// Reads a property.
KESTREL_EXPORT Value GetProperty(const ObjectPtr& object, std::string_view name);
// Assigns a value to a property.
KESTREL_EXPORT void LetProperty(const ObjectPtr& object, std::string_view name, Value value);
// Assigns an object, or none, to a property.
KESTREL_EXPORT void SetProperty(const ObjectPtr& object, std::string_view name, ObjectPtr value);

// A member of one object, its name resolved at the first use and kept: for members called per record.
class KESTREL_EXPORT BoundMember {
 public:
  BoundMember() = default;
  // Keeps the object alive. Nothing is resolved yet, so nothing is raised here.
  BoundMember(ObjectPtr object, std::string name) : object_(std::move(object)), name_(std::move(name)) {}

  // As CallMethod.
  template <class... Arguments>
  Value Call(Arguments&&... arguments) {
    std::array<Argument, sizeof...(Arguments)> list{Argument(std::forward<Arguments>(arguments))...};
    return Invoke(CallKind::kMethod, list);
  }
  // As GetProperty.
  Value Get() { return Invoke(CallKind::kGet, {}); }

 private:
  Value Invoke(CallKind kind, std::span<Argument> arguments);

  ObjectPtr object_;
  std::string name_;
  std::optional<MemberId> member_;
};

}  // namespace kestrel
