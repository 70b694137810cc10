// The door through which the component registry comes in; see component_registry.h.
#include "components/register_components.h"

extern "C" __attribute__((visibility("default"))) void kestrel_register_components(
    kestrel::ComponentRegistry& registry) {
  kestrel::host::RegisterComponents(registry);
}
