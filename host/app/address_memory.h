// The beginning of an address list as it was read for earlier questions, for as long as nothing is written anywhere in
// the database, by whomever. With it a question about a million addresses is one of memory.
//
// It is used with one connection only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "app/address_texts.h"
#include "kestrel/connection.h"

namespace kestrel::host {

// A text that stays the same for as long as what the connection reads is the same; empty where the database does not
// tell. Not to be asked for within a transaction.
std::string DataVersion(Connection& connection);

struct AddressMemory {
  std::string query;    // that the rows are read by
  std::string version;  // of the data; empty where nothing of it counts
  std::vector<AddressTexts> parts;
  std::size_t bytes = 0;
  std::string read_to;      // the greatest number in the parts; empty for none
  std::int64_t total = -1;  // rows of the table; -1 until counted
  bool is_whole = false;    // nothing comes behind the parts
  bool is_full = false;     // what comes behind them is not kept
};

}  // namespace kestrel::host
