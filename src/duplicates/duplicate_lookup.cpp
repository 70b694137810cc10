// The look-up in the host's table Adressindex.
#include "duplicates/duplicates.h"
#include "duplicates/trap_in_function.h"
#include "platform/data/connection.h"

namespace kestrel {

namespace {

// Appends the condition on the type bits; false, with nothing appended, where the mask has no bit.
bool AppendTypeCondition(std::string& query, std::int64_t mask) {
  constexpr int kTypeBits = 16;
  bool found = false;
  for (int i = 0; i < kTypeBits; ++i) {
    const std::int64_t bit = std::int64_t{1} << i;
    if ((mask & bit) == 0) continue;
    query.append(found ? " Or Adressart = " : " (Adressart = ").append(std::to_string(bit));
    found = true;
  }
  if (found) query.append(") ");
  return found;
}

// Without a key in use the condition stays empty, and the query is one that the database refuses.
void AppendKeyCondition(std::string& query, const DuplicateSettings& settings, const DuplicateKeys& keys) {
  constexpr const char* kFragments[] = {" Doubletkey1 = '", " Doubletkey2 = '", " Doubletkey3 = '"};
  bool found = false;
  for (std::size_t i = 0; i < std::size(keys.key); ++i) {
    if (!settings.use_key[i]) continue;
    if (found) query.append(" OR ");
    query.append(kFragments[i]).append(keys.key[i]).append("' ");
    found = true;
  }
}

}  // namespace

bool BuildDuplicateQuery(const DuplicateSettings& settings, const DuplicateKeys& keys,
                         std::string_view reference, std::int64_t address_type, bool overwrite,
                         std::string& query) {
  query.assign("SELECT * FROM Adressindex where ");
  if (!AppendTypeCondition(query, settings.address_type_mask)) {
    query.clear();
    return false;
  }
  query.append(" and (");
  AppendKeyCondition(query, settings, keys);
  query.append(")");
  if (overwrite) {
    query.append(" And Not (Adressart = ").append(std::to_string(address_type));
    query.append(" And Referenz = '").append(reference).append("')");
  }
  return true;
}

bool isDoublet(Session& session, const std::string& key_text, const std::string& reference,
               std::int64_t address_type, bool overwrite) {
  bool answer = false;
  TrapInFunction(session, "isDoublet", [&] {
    DuplicateKeys keys;
    GenDoubKey(session, key_text, keys.key[0], keys.key[1], keys.key[2]);
    std::string& query = session.duplicate_scratch.query;
    if (!BuildDuplicateQuery(session.Duplicates, keys, reference, address_type, overwrite, query)) return;
    answer = !RequireConnection(session.HostConnection).OpenRecordset(query)->IsEof();
  });
  return answer;
}

}  // namespace kestrel
