#define _POSIX_C_SOURCE 200809L
#include <stdlib.h>

#include "check.h"

// A library that finds the plug-in: one of this interface, or of the next.
static kestrel_library* open_with_plugin(const char* file) {
  char announcement[1024];
  snprintf(announcement, sizeof announcement, "[Components]\r\nplugin.greeter=%s\r\n", file);
  write_file(scratch_file("greeter.component"), announcement);
  setenv("KESTREL_COMPONENTS", scratch_folder(), 1);
  return open_library();
}

TEST(APlugInInCServesItsComponent) {
  kestrel_library* library = open_with_plugin(PLUGIN_FILE);
  kestrel_handle greeter = 0;
  kestrel_value greeting = value_of(KESTREL_UNSET);
  OK(library, kestrel_object_create(library, text_of("Plugin.Greeter"), &greeter));
  OK(library, kestrel_object_call(library, greeter, text_of("Greet"), KESTREL_METHOD, NULL, 0, &greeting));
  CHECK(text_is(greeting.as.text, "Grüß Gott"));
  OK(library, kestrel_library_close(library));
}

TEST(APlugInOfALaterInterfaceIsRefusedWithTheReason) {
  kestrel_library* library = open_with_plugin(LATER_PLUGIN_FILE);
  kestrel_handle greeter = 0;
  int attempt;
  for (attempt = 0; attempt < 2; ++attempt) {
    STATUS(library, kestrel_object_create(library, text_of("plugin.greeter"), &greeter), KESTREL_FAILED);
    CHECK(last_number(library) == 429 && last_error_has(library, "Schnittstelle"));
    CHECK(last_error_has(library, "neuere Bibliothek"));
  }
  CHECK(kestrel_plugin_open(NULL, KESTREL_ABI_VERSION, &library) == KESTREL_INVALID_ARGUMENT);
  OK(library, kestrel_library_close(library));
}
