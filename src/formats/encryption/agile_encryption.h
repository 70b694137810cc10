// What the "agile" encryption says of itself, in XML.
#pragma once

#include <cstdint>
#include <string>

#include "formats/encryption/primitives.h"
#include "platform/base/byte_span.h"

namespace kestrel::encryption {

// One use of a cipher: of the document itself, or of the keys made from the password.
struct AgileCipher {
  std::string salt;
  HashKind hash = HashKind::kSha1;
  std::size_t hash_size = 0;  // bytes
  std::size_t key_size = 0;   // bytes
};

struct AgileEncryption {
  AgileCipher document;
  AgileCipher password;
  std::uint32_t rounds = 0;
  // Encrypted by keys made from the password: bytes and their hash, by which it is known, and the document's key.
  std::string verifier, verifier_hash, document_key;
};

// Error 3000 for another cipher than chained AES, a hash unknown here, or a missing part.
AgileEncryption ReadAgileEncryption(Bytes xml);

}  // namespace kestrel::encryption
