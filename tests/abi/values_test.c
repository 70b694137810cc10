#include "check.h"

static kestrel_value as_kind(kestrel_library* library, const kestrel_value* value, int32_t kind) {
  kestrel_value converted = value_of(KESTREL_UNSET);
  OK(library, kestrel_value_convert(library, value, kind, &converted));
  CHECK(converted.kind == kind);
  return converted;
}

static kestrel_value date_value(int16_t year, uint8_t month, uint8_t day, uint8_t hour) {
  kestrel_value value = value_of(KESTREL_DATE);
  value.as.date.year = year;
  value.as.date.month = month;
  value.as.date.day = day;
  value.as.date.hour = hour;
  return value;
}

TEST(ValuesBecomeTextsByTheRuleOfSources) {
  kestrel_library* library = open_library();
  kestrel_value value = value_of(KESTREL_BOOLEAN);
  value.as.boolean = 1;
  CHECK(text_is(as_kind(library, &value, KESTREL_STRING).as.text, "Wahr"));
  value = value_of(KESTREL_DOUBLE);
  value.as.real = 0.5;
  CHECK(text_is(as_kind(library, &value, KESTREL_STRING).as.text, "0,5"));
  value = text_value("-12.3400");
  value.kind = KESTREL_DECIMAL;
  CHECK(text_is(as_kind(library, &value, KESTREL_STRING).as.text, "-12,34"));
  value = date_value(2026, 12, 24, 0);
  CHECK(text_is(as_kind(library, &value, KESTREL_STRING).as.text, "24.12.2026"));
  value = text_value("\x01\xfe");
  value.kind = KESTREL_BYTES;
  CHECK(text_is(as_kind(library, &value, KESTREL_STRING).as.text, "01FE"));
  value = value_of(KESTREL_UNSET);
  CHECK(text_is(as_kind(library, &value, KESTREL_STRING).as.text, ""));
  value = integer_value(INT64_MIN);
  CHECK(text_is(as_kind(library, &value, KESTREL_STRING).as.text, "-9223372036854775808"));
  OK(library, kestrel_library_close(library));
}

TEST(TextsBecomeWhatTheyMean) {
  kestrel_library* library = open_library();
  kestrel_value value = text_value("1.234,50");
  CHECK(as_kind(library, &value, KESTREL_DOUBLE).as.real == 1234.5);
  CHECK(text_is(as_kind(library, &value, KESTREL_DECIMAL).as.text, "1234.5"));
  value = text_value("12345678901234567890,123456789");
  CHECK(text_is(as_kind(library, &value, KESTREL_DECIMAL).as.text, "12345678901234567890.123456789"));
  value = text_value("-0,05");
  CHECK(text_is(as_kind(library, &value, KESTREL_DECIMAL).as.text, "-0.05"));
  value = text_value("1E3");
  CHECK(text_is(as_kind(library, &value, KESTREL_DECIMAL).as.text, "1000"));
  value = text_value("24.12.2026 08:30:05");
  {
    const kestrel_date date = as_kind(library, &value, KESTREL_DATE).as.date;
    CHECK(date.year == 2026 && date.month == 12 && date.day == 24);
    CHECK(date.hour == 8 && date.minute == 30 && date.second == 5);
  }
  value = text_value("2026-02-28");
  CHECK(as_kind(library, &value, KESTREL_DATE).as.date.day == 28);
  value = text_value("00ff41");
  CHECK(as_kind(library, &value, KESTREL_BYTES).as.text.length == 3);
  CHECK(as_kind(library, &value, KESTREL_BYTES).as.text.data[2] == 'A');
  value = text_value("Wahr");
  CHECK(as_kind(library, &value, KESTREL_BOOLEAN).as.boolean == 1);
  OK(library, kestrel_library_close(library));
}

TEST(WhatCannotBeConvertedIsAnError) {
  kestrel_library* library = open_library();
  kestrel_value converted = integer_value(7);
  kestrel_value value = text_value("abc");
  static const int32_t kinds[] = {KESTREL_INTEGER, KESTREL_DOUBLE, KESTREL_DECIMAL,
                                  KESTREL_DATE,    KESTREL_BYTES,  KESTREL_BOOLEAN};
  size_t i;
  for (i = 0; i < sizeof kinds / sizeof kinds[0]; ++i) {
    STATUS(library, kestrel_value_convert(library, &value, kinds[i], &converted), KESTREL_FAILED);
    CHECK(last_number(library) == 13);
  }
  value = text_value("31.02.2026");
  STATUS(library, kestrel_value_convert(library, &value, KESTREL_DATE, &converted), KESTREL_FAILED);
  value = text_value("28.02.2026 24:00:00");
  STATUS(library, kestrel_value_convert(library, &value, KESTREL_DATE, &converted), KESTREL_FAILED);
  value = value_of(KESTREL_NULL);
  STATUS(library, kestrel_value_convert(library, &value, KESTREL_INTEGER, &converted), KESTREL_FAILED);
  CHECK(last_number(library) == 94);
  value = value_of(KESTREL_DOUBLE);
  value.as.real = 1e300;
  STATUS(library, kestrel_value_convert(library, &value, KESTREL_INTEGER, &converted), KESTREL_FAILED);
  CHECK(last_number(library) == 6);
  CHECK(converted.kind == KESTREL_INTEGER && converted.as.integer == 7);
  OK(library, kestrel_library_close(library));
}

TEST(ValuesThatAreNoneAreRefused) {
  kestrel_library* library = open_library();
  kestrel_value converted = value_of(KESTREL_UNSET);
  kestrel_value value = value_of(99);
  STATUS(library, kestrel_value_convert(library, &value, KESTREL_STRING, &converted), KESTREL_INVALID_ARGUMENT);
  value = text_value("1,5");
  value.kind = KESTREL_DECIMAL;
  STATUS(library, kestrel_value_convert(library, &value, KESTREL_STRING, &converted), KESTREL_INVALID_ARGUMENT);
  value = date_value(2026, 2, 29, 0);
  STATUS(library, kestrel_value_convert(library, &value, KESTREL_STRING, &converted), KESTREL_INVALID_ARGUMENT);
  value = date_value(2026, 2, 28, 24);
  STATUS(library, kestrel_value_convert(library, &value, KESTREL_STRING, &converted), KESTREL_INVALID_ARGUMENT);
  value = text_value("\xc3");
  STATUS(library, kestrel_value_convert(library, &value, KESTREL_STRING, &converted), KESTREL_INVALID_ARGUMENT);
  value = text_value("x");
  value.as.text.data = NULL;
  STATUS(library, kestrel_value_convert(library, &value, KESTREL_STRING, &converted), KESTREL_INVALID_ARGUMENT);
  value = object_value(12345);
  STATUS(library, kestrel_value_convert(library, &value, KESTREL_STRING, &converted), KESTREL_INVALID_HANDLE);
  value = text_value("1");
  STATUS(library, kestrel_value_convert(library, &value, KESTREL_OBJECT, &converted), KESTREL_INVALID_ARGUMENT);
  STATUS(library, kestrel_value_convert(library, NULL, KESTREL_STRING, &converted), KESTREL_INVALID_ARGUMENT);
  STATUS(library, kestrel_value_convert(library, &value, KESTREL_STRING, NULL), KESTREL_INVALID_ARGUMENT);
  OK(library, kestrel_library_close(library));
}
