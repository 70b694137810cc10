// Structs, texts and pointers that come from a caller in C, which are believed only after a look.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "kestrel/kestrel.h"
#include "kestrel/runtime_error.h"

namespace kestrel::abi {

// A call that does not keep to the interface. Not an error of what was asked for, so it has no number of its own.
class Misuse final : public RuntimeError {
 public:
  Misuse(std::int32_t status, std::string description)
      : RuntimeError(ErrorNumber::kInvalidProcedureCall, std::move(description)), status_(status) {}

  std::int32_t status() const { return status_; }

 private:
  std::int32_t status_;
};

[[noreturn]] inline void RaiseArgument(std::string description) {
  throw Misuse(KESTREL_INVALID_ARGUMENT, std::move(description));
}

// Where something is to be read from or written to.
template <class Content>
Content& Require(Content* pointer, const char* name) {
  if (pointer == nullptr) RaiseArgument(std::string("'") + name + "' ist NULL.");
  return *pointer;
}

// No struct of any version is longer: what claims to be is not a size.
inline constexpr std::size_t kGreatestStruct = 4096;

// The size that a struct had when it came into the interface: up to its first member that a later version has added.
template <class Struct>
inline constexpr std::size_t kFirstSize = sizeof(Struct);
template <>
inline constexpr std::size_t kFirstSize<kestrel_run_result> = offsetof(kestrel_run_result, run_number);

// The size that the caller's header gave the struct, which may be that of an earlier or a later version.
template <class Struct>
std::size_t RequireSize(const Struct* given, const char* name) {
  const std::size_t size = Require(given, name).size;
  if (size < kFirstSize<Struct> || size > kGreatestStruct) {
    throw Misuse(KESTREL_WRONG_SIZE, std::string("'") + name + "' hat die Größe " + std::to_string(size) +
                                         " statt " + std::to_string(sizeof(Struct)) +
                                         ". Setzen Sie 'size' auf sizeof.");
  }
  return size;
}

// A struct that is read; members that an earlier header lacks are 0. Raises KESTREL_WRONG_SIZE where a later header
// sets what this library does not know.
template <class Struct>
Struct Read(const Struct* given, const char* name) {
  const std::size_t size = RequireSize(given, name);
  const char* const bytes = reinterpret_cast<const char*>(given);
  for (std::size_t i = sizeof(Struct); i < size; ++i) {
    if (bytes[i] != 0) {
      throw Misuse(KESTREL_WRONG_SIZE,
                   std::string("'") + name + "' hat Angaben, die diese Version nicht kennt.");
    }
  }
  Struct known{};
  std::memcpy(&known, given, std::min(size, sizeof(Struct)));
  return known;
}

// A struct that is filled, as far as the caller's header has it; its size stays the caller's.
template <class Struct>
void Fill(Struct* target, Struct content, const char* name) {
  const std::size_t size = RequireSize(target, name);
  content.size = size;
  std::memcpy(target, &content, std::min(size, sizeof(Struct)));
  if (size > sizeof(Struct))
    std::memset(reinterpret_cast<char*>(target) + sizeof(Struct), 0, size - sizeof(Struct));
}

// An array of so many elements. Raises KESTREL_INVALID_ARGUMENT for a number that no memory holds, as -1 is.
template <class Element>
void RequireCount(const Element* elements, std::size_t count, const char* name) {
  if (count == 0) return;
  Require(elements, name);
  if (count > PTRDIFF_MAX / sizeof(Element))
    RaiseArgument(std::string("'") + name + "' kann nicht so viele Elemente haben.");
}

// The text as it lies with the caller. Raises KESTREL_INVALID_ARGUMENT for one that is none.
std::string_view ToView(const kestrel_text& text, const char* name);
inline std::string ToString(const kestrel_text& text, const char* name) {
  return std::string(ToView(text, name));
}
inline kestrel_text ToText(std::string_view text) { return {text.data(), text.size()}; }

}  // namespace kestrel::abi
