// kestrel_value and the component's own Value, each made of the other.
#pragma once

#include "abi/library.h"
#include "kestrel/kestrel.h"
#include "kestrel/value.h"

namespace kestrel::abi {

// A value that came in, copied. Raises KESTREL_WRONG_SIZE, KESTREL_INVALID_ARGUMENT for a kind that there is
// not, a text that is none or a day that does not exist, KESTREL_INVALID_HANDLE for a handle that stands for
// nothing.
Value ToValue(const Library& library, const kestrel_value* value, const char* name);

// How a value looks outside while it lives; its object has a new handle, which belongs to whoever sees it.
kestrel_value ViewOf(Library& library, const Value& value);
// Hands a value out. Raises KESTREL_WRONG_SIZE and KESTREL_INVALID_ARGUMENT for the target.
void HandOutValue(Library& library, Value value, kestrel_value* target, const char* name);
// Whether a value can be handed out there, told before anything happens. Raises as HandOutValue.
void RequireTarget(const kestrel_value* target, const char* name);

}  // namespace kestrel::abi
