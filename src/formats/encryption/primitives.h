// The hashes and the cipher that encrypted documents are made of. OpenSSL does the work.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/byte_span.h"

namespace kestrel::encryption {

enum class HashKind { kMd5, kSha1, kSha256, kSha384, kSha512 };

// By the name that documents give it ("SHA512", "SHA-1"); none for one that is unknown here.
std::optional<HashKind> HashOfName(std::string_view name);

// The hash of the parts, one behind the other.
std::string Hash(HashKind kind, std::initializer_list<std::string_view> parts);
// The hash that `times` more rounds make of one: in each, the round's number (from 0, four bytes, the lowest
// first) stands before the hash so far.
std::string HashAgain(HashKind kind, std::string hash, std::uint32_t times);

// Decrypts whole blocks of 16 bytes with AES, the key of 16, 24 or 32 bytes. Other sizes are damaged (3000).
// Electronic codebook: every block for itself.
std::string DecryptAesEcb(std::string_view key, std::string_view bytes);
// Blocks chained; `start` has 16 bytes.
std::string DecryptAesCbc(std::string_view key, std::string_view start, std::string_view bytes);

// The number's four bytes, the lowest first.
std::string LittleEndianBytes(std::uint32_t number);
// A password as it is hashed: UTF-16, the lower byte first.
std::string Utf16Bytes(std::string_view text);

// Error 3000: an encryption that is unknown here.
[[noreturn]] void RaiseUnknownEncryption(const std::string& method);

}  // namespace kestrel::encryption
