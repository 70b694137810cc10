#include "abi/c_object.h"

#include <utility>

#include "abi/callbacks.h"
#include "abi/values.h"

namespace kestrel::abi {

namespace {

constexpr std::int32_t kAllUses = KESTREL_METHOD | KESTREL_GET | KESTREL_LET | KESTREL_SET;

std::int32_t UseOf(CallKind kind) {
  switch (kind) {
    case CallKind::kMethod: return KESTREL_METHOD;
    case CallKind::kGet: return KESTREL_GET;
    case CallKind::kLet: return KESTREL_LET;
    case CallKind::kSet: return KESTREL_SET;
  }
  return 0;
}

RuntimeError Unusable(const std::string& identifier, const std::string& why) {
  return RuntimeError(ErrorNumber::kInvalidProcedureCall, "Die Komponente '" + identifier + "' " + why);
}

}  // namespace

CComponent::CComponent(const kestrel_component& component)
    : identifier_(ToString(component.identifier, "identifier")), table_(component) {
  if (identifier_.empty()) throw Unusable(identifier_, "hat keinen Namen.");
  if (component.members == nullptr || component.member_count == 0)
    throw Unusable(identifier_, "hat keine Elemente.");
  RequireCount(component.members, component.member_count, "members");
  // Rows of a later header may be longer; those of one table are alike.
  const std::size_t step = component.members->size;
  const char* row = reinterpret_cast<const char*>(component.members);
  for (std::size_t i = 0; i < component.member_count; ++i, row += step) {
    const kestrel_member member = Read(reinterpret_cast<const kestrel_member*>(row), "members");
    if (member.size != step) throw Misuse(KESTREL_WRONG_SIZE, "Die Zeilen von 'members' sind ungleich lang.");
    std::string name = ToString(member.name, "name");
    if (name.empty() || member.function == nullptr || member.uses == 0 || (member.uses & ~kAllUses) != 0)
      throw Unusable(identifier_, "hat ein Element ohne Namen, Art oder Funktion: '" + name + "'.");
    const std::optional<MemberId> known = FindMember(name);
    if (!known) members_.emplace_back();
    // As late binding does not tell a method without arguments from a property that is read.
    std::int32_t uses = member.uses;
    if ((uses & (KESTREL_METHOD | KESTREL_GET)) != 0) uses |= KESTREL_METHOD | KESTREL_GET;
    members_[known ? static_cast<std::size_t>(*known) : members_.size() - 1].push_back(
        {std::move(name), uses, member.function});
  }
}

std::optional<MemberId> CComponent::FindMember(std::string_view name) const {
  for (std::size_t i = 0; i < members_.size(); ++i) {
    if (detail::IsSameMember(members_[i].front().name, name)) return static_cast<MemberId>(i);
  }
  return std::nullopt;
}

kestrel_member_function CComponent::FunctionOf(MemberId member, std::int32_t use) const {
  for (const Member& of_name : members_.at(static_cast<std::size_t>(member))) {
    if ((of_name.uses & use) != 0) return of_name.function;
  }
  return nullptr;
}

void* CComponent::Create(Library& library) const {
  if (table_.create == nullptr) return table_.context;
  void* instance = nullptr;
  const std::uint64_t failures = library.failures();
  const std::int32_t status = table_.create(table_.context, library.handle(), &instance);
  if (status != KESTREL_OK) RaiseCallbackFailure(library, status, failures);
  return instance;
}

void CComponent::Destroy(void* instance) const {
  if (table_.destroy != nullptr) table_.destroy(instance);
}

Value CObject::Invoke(MemberId member, CallKind kind, std::span<Argument> arguments) {
  const std::int32_t use = UseOf(kind);
  const kestrel_member_function function = component_->FunctionOf(member, use);
  if (function == nullptr) return LacksMember();
  return CallFrame(library_, arguments).Invoke(function, instance_, use);
}

CallFrame::CallFrame(Library& library, std::span<Argument> arguments)
    : library_(library), outer_(std::exchange(library.innermost_call, this)), arguments_(arguments) {
  views_.reserve(arguments.size());
  for (const Argument& argument : arguments) views_.push_back(ViewOf(library_, argument.Get()));
}

CallFrame::~CallFrame() {
  library_.innermost_call = outer_;
  for (const kestrel_value& view : views_) {
    if (view.kind == KESTREL_OBJECT) library_.handles.Remove(view.as.object);
  }
}

void CallFrame::Write(std::size_t argument, Value value) {
  if (argument >= arguments_.size())
    RaiseArgument("Ein Argument " + std::to_string(argument) + " hat der Aufruf nicht.");
  written_.emplace_back(argument, std::move(value));
}

Value CallFrame::Invoke(kestrel_member_function function, void* instance, std::int32_t use) {
  kestrel_call call{};
  call.size = sizeof call;
  call.library = library_.handle();
  call.use = use;
  call.argument_count = views_.size();
  call.arguments = views_.data();
  const std::uint64_t failures = library_.failures();
  const std::int32_t status = function(instance, &call);
  if (status != KESTREL_OK) {
    if (raised_) throw RuntimeError(*raised_);
    RaiseCallbackFailure(library_, status, failures);
  }
  for (auto& [argument, value] : written_) arguments_[argument].Set(std::move(value));
  return std::move(result_);
}

namespace {

CallFrame& RequireFrame(const Library& library) {
  if (library.innermost_call == nullptr)
    throw RuntimeError(ErrorNumber::kInvalidProcedureCall, "Es läuft kein Aufruf eines Elements.");
  return *library.innermost_call;
}

}  // namespace

}  // namespace kestrel::abi

using namespace kestrel::abi;

int32_t kestrel_component_register(kestrel_library* library, const kestrel_component* component) {
  return Guarded(library, [&](Library& open) {
    const auto made = std::make_shared<const CComponent>(Read(component, "component"));
    open.components.Register(made->identifier(),
                             [&open, made] { return std::make_shared<CObject>(open, made); });
  });
}

int32_t kestrel_call_return(kestrel_library* library, const kestrel_value* result) {
  return Guarded(library, [&](Library& open) { RequireFrame(open).Return(ToValue(open, result, "result")); });
}

int32_t kestrel_call_write(kestrel_library* library, size_t argument, const kestrel_value* value) {
  return Guarded(library,
                 [&](Library& open) { RequireFrame(open).Write(argument, ToValue(open, value, "value")); });
}

int32_t kestrel_call_raise(kestrel_library* library, int32_t number, kestrel_text description) {
  return Guarded(
      library, [&](Library& open) { RequireFrame(open).Raise(number, ToString(description, "description")); });
}
