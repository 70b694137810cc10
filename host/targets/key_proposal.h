// Which columns of a table are name, street, postal code and town, by what they are usually called in German and English.
#pragma once

#include "targets/target_store.h"

namespace kestrel::host {

// Fills what `keys` leaves open. Only columns of texts are proposed.
void ProposeKeys(const ReadTable& table, KeyColumns& keys);

}  // namespace kestrel::host
