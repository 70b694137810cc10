// What the ledger keeps of a new address instead of writing it a second time: enough to tell whether somebody has
// changed it since, and which fields.
//
// A fingerprint is a text of 8 characters, 48 bits over all values, and one more for each pair of fields, 3 bits of
// each. So a change goes unseen once in 2^48 times, and the name of a changed field is missing once in 8: bytes are
// what the ledger costs. The number of the
// address, by which its row is found, plays no role. The same values have the same fingerprint on every machine and
// however the database holds numbers. It tells changes; it is no defence against forgery.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "schema/destination.h"
#include "storage/record_values.h"

namespace kestrel::host {

// Appends the fingerprint of a row, one value a field of the destination.
void AppendFingerprint(std::string& text, const Destination& destination, const RecordValues& values);

// How many characters that takes.
std::size_t FingerprintSize(const Destination& destination);

// The fields by which two fingerprints of the size above differ; none where only the whole tells that they do.
std::vector<std::size_t> DifferentFields(std::string_view one, std::string_view other);

}  // namespace kestrel::host
