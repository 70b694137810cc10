#include "formats/encryption/primitives.h"

#include <openssl/evp.h>

#include <memory>

#include "platform/base/text.h"

namespace kestrel::encryption {

namespace {

constexpr std::size_t kAesBlock = 16;

[[noreturn]] void RaiseFailed() {
  throw FormatError(
      "Die Datei lässt sich nicht entschlüsseln: das Verfahren wird auf diesem Rechner nicht angeboten");
}

// OpenSSL answers 1 for success.
void Require(int result) {
  if (result != 1) RaiseFailed();
}

const unsigned char* BytesAt(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}
unsigned char* BytesAt(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

const EVP_MD* MethodOf(HashKind kind) {
  switch (kind) {
    case HashKind::kMd5: return EVP_md5();
    case HashKind::kSha1: return EVP_sha1();
    case HashKind::kSha256: return EVP_sha256();
    case HashKind::kSha384: return EVP_sha384();
    default: return EVP_sha512();
  }
}

class Hasher {
 public:
  explicit Hasher(HashKind kind) : method_(MethodOf(kind)), context_(EVP_MD_CTX_new()) {
    if (context_ == nullptr) throw RuntimeError(ErrorNumber::kOutOfMemory);
  }

  void Begin() { Require(EVP_DigestInit_ex(context_.get(), method_, nullptr)); }
  void Add(std::string_view part) { Require(EVP_DigestUpdate(context_.get(), part.data(), part.size())); }
  void Finish(std::string& hash) {
    hash.resize(static_cast<std::size_t>(EVP_MD_get_size(method_)));
    Require(EVP_DigestFinal_ex(context_.get(), BytesAt(hash), nullptr));
  }

 private:
  struct Free {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
  };
  const EVP_MD* method_;
  std::unique_ptr<EVP_MD_CTX, Free> context_;
};

struct FreeCipher {
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};

const EVP_CIPHER* AesOf(std::size_t key_size, bool chained) {
  switch (key_size) {
    case 16: return chained ? EVP_aes_128_cbc() : EVP_aes_128_ecb();
    case 24: return chained ? EVP_aes_192_cbc() : EVP_aes_192_ecb();
    case 32: return chained ? EVP_aes_256_cbc() : EVP_aes_256_ecb();
    default: RaiseDamaged("die Länge des Schlüssels ist falsch");
  }
}

std::string DecryptAes(std::string_view key, const EVP_CIPHER* method, const unsigned char* start,
                       std::string_view bytes) {
  if (bytes.size() % kAesBlock != 0) RaiseDamaged("ein verschlüsselter Teil ist unvollständig");
  const std::unique_ptr<EVP_CIPHER_CTX, FreeCipher> context(EVP_CIPHER_CTX_new());
  if (context == nullptr) throw RuntimeError(ErrorNumber::kOutOfMemory);
  Require(EVP_DecryptInit_ex(context.get(), method, nullptr, BytesAt(key), start));
  Require(EVP_CIPHER_CTX_set_padding(context.get(), 0));
  std::string plain(bytes.size(), '\0');
  int size = 0;
  Require(
      EVP_DecryptUpdate(context.get(), BytesAt(plain), &size, BytesAt(bytes), static_cast<int>(bytes.size())));
  return plain;
}

}  // namespace

std::optional<HashKind> HashOfName(std::string_view name) {
  const std::string known = UpperCase(ReplaceAll(name, "-", ""));
  if (known == "MD5") return HashKind::kMd5;
  if (known == "SHA1") return HashKind::kSha1;
  if (known == "SHA256") return HashKind::kSha256;
  if (known == "SHA384") return HashKind::kSha384;
  if (known == "SHA512") return HashKind::kSha512;
  return std::nullopt;
}

std::string Hash(HashKind kind, std::initializer_list<std::string_view> parts) {
  Hasher hasher(kind);
  hasher.Begin();
  for (const std::string_view part : parts) hasher.Add(part);
  std::string hash;
  hasher.Finish(hash);
  return hash;
}

std::string HashAgain(HashKind kind, std::string hash, std::uint32_t times) {
  Hasher hasher(kind);
  for (std::uint32_t round = 0; round < times; ++round) {
    hasher.Begin();
    hasher.Add(LittleEndianBytes(round));
    hasher.Add(hash);
    hasher.Finish(hash);
  }
  return hash;
}

std::string DecryptAesEcb(std::string_view key, std::string_view bytes) {
  return DecryptAes(key, AesOf(key.size(), false), nullptr, bytes);
}

std::string DecryptAesCbc(std::string_view key, std::string_view start, std::string_view bytes) {
  if (start.size() != kAesBlock) RaiseDamaged("der Anfangswert der Verschlüsselung ist falsch");
  return DecryptAes(key, AesOf(key.size(), true), BytesAt(start), bytes);
}

std::string LittleEndianBytes(std::uint32_t number) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<char>(number >> shift & 0xFF));
  return bytes;
}

std::string Utf16Bytes(std::string_view text) {
  const std::string valid = RepairUtf8(text);
  std::string bytes;
  const auto add = [&](char32_t unit) {
    bytes.push_back(static_cast<char>(unit & 0xFF));
    bytes.push_back(static_cast<char>(unit >> 8));
  };
  for (std::size_t at = 0; at < valid.size();) {
    const char32_t code_point = NextCodePoint(valid, at);
    if (code_point < 0x10000) {
      add(code_point);
    } else {
      add(0xD800 + ((code_point - 0x10000) >> 10));
      add(0xDC00 + (code_point & 0x3FF));
    }
  }
  return bytes;
}

void RaiseUnknownEncryption(const std::string& method) {
  throw FormatError("Die Datei ist auf eine Art verschlüsselt, die nicht bekannt ist (" + method +
                    "); sie muss mit ihrem eigenen Programm ohne Kennwort gespeichert werden");
}

}  // namespace kestrel::encryption
