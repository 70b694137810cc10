// Plug-ins written against the C interface.
#include <string>

#include "abi/library.h"

using kestrel::ComponentRegistry;
using kestrel::Trap;

int32_t kestrel_plugin_open(void* registry, uint32_t abi_version, kestrel_library** library) {
  if (registry == nullptr || library == nullptr) return KESTREL_INVALID_ARGUMENT;
  auto& of_host = *static_cast<ComponentRegistry*>(registry);
  int32_t status = KESTREL_OK;
  Trap(
      [&] {
        if (abi_version == 0 || abi_version > KESTREL_ABI_VERSION) {
          status = KESTREL_INCOMPATIBLE;
          of_host.Refuse("Das Plug-in wurde für die Schnittstelle " + std::to_string(abi_version) +
                         " übersetzt; diese Bibliothek hat die Schnittstelle " +
                         std::to_string(KESTREL_ABI_VERSION) + ". Installieren Sie eine neuere Bibliothek.");
          return;
        }
        *library = kestrel::abi::OpenForPlugIn(of_host);
      },
      [&](const kestrel::RuntimeError&) { status = KESTREL_FAILED; });
  return status;
}
