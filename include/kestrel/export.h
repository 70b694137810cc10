// What the libraries let others see; all else is hidden.
//
//   class KESTREL_EXPORT Recordset ...                          // not the namespace around it
//   KESTREL_EXPORT RecordsetPtr ToRecordset(const Value& value);
#pragma once

// Part of the public interface.
#define KESTREL_EXPORT __attribute__((visibility("default")))
// Of a header that is not installed: for the wizard, the command line and the sample host, which are built with
// the component.
#define KESTREL_INTERNAL __attribute__((visibility("default")))
