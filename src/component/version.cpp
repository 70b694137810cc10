#include "kestrel/version.h"

#define KESTREL_TEXT(number) #number
#define KESTREL_DOTTED(major, minor, patch) KESTREL_TEXT(major) "." KESTREL_TEXT(minor) "." KESTREL_TEXT(patch)

namespace kestrel {

const char* Version() noexcept {
  return KESTREL_DOTTED(KESTREL_VERSION_MAJOR, KESTREL_VERSION_MINOR, KESTREL_VERSION_PATCH);
}

}  // namespace kestrel
