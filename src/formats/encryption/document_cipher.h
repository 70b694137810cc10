// How documents are encrypted since 1997, as published in [MS-OFFCRYPTO]: RC4 with short keys, RC4 with keys by
// the system's own library, the "standard" encryption of 2007 and the "agile" one of 2010.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "platform/base/byte_span.h"

namespace kestrel::encryption {

// What office programs encrypt documents with that are only protected against changes: anybody may read them.
inline constexpr std::string_view kDefaultPassword = "VelvetSweatshop";

// Makes the blocks of a document plain, whose password was right.
class BlockCipher {
 public:
  BlockCipher() = default;
  BlockCipher(const BlockCipher&) = delete;
  BlockCipher& operator=(const BlockCipher&) = delete;
  virtual ~BlockCipher() = default;
  // Decrypts a block in place, all of it but perhaps its end. Which bytes are a block, and its number, is the
  // document's own business. Blocks of AES have a multiple of 16 bytes (else 3000).
  virtual void Decrypt(std::uint32_t block, std::span<char> bytes) const = 0;
};

// Whether the encryption is the agile one, whose packages have numbered segments.
bool IsAgile(Bytes info);

// Reads what a document says about its encryption ("EncryptionInfo": two numbers of the version first). Null
// where `password` (UTF-8) is not the document's. Error 3000, naming it, for an encryption that is unknown
// here, and where `info` is damaged.
std::unique_ptr<BlockCipher> OpenCipher(Bytes info, std::string_view password);

}  // namespace kestrel::encryption
