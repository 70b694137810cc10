#define _XOPEN_SOURCE 700
#include <ftw.h>
#include <stdlib.h>
#include <unistd.h>

#include "check.h"

int failures = 0;

#define TEST_NAME(name) void name(void);
#include "abi_tests.inc"
#undef TEST_NAME

static const struct {
  const char* name;
  void (*run)(void);
} kTests[] = {
#define TEST_NAME(name) {#name, name},
#include "abi_tests.inc"
};

static char folder[512];
static char paths[16][640];
static size_t path_count = 0;

const char* scratch_folder(void) {
  const char* place = getenv("TMPDIR");
  if (folder[0] != '\0') return folder;
  snprintf(folder, sizeof folder, "%s/kestrel-abi-XXXXXX", place == NULL ? "/tmp" : place);
  if (mkdtemp(folder) == NULL) abort();
  return folder;
}

const char* scratch_file(const char* name) {
  char* path = paths[path_count++];
  snprintf(path, sizeof paths[0], "%s/%s", scratch_folder(), name);
  return path;
}

void write_file(const char* path, const char* content) {
  FILE* file = fopen(path, "wb");
  if (file == NULL || fputs(content, file) < 0 || fclose(file) != 0) abort();
}

static int remove_entry(const char* path, const struct stat* status, int type, struct FTW* walk) {
  (void)status;
  (void)type;
  (void)walk;
  return remove(path);
}

void expect_status(const kestrel_library* library, int32_t status, int32_t expected, const char* call,
                   const char* file, int line) {
  kestrel_error error = {0};
  if (status == expected) return;
  ++failures;
  error.size = sizeof error;
  fprintf(stderr, "%s:%d: %s\n  gives %d (%s) instead of %d", file, line, call, (int)status,
          kestrel_status_text(status), (int)expected);
  if (kestrel_last_error(library, &error) == KESTREL_OK)
    fprintf(stderr, "; the last error: %d, %.*s", (int)error.number, (int)error.description.length,
            error.description.length == 0 ? "" : error.description.data);
  fprintf(stderr, "\n");
}

static kestrel_error last_error(const kestrel_library* library) {
  kestrel_error error = {0};
  error.size = sizeof error;
  CHECK(kestrel_last_error(library, &error) == KESTREL_OK);
  return error;
}

int32_t last_number(const kestrel_library* library) { return last_error(library).number; }

int last_error_has(const kestrel_library* library, const char* words) {
  const kestrel_error error = last_error(library);
  char text[4096] = "";
  snprintf(text, sizeof text, "%.*s", (int)error.description.length, error.description.data);
  if (strstr(text, words) != NULL) return 1;
  fprintf(stderr, "the last error is: %s\n", text);
  return 0;
}

int text_is(kestrel_text text, const char* expected) {
  if (text.length == strlen(expected) && (text.length == 0 || memcmp(text.data, expected, text.length) == 0))
    return 1;
  fprintf(stderr, "the text is: %.*s\n", (int)text.length, text.data);
  return 0;
}

kestrel_text text_of(const char* text) {
  kestrel_text result;
  result.data = text;
  result.length = strlen(text);
  return result;
}

kestrel_value value_of(int32_t kind) {
  kestrel_value value = {0};
  value.size = sizeof value;
  value.kind = kind;
  return value;
}

kestrel_value integer_value(int64_t integer) {
  kestrel_value value = value_of(KESTREL_INTEGER);
  value.as.integer = integer;
  return value;
}

kestrel_value text_value(const char* text) {
  kestrel_value value = value_of(KESTREL_STRING);
  value.as.text = text_of(text);
  return value;
}

kestrel_value object_value(kestrel_handle object) {
  kestrel_value value = value_of(KESTREL_OBJECT);
  value.as.object = object;
  return value;
}

kestrel_library* open_library(void) {
  kestrel_library* library = NULL;
  CHECK(kestrel_library_open(NULL, &library) == KESTREL_OK);
  return library;
}

int main(int count, char** arguments) {
  size_t run = 0;
  size_t i;
  for (i = 0; i < sizeof kTests / sizeof kTests[0]; ++i) {
    if (count > 1 && strcmp(arguments[1], kTests[i].name) != 0) continue;
    ++run;
    path_count = 0;
    folder[0] = '\0';
    kTests[i].run();
    if (folder[0] != '\0') nftw(folder, remove_entry, 16, FTW_DEPTH | FTW_PHYS);
    if (failures > 0) {
      fprintf(stderr, "%s failed\n", kTests[i].name);
      return 1;
    }
  }
  return run > 0 ? 0 : 2;
}
