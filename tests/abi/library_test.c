#define _POSIX_C_SOURCE 200809L
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include "check.h"

TEST(TheVersionsAreThoseOfTheHeader) {
  CHECK(kestrel_abi_version() == KESTREL_ABI_VERSION);
  CHECK(strncmp(kestrel_version(), "2.", 2) == 0);
  CHECK(strcmp(kestrel_status_text(KESTREL_OK), kestrel_status_text(KESTREL_BUSY)) != 0);
  CHECK(strcmp(kestrel_status_text(-1), kestrel_status_text(99)) == 0);
}

TEST(ALaterInterfaceIsRefused) {
  kestrel_library* library = NULL;
  kestrel_library_options options = {0};
  options.size = sizeof options;
  options.abi_version = KESTREL_ABI_VERSION + 1;
  CHECK(kestrel_library_open(&options, &library) == KESTREL_INCOMPATIBLE);
  CHECK(library == NULL);
  options.abi_version = KESTREL_ABI_VERSION;
  CHECK(kestrel_library_open(&options, &library) == KESTREL_OK);
  OK(library, kestrel_library_close(library));
}

TEST(AnOpenLibraryHasNoErrorYet) {
  kestrel_library* library = open_library();
  kestrel_error error = {0};
  error.size = sizeof error;
  CHECK(kestrel_last_error(library, &error) == KESTREL_OK);
  CHECK(error.status == KESTREL_OK && error.number == 0 && error.description.length == 0);
  OK(library, kestrel_library_close(library));
}

TEST(AClosedOrForeignLibraryIsTold) {
  kestrel_library* library = open_library();
  kestrel_handle object = 0;
  int on_stack = 0;
  kestrel_error error = {0};
  error.size = sizeof error;
  OK(library, kestrel_library_close(library));
  CHECK(kestrel_library_close(library) == KESTREL_INVALID_HANDLE);
  CHECK(kestrel_library_close(NULL) == KESTREL_INVALID_HANDLE);
  CHECK(kestrel_object_create(library, text_of("x.y"), &object) == KESTREL_INVALID_HANDLE);
  CHECK(kestrel_object_create((kestrel_library*)&on_stack, text_of("x.y"), &object) == KESTREL_INVALID_HANDLE);
  CHECK(kestrel_last_error(library, &error) == KESTREL_INVALID_HANDLE);
  CHECK(kestrel_library_open(NULL, NULL) == KESTREL_INVALID_ARGUMENT);
}

TEST(AClosedLibraryIsNotTakenForALaterOne) {
  kestrel_library* closed = open_library();
  kestrel_library* later = NULL;
  OK(closed, kestrel_library_close(closed));
  later = open_library();
  CHECK(kestrel_option_set(closed, text_of("user"), text_of("1")) == KESTREL_INVALID_HANDLE);
  OK(later, kestrel_library_close(later));
}

TEST(LengthsAndNumbersThatCannotBeAreTold) {
  kestrel_library* library = open_library();
  kestrel_handle object = 0;
  kestrel_text no_length = {"abc", (size_t)-1};
  kestrel_column column = {0};
  kestrel_value value = value_of(KESTREL_BYTES);
  kestrel_value result = value_of(KESTREL_UNSET);
  value.as.text = no_length;
  column.size = sizeof column;
  column.name = text_of("A");
  column.kind = KESTREL_STRING;
  STATUS(library, kestrel_option_set(library, text_of("user"), no_length), KESTREL_INVALID_ARGUMENT);
  CHECK(last_error_has(library, "nicht so viele"));
  STATUS(library, kestrel_value_convert(library, &value, KESTREL_STRING, &result), KESTREL_INVALID_ARGUMENT);
  STATUS(library, kestrel_recordset_create(library, &column, (size_t)-1, &object), KESTREL_INVALID_ARGUMENT);
  CHECK(last_error_has(library, "nicht so viele"));
  OK(library, kestrel_object_create(library, text_of("kestrelhost.Setup"), &object));
  STATUS(library,
         kestrel_object_call(library, object, text_of("WhyReadOnly"), KESTREL_METHOD, &value, (size_t)-1, NULL),
         KESTREL_INVALID_ARGUMENT);
  OK(library, kestrel_library_close(library));
}

// Files and connections are those of the process that opened them.
TEST(AForkedProcessDoesNotTouchItsParentsLibrary) {
  kestrel_library* library = open_library();
  int ended = -1;
  const pid_t child = fork();
  if (child == 0) {
    kestrel_library* own = NULL;
    int failed = kestrel_option_set(library, text_of("user"), text_of("1")) != KESTREL_WRONG_THREAD;
    failed |= kestrel_library_close(library) != KESTREL_WRONG_THREAD;
    failed |= kestrel_library_open(NULL, &own) != KESTREL_OK || kestrel_library_close(own) != KESTREL_OK;
    _exit(failed);
  }
  CHECK(child > 0 && waitpid(child, &ended, 0) == child && ended == 0);
  OK(library, kestrel_option_set(library, text_of("user"), text_of("1")));
  OK(library, kestrel_library_close(library));
}

static void* use_elsewhere(void* library) {
  static int32_t status;
  kestrel_error error = {0};
  error.size = sizeof error;
  status = kestrel_option_set(library, text_of("user"), text_of("4711"));
  if (kestrel_last_error(library, &error) != KESTREL_WRONG_THREAD) status = -1;
  if (kestrel_library_close(library) != KESTREL_WRONG_THREAD) status = -2;
  return &status;
}

TEST(AnotherThreadIsRefused) {
  kestrel_library* library = open_library();
  pthread_t thread;
  void* status = NULL;
  kestrel_text user;
  CHECK(pthread_create(&thread, NULL, use_elsewhere, library) == 0);
  CHECK(pthread_join(thread, &status) == 0);
  CHECK(*(int32_t*)status == KESTREL_WRONG_THREAD);
  OK(library, kestrel_option_get(library, text_of("user"), &user));
  CHECK(text_is(user, ""));
  OK(library, kestrel_library_close(library));
}

TEST(AStructOfAnotherSizeIsRefused) {
  kestrel_library* library = open_library();
  struct {
    kestrel_library_options options;
    int64_t later_member;
  } longer = {{0}, 0};
  struct {
    kestrel_error error;
    char later_member[16];
  } longer_error = {{0}, "untouched"};
  kestrel_library* made = NULL;
  kestrel_error error = {0};
  kestrel_value value = value_of(KESTREL_NULL);
  kestrel_value converted = value_of(KESTREL_UNSET);

  CHECK(kestrel_last_error(library, &error) == KESTREL_WRONG_SIZE);
  error.size = (size_t)1 << 40;
  CHECK(kestrel_last_error(library, &error) == KESTREL_WRONG_SIZE);
  CHECK(kestrel_last_error(library, NULL) == KESTREL_INVALID_ARGUMENT);
  value.size = 8;
  STATUS(library, kestrel_value_convert(library, &value, KESTREL_STRING, &converted), KESTREL_WRONG_SIZE);
  CHECK(last_error_has(library, "size"));

  // A longer one, of a later header: what this version does not know has to be 0.
  longer.options.size = sizeof longer;
  longer.options.abi_version = KESTREL_ABI_VERSION;
  CHECK(kestrel_library_open(&longer.options, &made) == KESTREL_OK);
  OK(made, kestrel_library_close(made));
  longer.later_member = 1;
  CHECK(kestrel_library_open(&longer.options, &made) == KESTREL_WRONG_SIZE);
  longer_error.error.size = sizeof longer_error;
  CHECK(kestrel_last_error(library, &longer_error.error) == KESTREL_OK);
  CHECK(longer_error.error.size == sizeof longer_error && longer_error.later_member[0] == '\0');
  OK(library, kestrel_library_close(library));
}

TEST(OptionsAreKeptAndUnknownOnesRefused) {
  kestrel_library* library = open_library();
  kestrel_text value;
  OK(library, kestrel_option_set(library, text_of("home"), text_of("/some/where")));
  OK(library, kestrel_option_get(library, text_of("home"), &value));
  CHECK(text_is(value, "/some/where"));
  STATUS(library, kestrel_option_set(library, text_of("home "), text_of("x")), KESTREL_INVALID_ARGUMENT);
  STATUS(library, kestrel_option_set(library, text_of("home"), text_of("\xff")), KESTREL_INVALID_ARGUMENT);
  CHECK(last_error_has(library, "UTF-8"));
  STATUS(library, kestrel_option_get(library, text_of("home"), NULL), KESTREL_INVALID_ARGUMENT);
  OK(library, kestrel_library_close(library));
}

TEST(AnErrorIsRaisedByTheProgram) {
  kestrel_library* library = open_library();
  CHECK(kestrel_raise(library, 4711, text_of("Der Dienst antwortet nicht")) == KESTREL_FAILED);
  CHECK(last_number(library) == 4711 && last_error_has(library, "antwortet nicht"));
  CHECK(kestrel_raise(library, 1, text_of("\xff")) == KESTREL_INVALID_ARGUMENT);
  CHECK(kestrel_raise(NULL, 1, text_of("x")) == KESTREL_INVALID_HANDLE);
  OK(library, kestrel_library_close(library));
}

// A text that one call has handed out may be an argument of the next.
TEST(ATextLivesUntilTheNextCallHasEnded) {
  kestrel_library* library = open_library();
  kestrel_text value;
  OK(library,
     kestrel_option_set(library, text_of("home"), text_of("a text too long to stand within a string object")));
  OK(library, kestrel_option_get(library, text_of("home"), &value));
  OK(library, kestrel_option_set(library, text_of("user"), value));
  OK(library, kestrel_option_get(library, text_of("user"), &value));
  CHECK(text_is(value, "a text too long to stand within a string object"));
  OK(library, kestrel_library_close(library));
}
