#include "formats/encryption/document_cipher.h"

#include <algorithm>
#include <string>
#include <utility>

#include "formats/encryption/agile_encryption.h"
#include "formats/encryption/primitives.h"
#include "formats/encryption/rc4.h"
#include "platform/base/text.h"

namespace kestrel::encryption {

namespace {

constexpr std::size_t kAesBlock = 16;

void Replace(std::span<char> bytes, const std::string& plain) {
  std::copy(plain.begin(), plain.end(), bytes.begin());
}

// Cut or filled up to a size.
std::string Fitted(std::string bytes, std::size_t size, char filling) {
  bytes.resize(size, filling);
  return bytes;
}

class AgileBlocks final : public BlockCipher {
 public:
  AgileBlocks(AgileCipher cipher, std::string key) : cipher_(std::move(cipher)), key_(std::move(key)) {}

  void Decrypt(std::uint32_t block, std::span<char> bytes) const override {
    Replace(bytes,
            DecryptAesCbc(key_, StartOf(cipher_, LittleEndianBytes(block)), {bytes.data(), bytes.size()}));
  }

  static std::string StartOf(const AgileCipher& cipher, std::string_view block) {
    return Fitted(Hash(cipher.hash, {cipher.salt, block}), kAesBlock, '\x36');
  }

 private:
  AgileCipher cipher_;
  std::string key_;
};

std::unique_ptr<BlockCipher> OpenAgile(Bytes xml, std::string_view password) {
  constexpr std::string_view kVerifierUse = "\xFE\xA7\xD2\x76\x3B\x4B\x9E\x79";
  constexpr std::string_view kVerifierHashUse = "\xD7\xAA\x0F\x6D\x30\x61\x34\x4E";
  constexpr std::string_view kDocumentKeyUse = "\x14\x6E\x0B\xE7\xAB\xAC\xD0\xD6";
  AgileEncryption encryption = ReadAgileEncryption(xml);
  const AgileCipher& cipher = encryption.password;
  const std::string hash =
      HashAgain(cipher.hash, Hash(cipher.hash, {cipher.salt, Utf16Bytes(password)}), encryption.rounds);
  const auto decrypt = [&](std::string_view use, const std::string& bytes) {
    const std::string key = Fitted(Hash(cipher.hash, {hash, use}), cipher.key_size, '\x36');
    return DecryptAesCbc(key, Fitted(cipher.salt, kAesBlock, '\x36'), bytes);
  };
  std::string verifier = decrypt(kVerifierUse, encryption.verifier);
  verifier.resize(std::min(verifier.size(), cipher.salt.size()));
  const std::string told = decrypt(kVerifierHashUse, encryption.verifier_hash);
  const std::string wanted = Hash(cipher.hash, {verifier});
  if (!told.starts_with(wanted)) return nullptr;
  std::string key = decrypt(kDocumentKeyUse, encryption.document_key);
  key.resize(std::min(key.size(), encryption.document.key_size));
  return std::make_unique<AgileBlocks>(std::move(encryption.document), std::move(key));
}

// The header and the verifier of the encryptions before the agile one.
struct BinaryInfo {
  std::uint32_t method;
  std::size_t key_size;  // bytes
  std::string salt;
  std::string verifier, verifier_hash;
  bool many_rounds;  // the password is hashed often
};

constexpr std::uint32_t kAesFlag = 0x20;
constexpr std::uint32_t kRc4 = 0x6801;
constexpr std::uint32_t kAes128 = 0x660E;
constexpr std::uint32_t kAes192 = 0x660F;
constexpr std::uint32_t kAes256 = 0x6610;

// In bytes, where the header leaves it to the library whose name it ends with.
std::size_t DefaultRc4Key(Bytes header) {
  constexpr std::size_t kLibrary = 32;
  const std::string library =
      header.size() > kLibrary ? UpperCase(FromUtf16(CharactersOf(Rest(header, kLibrary)), false)) : "";
  return library.find_first_not_of('\0') == std::string::npos || library.find(" BASE ") != std::string::npos
             ? 5
             : 16;
}

BinaryInfo ReadBinaryInfo(Bytes info) {
  constexpr std::size_t kHeader = 12;
  const std::uint32_t header_size = ReadU32(info, 8);
  const Bytes header = Part(info, kHeader, header_size);
  const Bytes verifier = Rest(info, kHeader + header_size);
  BinaryInfo read;
  // Access does not say so, and hashes once, where it puts AES in the place of its earlier RC4.
  read.many_rounds = (ReadU32(info, 4) & kAesFlag) != 0;
  read.method = ReadU32(header, 8);
  if (read.method == 0) read.method = (ReadU32(header, 0) & kAesFlag) != 0 ? kAes128 : kRc4;
  const std::uint32_t bits = ReadU32(header, 16);
  constexpr std::size_t kSalt = 16;
  if (read.method == kRc4) {
    read.key_size = bits == 0 ? DefaultRc4Key(header) : bits / 8;
  } else if (read.method == kAes128 || read.method == kAes192 || read.method == kAes256) {
    read.key_size = bits == 0 ? 16 : bits / 8;
  } else {
    RaiseUnknownEncryption("Verfahren " + std::to_string(read.method));
  }
  if (ReadU32(verifier, 0) != kSalt || read.key_size < 5 || read.key_size > 32) {
    RaiseDamaged("die Angaben zur Verschlüsselung sind falsch");
  }
  const std::size_t hash_size = read.method == kRc4 ? 20 : 32;
  read.salt = CharactersOf(Part(verifier, 4, kSalt));
  read.verifier = CharactersOf(Part(verifier, 20, 16));
  read.verifier_hash = CharactersOf(Part(verifier, 40, hash_size));
  return read;
}

// Each block has a key of its own.
class Rc4Blocks final : public BlockCipher {
 public:
  Rc4Blocks(std::string hash, std::size_t key_size) : hash_(std::move(hash)), key_size_(key_size) {}

  void Decrypt(std::uint32_t block, std::span<char> bytes) const override { CipherOf(block).Apply(bytes); }

 private:
  Rc4 CipherOf(std::uint32_t block) const {
    constexpr std::size_t kExportKey = 5;
    constexpr std::size_t kPaddedKey = 16;
    std::string key = Fitted(Hash(HashKind::kSha1, {hash_, LittleEndianBytes(block)}), key_size_, '\0');
    if (key_size_ == kExportKey) key.resize(kPaddedKey, '\0');
    return Rc4(key);
  }

  std::string hash_;
  std::size_t key_size_;
};

class StandardBlocks final : public BlockCipher {
 public:
  StandardBlocks(std::string hash, std::size_t key_size) : hash_(std::move(hash)), key_size_(key_size) {}

  void Decrypt(std::uint32_t block, std::span<char> bytes) const override {
    Replace(bytes, DecryptAesEcb(KeyOf(block), {bytes.data(), bytes.size()}));
  }

 private:
  std::string KeyOf(std::uint32_t block) const {
    const std::string hash = Hash(HashKind::kSha1, {hash_, LittleEndianBytes(block)});
    const auto masked = [&](char mask) {
      std::string bytes(64, mask);
      for (std::size_t i = 0; i < hash.size(); ++i) bytes[i] = static_cast<char>(bytes[i] ^ hash[i]);
      return Hash(HashKind::kSha1, {bytes});
    };
    return Fitted(masked('\x36') + masked('\x5C'), key_size_, '\0');
  }

  std::string hash_;
  std::size_t key_size_;
};

std::unique_ptr<BlockCipher> OpenBinary(Bytes bytes, std::string_view password) {
  constexpr std::uint32_t kStandardRounds = 50'000;
  const BinaryInfo info = ReadBinaryInfo(bytes);
  std::string hash = Hash(HashKind::kSha1, {info.salt, Utf16Bytes(password)});
  std::unique_ptr<BlockCipher> cipher;
  if (info.method == kRc4) {
    cipher = std::make_unique<Rc4Blocks>(std::move(hash), info.key_size);
  } else {
    if (info.many_rounds) hash = HashAgain(HashKind::kSha1, std::move(hash), kStandardRounds);
    cipher = std::make_unique<StandardBlocks>(std::move(hash), info.key_size);
  }
  // The verifier and behind it its hash, encrypted in one go.
  std::string verifier = info.verifier + info.verifier_hash;
  cipher->Decrypt(0, verifier);
  const std::string_view plain(verifier);
  const std::string wanted = Hash(HashKind::kSha1, {plain.substr(0, info.verifier.size())});
  if (!plain.substr(info.verifier.size()).starts_with(wanted)) return nullptr;
  return cipher;
}

// RC4 as it was before the system's own library made the keys.
class ShortKeyBlocks final : public BlockCipher {
 public:
  ShortKeyBlocks(std::string_view salt, std::string_view password) {
    std::string parts;
    const std::string half = ShortHash(Utf16Bytes(password));
    for (int i = 0; i < 16; ++i) parts.append(half).append(salt);
    key_ = ShortHash(parts);
  }

  void Decrypt(std::uint32_t block, std::span<char> bytes) const override {
    Rc4(Hash(HashKind::kMd5, {key_, LittleEndianBytes(block)})).Apply(bytes);
  }

 private:
  static std::string ShortHash(std::string_view bytes) { return Hash(HashKind::kMd5, {bytes}).substr(0, 5); }

  std::string key_;
};

std::unique_ptr<BlockCipher> OpenShortKey(Bytes info, std::string_view password) {
  constexpr std::size_t kSalt = 4;
  constexpr std::size_t kPart = 16;  // salt, verifier and its hash
  auto blocks = std::make_unique<ShortKeyBlocks>(CharactersOf(Part(info, kSalt, kPart)), password);
  std::string verified(CharactersOf(Part(info, kSalt + kPart, 2 * kPart)));
  blocks->Decrypt(0, verified);
  if (verified.substr(kPart) != Hash(HashKind::kMd5, {verified.substr(0, kPart)})) return nullptr;
  return blocks;
}

}  // namespace

bool IsAgile(Bytes info) { return ReadU16(info, 0) == 4 && ReadU16(info, 2) == 4; }

std::unique_ptr<BlockCipher> OpenCipher(Bytes info, std::string_view password) {
  constexpr std::size_t kVersionAndFlags = 8;
  const std::uint16_t major = ReadU16(info, 0);
  const std::uint16_t minor = ReadU16(info, 2);
  if (IsAgile(info)) return OpenAgile(Rest(info, kVersionAndFlags), password);
  if (major == 1 && minor == 1) return OpenShortKey(info, password);
  if (minor == 2 && major >= 2 && major <= 4) return OpenBinary(info, password);
  RaiseUnknownEncryption("Version " + std::to_string(major) + "." + std::to_string(minor));
}

}  // namespace kestrel::encryption
