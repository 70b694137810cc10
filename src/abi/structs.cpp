#include "abi/structs.h"

#include "platform/base/text.h"

namespace kestrel::abi {

std::string_view ToView(const kestrel_text& text, const char* name) {
  if (text.length == 0) return {};
  if (text.data == nullptr) RaiseArgument(std::string("'") + name + "' ist NULL und hat doch eine Länge.");
  RequireCount(text.data, text.length, name);
  const std::string_view view(text.data, text.length);
  if (!IsValidUtf8(view)) RaiseArgument(std::string("'") + name + "' ist kein UTF-8.");
  return view;
}

}  // namespace kestrel::abi
