// A value as it travels between the component and late-bound objects.
//
// Kinds: unset (never assigned), null (a database's "no value"), missing (an argument left out in the
// middle), truth value, whole number (64 bits), real number, text (UTF-8), object (possibly none). There
// is nothing here that a C interface could not carry. A value holds its text itself and shares its object.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include "kestrel/export.h"
#include "kestrel/runtime_error.h"

namespace kestrel {

class Object;
// Objects are shared; an empty pointer is an object variable that is not set.
using ObjectPtr = std::shared_ptr<Object>;

// A database's "no value", as a type of its own.
struct NullValue {
  friend bool operator==(NullValue, NullValue) = default;
};
// An argument left out in the middle, as a type of its own.
struct MissingValue {
  friend bool operator==(MissingValue, MissingValue) = default;
};
// Null.
inline constexpr NullValue kNull{};
// A missing argument.
inline constexpr MissingValue kMissing{};

// Made of what it is to hold, without a word; read by the conversions, or by whoever asks for its kind first.
class KESTREL_EXPORT Value {
 public:
  // Unset.
  Value() = default;
  // Null.
  Value(NullValue) : content_(kNull) {}
  // A missing argument.
  Value(MissingValue) : content_(kMissing) {}
  // A truth value.
  Value(bool truth) : content_(truth) {}
  // A whole number, of every type of them but char; one beyond 63 bits becomes another number.
  template <class Whole>
  requires(std::is_integral_v<Whole> && !std::is_same_v<Whole, bool> && !std::is_same_v<Whole, char>)
      Value(Whole number)
      : content_(static_cast<std::int64_t>(number)) {}
  // A real number.
  Value(double number) : content_(number) {}
  // A text in UTF-8, copied where it is not moved in; `text` is never null.
  Value(std::string text) : content_(std::move(text)) {}
  Value(std::string_view text) : content_(std::string(text)) {}
  Value(const char* text) : content_(std::string(text)) {}
  // An object, which may be none; shared.
  template <class Kind>
  requires std::is_convertible_v<std::shared_ptr<Kind>, ObjectPtr> Value(std::shared_ptr<Kind> object)
      : content_(ObjectPtr(std::move(object))) {}

  // Which kind it holds. Whole and real numbers are told apart by the conversions only.
  bool IsUnset() const { return std::holds_alternative<std::monostate>(content_); }
  bool IsNull() const { return std::holds_alternative<NullValue>(content_); }
  bool IsMissing() const { return std::holds_alternative<MissingValue>(content_); }
  bool IsBool() const { return std::holds_alternative<bool>(content_); }
  bool IsText() const { return std::holds_alternative<std::string>(content_); }
  bool IsObject() const { return std::holds_alternative<ObjectPtr>(content_); }

  // The text where IsText(), as a view that lives until the value is assigned or destroyed; empty for
  // every other kind. No conversion and no error: for the hot paths.
  std::string_view TextOrEmpty() const {
    const auto* text = std::get_if<std::string>(&content_);
    return text == nullptr ? std::string_view() : std::string_view(*text);
  }

  // Conversions. Null raises 94 and missing 449 everywhere; unset reads as "", 0 and false.
  // An object where none is expected raises 13.

  // Truth values read "Wahr" and "Falsch", real numbers have a decimal comma.
  std::string ToText() const;
  // Real numbers are rounded half to even; texts must be numbers (13); beyond 64 bits is 6.
  std::int64_t ToInteger() const;
  // ToInteger within 16 bits, else 6.
  std::int16_t ToInt16() const;
  // Texts must be numbers, with a decimal comma or point (13).
  double ToDouble() const;
  // Any number but 0 is true; the texts True, Wahr, False, Falsch (any case) and numbers are understood,
  // other texts raise 13.
  bool ToBool() const;
  // The object, which may be none (an unset value gives none). Anything else raises 424.
  ObjectPtr ToObject() const;

  // Makes this a text, reusing the memory it has. The hot paths' assignment.
  void AssignText(std::string_view text);

  // Same kind and same content; objects by identity.
  friend bool operator==(const Value&, const Value&) = default;

 private:
  std::variant<std::monostate, NullValue, MissingValue, bool, std::int64_t, double, std::string, ObjectPtr>
      content_;
};

}  // namespace kestrel
