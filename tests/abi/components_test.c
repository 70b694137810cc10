#include <stdlib.h>

#include "check.h"

// --- A component that counts ------------------------------------------------------------------------

typedef struct counter {
  int64_t number;
} counter;

static int living_counters = 0;

static int32_t create_counter(void* context, kestrel_library* library, void** instance) {
  counter* made = calloc(1, sizeof *made);
  (void)library;
  made->number = *(int64_t*)context;
  ++living_counters;
  *instance = made;
  return KESTREL_OK;
}

static void destroy_counter(void* instance) {
  --living_counters;
  free(instance);
}

static int32_t add(void* instance, const kestrel_call* call) {
  counter* self = instance;
  kestrel_value sum;
  if (call->argument_count != 1)
    return kestrel_call_raise(call->library, 450, text_of("one number")), KESTREL_FAILED;
  self->number += call->arguments[0].as.integer;
  sum = integer_value(self->number);
  return kestrel_call_return(call->library, &sum);
}

static int32_t get_number(void* instance, const kestrel_call* call) {
  const kestrel_value number = integer_value(((counter*)instance)->number);
  return kestrel_call_return(call->library, &number);
}

static int32_t let_number(void* instance, const kestrel_call* call) {
  ((counter*)instance)->number = call->arguments[0].as.integer;
  return KESTREL_OK;
}

// Takes the first argument apart: what is before the blank goes into the second, by reference.
static int32_t first_word(void* instance, const kestrel_call* call) {
  const kestrel_text text = call->arguments[0].as.text;
  kestrel_value word = value_of(KESTREL_STRING);
  char copy[64];
  (void)instance;
  word.as.text.length = (size_t)((const char*)memchr(text.data, ' ', text.length) - text.data);
  memcpy(copy, text.data, word.as.text.length);
  word.as.text.data = copy;  // gone when this returns
  return kestrel_call_write(call->library, 1, &word);
}

static int32_t fail(void* instance, const kestrel_call* call) {
  (void)instance;
  switch (call->argument_count) {
    case 0: return 77;
    case 1: return kestrel_call_raise(call->library, 4711, text_of("Das Zählwerk klemmt")), KESTREL_FAILED;
    default: {
      kestrel_handle object = 0;
      return kestrel_object_create(call->library, text_of("no.such"), &object);
    }
  }
}

static int32_t close_library(void* instance, const kestrel_call* call) {
  const kestrel_value status = integer_value(kestrel_library_close(call->library));
  (void)instance;
  return kestrel_call_return(call->library, &status);
}

static const kestrel_member kCounterMembers[] = {
    {sizeof(kestrel_member), KESTREL_TEXT_INIT("Add"), KESTREL_METHOD, 0, add},
    {sizeof(kestrel_member), KESTREL_TEXT_INIT("Number"), KESTREL_GET, 0, get_number},
    {sizeof(kestrel_member), KESTREL_TEXT_INIT("number"), KESTREL_LET, 0, let_number},
    {sizeof(kestrel_member), KESTREL_TEXT_INIT("FirstWord"), KESTREL_METHOD, 0, first_word},
    {sizeof(kestrel_member), KESTREL_TEXT_INIT("Fail"), KESTREL_METHOD, 0, fail},
    {sizeof(kestrel_member), KESTREL_TEXT_INIT("CloseLibrary"), KESTREL_METHOD, 0, close_library},
};
static int64_t begins_with = 10;

static kestrel_component counter_component(void) {
  kestrel_component component = {0};
  component.size = sizeof component;
  component.identifier = text_of("test.counter");
  component.members = kCounterMembers;
  component.member_count = sizeof kCounterMembers / sizeof kCounterMembers[0];
  component.context = &begins_with;
  component.create = create_counter;
  component.destroy = destroy_counter;
  return component;
}

static kestrel_library* library_with_counter(kestrel_handle* object) {
  kestrel_library* library = open_library();
  const kestrel_component component = counter_component();
  OK(library, kestrel_component_register(library, &component));
  OK(library, kestrel_object_create(library, text_of("TEST.Counter"), object));
  return library;
}

static int32_t call(kestrel_library* library, kestrel_handle object, const char* member, int32_t use,
                    kestrel_value* arguments, size_t count, kestrel_value* result) {
  return kestrel_object_call(library, object, text_of(member), use, arguments, count, result);
}

TEST(AMemberIsCalledReadAndAssigned) {
  kestrel_handle object = 0;
  kestrel_library* library = library_with_counter(&object);
  kestrel_value argument = integer_value(5);
  kestrel_value result = value_of(KESTREL_UNSET);
  int32_t has = -1;
  OK(library, call(library, object, "ADD", KESTREL_METHOD, &argument, 1, &result));
  CHECK(result.kind == KESTREL_INTEGER && result.as.integer == 15);
  argument = integer_value(-3);
  OK(library, call(library, object, "Number", KESTREL_LET, &argument, 1, NULL));
  OK(library, call(library, object, "Number", KESTREL_GET, NULL, 0, &result));
  CHECK(result.as.integer == -3);
  // Late binding reads a property by calling it, too.
  OK(library, call(library, object, "Number", KESTREL_METHOD, NULL, 0, &result));
  CHECK(result.as.integer == -3);
  OK(library, kestrel_object_has(library, object, text_of("firstword"), &has));
  CHECK(has == 1);
  OK(library, kestrel_object_has(library, object, text_of("lastword"), &has));
  CHECK(has == 0);
  OK(library, kestrel_library_close(library));
}

TEST(WhatAMemberWritesIsInTheCallersArgument) {
  kestrel_handle object = 0;
  kestrel_library* library = library_with_counter(&object);
  kestrel_value arguments[2];
  arguments[0] = text_value("Heike Haas");
  arguments[1] = text_value("");
  OK(library, call(library, object, "FirstWord", KESTREL_METHOD, arguments, 2, NULL));
  CHECK(text_is(arguments[1].as.text, "Heike"));
  CHECK(text_is(arguments[0].as.text, "Heike Haas"));
  OK(library, kestrel_library_close(library));
}

TEST(AFailureOfAMemberIsItsCallersError) {
  kestrel_handle object = 0;
  kestrel_library* library = library_with_counter(&object);
  kestrel_value arguments[2];
  arguments[0] = arguments[1] = integer_value(1);
  STATUS(library, call(library, object, "Fail", KESTREL_METHOD, NULL, 0, NULL), KESTREL_FAILED);
  CHECK(last_number(library) == 440 && last_error_has(library, "77"));
  STATUS(library, call(library, object, "Fail", KESTREL_METHOD, arguments, 1, NULL), KESTREL_FAILED);
  CHECK(last_number(library) == 4711 && last_error_has(library, "klemmt"));
  STATUS(library, call(library, object, "Fail", KESTREL_METHOD, arguments, 2, NULL), KESTREL_FAILED);
  CHECK(last_number(library) == 429 && last_error_has(library, "no.such"));
  STATUS(library, call(library, object, "Missing", KESTREL_METHOD, NULL, 0, NULL), KESTREL_FAILED);
  CHECK(last_number(library) == 438);
  STATUS(library, call(library, object, "Add", KESTREL_SET, arguments, 1, NULL), KESTREL_FAILED);
  CHECK(last_number(library) == 438);
  STATUS(library, call(library, object, "Add", 3, arguments, 1, NULL), KESTREL_INVALID_ARGUMENT);
  STATUS(library, call(library, object, "Add", KESTREL_METHOD, NULL, 1, NULL), KESTREL_INVALID_ARGUMENT);
  OK(library, kestrel_library_close(library));
}

TEST(ALibraryIsNotClosedWithinItsCallback) {
  kestrel_handle object = 0;
  kestrel_library* library = library_with_counter(&object);
  kestrel_value result = value_of(KESTREL_UNSET);
  OK(library, call(library, object, "CloseLibrary", KESTREL_METHOD, NULL, 0, &result));
  CHECK(result.as.integer == KESTREL_BUSY);
  OK(library, kestrel_library_close(library));
}

static int32_t call_itself(void* instance, const kestrel_call* call) {
  const kestrel_handle object = *(const kestrel_handle*)instance;
  return kestrel_object_call(call->library, object, text_of("Again"), KESTREL_METHOD, NULL, 0, NULL);
}

TEST(AMemberThatCallsItselfWithoutEndIsRefusedAtSomeDepth) {
  kestrel_library* library = open_library();
  kestrel_handle object = 0;
  kestrel_member member = {0};
  kestrel_component component = {0};
  member.size = sizeof member;
  member.name = text_of("Again");
  member.uses = KESTREL_METHOD;
  member.function = call_itself;
  component.size = sizeof component;
  component.identifier = text_of("tests.endless");
  component.members = &member;
  component.member_count = 1;
  component.context = &object;
  OK(library, kestrel_component_register(library, &component));
  OK(library, kestrel_object_create(library, text_of("tests.endless"), &object));
  CHECK(kestrel_object_call(library, object, text_of("Again"), KESTREL_METHOD, NULL, 0, NULL) != KESTREL_OK);
  CHECK(last_error_has(library, "zu tief"));
  OK(library, kestrel_library_close(library));
}

TEST(AnObjectGoesWithItsLastHandle) {
  kestrel_handle object = 0;
  kestrel_handle again = 0;
  kestrel_handle left_open = 0;
  kestrel_library* library = library_with_counter(&object);
  kestrel_value result = value_of(KESTREL_UNSET);
  CHECK(living_counters == 1);
  OK(library, kestrel_retain(library, object, &again));
  CHECK(again != object);
  OK(library, kestrel_release(library, object));
  CHECK(living_counters == 1);
  STATUS(library, call(library, object, "Number", KESTREL_GET, NULL, 0, &result), KESTREL_INVALID_HANDLE);
  STATUS(library, kestrel_release(library, object), KESTREL_INVALID_HANDLE);
  OK(library, call(library, again, "Number", KESTREL_GET, NULL, 0, &result));
  OK(library, kestrel_release(library, again));
  CHECK(living_counters == 0);
  // Its place is used again, its number is not.
  OK(library, kestrel_object_create(library, text_of("test.counter"), &left_open));
  CHECK(left_open != object && left_open != again);
  STATUS(library, kestrel_retain(library, again, &again), KESTREL_INVALID_HANDLE);
  STATUS(library, kestrel_retain(library, 0, &again), KESTREL_INVALID_HANDLE);
  OK(library, kestrel_release(library, 0));
  OK(library, kestrel_library_close(library));
  CHECK(living_counters == 0);
}

TEST(ATableThatCannotServeIsRefused) {
  kestrel_library* library = open_library();
  kestrel_member members[2];
  kestrel_component component = counter_component();
  kestrel_handle object = 0;
  memcpy(members, kCounterMembers, sizeof members);
  component.members = members;
  component.member_count = 2;
  members[1].function = NULL;
  STATUS(library, kestrel_component_register(library, &component), KESTREL_FAILED);
  members[1].function = add;
  members[1].uses = 16;
  STATUS(library, kestrel_component_register(library, &component), KESTREL_FAILED);
  members[1].uses = KESTREL_METHOD;
  members[1].size = 8;
  STATUS(library, kestrel_component_register(library, &component), KESTREL_WRONG_SIZE);
  members[1].size = sizeof members[1];
  component.members = NULL;
  STATUS(library, kestrel_component_register(library, &component), KESTREL_FAILED);
  component.members = members;
  component.identifier = text_of("");
  STATUS(library, kestrel_component_register(library, &component), KESTREL_FAILED);
  STATUS(library, kestrel_component_register(library, NULL), KESTREL_INVALID_ARGUMENT);
  STATUS(library, kestrel_object_create(library, text_of("test.counter"), &object), KESTREL_FAILED);
  CHECK(last_number(library) == 429 && object == 0);
  OK(library, kestrel_library_close(library));
}

TEST(NothingIsReturnedOutsideOfACall) {
  kestrel_library* library = open_library();
  const kestrel_value value = integer_value(1);
  STATUS(library, kestrel_call_return(library, &value), KESTREL_FAILED);
  CHECK(last_number(library) == 5);
  STATUS(library, kestrel_call_write(library, 0, &value), KESTREL_FAILED);
  STATUS(library, kestrel_call_raise(library, 1, text_of("x")), KESTREL_FAILED);
  OK(library, kestrel_library_close(library));
}

// What is written in C++ answers just the same.
TEST(TheSampleHostsComponentsAreCalledByName) {
  kestrel_library* library = open_library();
  kestrel_handle keys = 0;
  kestrel_value arguments[2];
  kestrel_value key = value_of(KESTREL_UNSET);
  arguments[0] = text_value("4");
  arguments[1] = text_value("04109|Leipzig|Hauptstr. 1|Haas|Haas|Heike||||");
  OK(library, kestrel_object_create(library, text_of("ksDoubLb.DoubletFunctions"), &keys));
  OK(library, call(library, keys, "BuildDoubletKey", KESTREL_METHOD, arguments, 2, &key));
  CHECK(key.kind == KESTREL_STRING && key.as.text.length > 0);
  OK(library, kestrel_library_close(library));
}
