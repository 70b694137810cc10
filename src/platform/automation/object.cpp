#include "kestrel/object.h"

#include <exception>
#include <new>

#include "platform/base/text.h"

namespace kestrel {

namespace {

RuntimeError MemberNotFound(std::string_view name) {
  return RuntimeError(ErrorNumber::kMemberNotFound,
                      std::string(DescriptionOf(ErrorNumber::kMemberNotFound)) + ": " + std::string(name));
}

}  // namespace

Value Object::LacksMember() { throw RuntimeError(ErrorNumber::kMemberNotFound); }

namespace detail {

bool IsSameMember(std::string_view a, std::string_view b) { return EqualsIgnoringCase(a, b); }

MemberId ResolveMember(Object* object, std::string_view name) {
  if (object == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
  const std::optional<MemberId> member = object->FindMember(name);
  if (!member) throw MemberNotFound(name);
  return *member;
}

// Every call of a component passes here: what a foreign component throws becomes a RuntimeError.
Value InvokeMember(Object* object, std::string_view name, MemberId member, CallKind kind,
                   std::span<Argument> arguments) {
  try {
    return object->Invoke(member, kind, arguments);
  } catch (const RuntimeError& error) {
    if (error.Is(ErrorNumber::kMemberNotFound) &&
        error.Description() == DescriptionOf(ErrorNumber::kMemberNotFound)) {
      throw MemberNotFound(name);
    }
    throw;
  } catch (const std::bad_alloc&) {
    throw RuntimeError(ErrorNumber::kOutOfMemory);
  } catch (const std::exception& error) {
    throw RuntimeError(ErrorNumber::kAutomation,
                       std::string(DescriptionOf(ErrorNumber::kAutomation)) + ": " + error.what());
  }
}

}  // namespace detail

Value GetProperty(const ObjectPtr& object, std::string_view name) {
  return detail::InvokeMember(object.get(), name, detail::ResolveMember(object.get(), name), CallKind::kGet,
                              {});
}

void LetProperty(const ObjectPtr& object, std::string_view name, Value value) {
  Argument argument(std::move(value));
  detail::InvokeMember(object.get(), name, detail::ResolveMember(object.get(), name), CallKind::kLet,
                       std::span(&argument, 1));
}

void SetProperty(const ObjectPtr& object, std::string_view name, ObjectPtr value) {
  Argument argument{Value(std::move(value))};
  detail::InvokeMember(object.get(), name, detail::ResolveMember(object.get(), name), CallKind::kSet,
                       std::span(&argument, 1));
}

Value BoundMember::Invoke(CallKind kind, std::span<Argument> arguments) {
  if (!member_) member_ = detail::ResolveMember(object_.get(), name_);
  return detail::InvokeMember(object_.get(), name_, *member_, kind, arguments);
}

}  // namespace kestrel
