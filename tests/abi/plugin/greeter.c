// A plug-in in C whose component greets; of the interface that the build says.
#include <stdlib.h>

#include "kestrel/kestrel.h"

static int32_t greet(void* instance, const kestrel_call* call) {
  kestrel_value result = {0};
  (void)instance;
  result.size = sizeof result;
  result.kind = KESTREL_STRING;
  result.as.text = KESTREL_TEXT("Grüß Gott");
  // A library of the plug-in's own is none that it may close.
  if (kestrel_library_close(call->library) != KESTREL_BUSY) return KESTREL_FAILED;
  return kestrel_call_return(call->library, &result);
}

KESTREL_EXPORT void kestrel_register_components(void* registry);
void kestrel_register_components(void* registry) {
  static const kestrel_member kMembers[] = {
      {sizeof(kestrel_member), KESTREL_TEXT_INIT("Greet"), KESTREL_METHOD, 0, greet}};
  kestrel_component component = {0};
  kestrel_library* library = NULL;
  if (kestrel_plugin_open(registry, PLUGIN_ABI_VERSION, &library) != KESTREL_OK) return;
  component.size = sizeof component;
  component.identifier = KESTREL_TEXT("plugin.greeter");
  component.members = kMembers;
  component.member_count = 1;
  if (kestrel_component_register(library, &component) != KESTREL_OK) abort();
}
