// Objects by name: created, called and given back.
#include <string>
#include <vector>

#include "abi/library.h"
#include "abi/values.h"
#include "kestrel/object.h"

namespace kestrel::abi {

namespace {

CallKind KindOf(std::int32_t use) {
  switch (use) {
    case KESTREL_METHOD: return CallKind::kMethod;
    case KESTREL_GET: return CallKind::kGet;
    case KESTREL_LET: return CallKind::kLet;
    case KESTREL_SET: return CallKind::kSet;
    default: RaiseArgument("Eine Verwendung " + std::to_string(use) + " gibt es nicht.");
  }
}

// Arguments in C: the caller's variables, each by reference.
class Variables {
 public:
  Variables(const Library& library, const kestrel_value* values, std::size_t count) {
    RequireCount(values, count, "arguments");
    values_.reserve(count);  // arguments refer to them
    for (std::size_t i = 0; i < count; ++i) values_.push_back(ToValue(library, &values[i], "arguments"));
    before_ = values_;
    for (Value& value : values_) arguments_.emplace_back(ByRef(value));
  }

  std::span<Argument> arguments() { return arguments_; }

  // What the member has left in them, where it changed something.
  void WriteBack(Library& library, kestrel_value* targets) {
    for (std::size_t i = 0; i < values_.size(); ++i) {
      if (values_[i] != before_[i]) HandOutValue(library, std::move(values_[i]), &targets[i], "arguments");
    }
  }

 private:
  std::vector<Value> values_;
  std::vector<Value> before_;
  std::vector<Argument> arguments_;
};

}  // namespace

}  // namespace kestrel::abi

using namespace kestrel::abi;

int32_t kestrel_object_create(kestrel_library* library, kestrel_text identifier, kestrel_handle* object) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(object, "object");
    target = open.handles.Add(open.components.CreateObject(ToView(identifier, "identifier")));
  });
}

int32_t kestrel_object_call(kestrel_library* library, kestrel_handle object, kestrel_text member, int32_t use,
                            kestrel_value* arguments, size_t argument_count, kestrel_value* result) {
  return Guarded(library, [&](Library& open) {
    if (result != nullptr) RequireTarget(result, "result");
    const kestrel::CallKind kind = KindOf(use);
    const std::string_view name = ToView(member, "member");
    const kestrel::ObjectPtr target = open.RequireObject(object);
    Variables variables(open, arguments, argument_count);
    kestrel::Value value = kestrel::detail::InvokeMember(
        target.get(), name, kestrel::detail::ResolveMember(target.get(), name), kind, variables.arguments());
    variables.WriteBack(open, arguments);
    if (result != nullptr) HandOutValue(open, std::move(value), result, "result");
  });
}

int32_t kestrel_object_has(kestrel_library* library, kestrel_handle object, kestrel_text member, int32_t* has) {
  return Guarded(library, [&](Library& open) {
    Require(has, "has") = open.RequireObject(object)->FindMember(ToView(member, "member")) ? 1 : 0;
  });
}

int32_t kestrel_retain(kestrel_library* library, kestrel_handle object, kestrel_handle* retained) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(retained, "retained");
    target = open.handles.Add(open.RequireObject(object));
  });
}

int32_t kestrel_release(kestrel_library* library, kestrel_handle object) {
  return Guarded(library, [&](Library& open) {
    if (object == 0) return;
    if (!open.handles.Remove(object)) open.RequireObject(object);
  });
}
