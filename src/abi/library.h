// What a kestrel_library stands for, and the one door through which every call comes in.
//
// Invariants
//  1. Every function of the interface that has a library works within Guarded: the handle is one that is open, the
//     thread is its own, and no exception leaves.
//  2. What a call hands out as text lives until the next call has ended, so that it may be an argument of that.
//  3. Jobs and objects go before the registry and the user interface that they use.
#pragma once

#include <cstdint>
#include <forward_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "abi/handles.h"
#include "abi/sources.h"
#include "abi/stop_request.h"
#include "abi/structs.h"
#include "abi/user_interface.h"
#include "kestrel/clock.h"
#include "kestrel/component_registry.h"
#include "kestrel/finding.h"
#include "kestrel/kestrel.h"

namespace kestrel::abi {

class CallFrame;

// A number for each process that came out of another one by fork, while a library was open there.
std::uint64_t ThisProcess() noexcept;

// The values that a call has handed out, each at a place of its own, as views into it are seen. Costs nothing while empty.
using HandedOut = std::forward_list<Value>;

class Library {
 public:
  // With a registry of its own, or, of a plug-in, with that of its host, which outlives it.
  Library(kestrel_library* handle, ComponentRegistry* of_host)
      : components(of_host == nullptr ? own_components_ : *of_host), handle_(handle) {}
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library() { handles.Clear(); }

  // One call, from its beginning to its end.
  class Call {
   public:
    explicit Call(Library& library)
        : library_(library), handed_out_before_(std::exchange(library.handed_out_, {})) {
      ++library_.depth_;
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call() { --library_.depth_; }

   private:
    Library& library_;
    HandedOut handed_out_before_;
  };

  kestrel_library* handle() const { return handle_; }
  // Nor of a process that was forked, which has the same thread: files and connections are its parent's.
  bool IsOfThisThread() const { return thread_ == std::this_thread::get_id() && process_ == ThisProcess(); }
  // Whether the call under way came out of a callback.
  bool IsNested() const { return depth_ > 1; }
  // A callback that calls itself by way of the library would end the process with its stack.
  void RequireDepth() const {
    if (depth_ > kDeepestCall)
      throw Misuse(KESTREL_BUSY, "Die Rückrufe sind zu tief ineinander verschachtelt.");
  }

  // Keeps the error for kestrel_last_error; the status that the call ends with.
  std::int32_t Note(const RuntimeError& error);
  kestrel_error LastError() const;
  // How many calls have failed; what a callback has to tell is newer than what was there before it.
  std::uint64_t failures() const { return failures_; }
  // Of the last call that failed. Raises it.
  [[noreturn]] void RaiseLastError() const;
  const Findings& refusal() const { return refusal_; }

  // A text or value that the caller sees until its next call.
  const Value& HandOut(Value value) { return handed_out_.emplace_front(std::move(value)); }
  kestrel_text HandOutText(std::string text) { return ToText(HandOut(Value(std::move(text))).TextOrEmpty()); }

  // The object behind a handle, and one of a class. Raise KESTREL_INVALID_HANDLE.
  ObjectPtr RequireObject(kestrel_handle handle) const;
  template <class Kind>
  std::shared_ptr<Kind> RequireKind(kestrel_handle handle, const char* what) const {
    auto object = std::dynamic_pointer_cast<Kind>(RequireObject(handle));
    if (object == nullptr)
      throw Misuse(KESTREL_INVALID_HANDLE,
                   std::string("Das Handle ist von anderer Art, erwartet wird: ") + what + ".");
    return object;
  }

  bool IsOfPlugIn() const { return &components != &own_components_; }
  // Of a plug-in: keeps this library for what may outlive the registry. Else null.
  std::shared_ptr<void> Lifetime() const { return lifetime_.lock(); }
  void SetLifetime(const std::shared_ptr<void>& lifetime) { lifetime_ = lifetime; }

  // --- What the functions work with ---
  CUserInterface ui{*this};
  ComponentRegistry& components;
  SystemClock clock;
  CSourceKinds source_kinds{*this};
  std::string home;
  std::string user;
  CallFrame* innermost_call = nullptr;  // of a component's member
  StopRequest stop;                     // of the run or undo under way
  Handles handles;

 private:
  static constexpr int kDeepestCall = 200;

  kestrel_library* const handle_;
  const std::thread::id thread_ = std::this_thread::get_id();
  const std::uint64_t process_ = ThisProcess();
  int depth_ = 0;
  HandedOut handed_out_;
  std::int32_t last_status_ = KESTREL_OK;
  std::optional<RuntimeError> last_error_;
  Findings refusal_;
  std::uint64_t failures_ = 0;
  ComponentRegistry own_components_;
  std::weak_ptr<void> lifetime_;
};

// A library of this thread for a plug-in of the registry.
kestrel_library* OpenForPlugIn(ComponentRegistry& registry);

// The open library of this handle, or null and the status to return. Any thread, any pointer.
Library* FindLibrary(const kestrel_library* handle, std::int32_t& status) noexcept;

template <class Step>
std::int32_t Guarded(const kestrel_library* handle, Step&& step) noexcept {
  std::int32_t status = KESTREL_OK;
  Library* const library = FindLibrary(handle, status);
  if (library == nullptr) return status;
  const Library::Call call(*library);
  Trap(
      [&] {
        library->RequireDepth();
        std::forward<Step>(step)(*library);
      },
      [&](const RuntimeError& error) { status = library->Note(error); });
  return status;
}

}  // namespace kestrel::abi
