// Objects whose members are functions in C.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "abi/library.h"
#include "kestrel/kestrel.h"
#include "kestrel/object.h"

namespace kestrel::abi {

// A copy of what was registered.
class CComponent {
 public:
  // Raises Misuse, and 5 for a table that no object could be made of.
  explicit CComponent(const kestrel_component& component);

  const std::string& identifier() const { return identifier_; }
  std::optional<MemberId> FindMember(std::string_view name) const;
  // Null where the member does not serve that use.
  kestrel_member_function FunctionOf(MemberId member, std::int32_t use) const;

  // Of a new object. Raises what `create` failed with.
  void* Create(Library& library) const;
  void Destroy(void* instance) const;

 private:
  struct Member {
    std::string name;
    std::int32_t uses;
    kestrel_member_function function;
  };
  // Those of one name, in the order of the table.
  std::vector<std::vector<Member>> members_;
  std::string identifier_;
  kestrel_component table_;  // for context, create and destroy
};

// A call of a member's function while it is under way.
class CallFrame {
 public:
  CallFrame(Library& library, std::span<Argument> arguments);
  CallFrame(const CallFrame&) = delete;
  CallFrame& operator=(const CallFrame&) = delete;
  ~CallFrame();

  // Calls it and returns its result. Raises what it failed with.
  Value Invoke(kestrel_member_function function, void* instance, std::int32_t use);

  // --- What the function tells meanwhile ---
  void Return(Value result) { result_ = std::move(result); }
  // Raises KESTREL_INVALID_ARGUMENT for an argument that there is not.
  void Write(std::size_t argument, Value value);
  void Raise(int number, std::string description) { raised_.emplace(number, std::move(description)); }

 private:
  Library& library_;
  CallFrame* const outer_;
  std::span<Argument> arguments_;
  std::vector<kestrel_value> views_;
  // By reference, where the function has written; the views of the others must stay as they are until it
  // returns.
  std::vector<std::pair<std::size_t, Value>> written_;
  Value result_;
  std::optional<RuntimeError> raised_;
};

class CObject final : public Object {
 public:
  // A program's library outlives the object, as it outlives all that is made with it.
  CObject(Library& library, std::shared_ptr<const CComponent> component)
      : library_(library),
        lifetime_(library.Lifetime()),
        component_(std::move(component)),
        instance_(component_->Create(library_)) {}
  ~CObject() override { component_->Destroy(instance_); }

  std::optional<MemberId> FindMember(std::string_view name) const override {
    return component_->FindMember(name);
  }
  Value Invoke(MemberId member, CallKind kind, std::span<Argument> arguments) override;

 private:
  Library& library_;
  const std::shared_ptr<void> lifetime_;  // of a plug-in's library
  std::shared_ptr<const CComponent> component_;
  void* const instance_;
};

}  // namespace kestrel::abi
