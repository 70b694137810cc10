#include "support/office_encryptor.h"

#include <openssl/evp.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "formats/encryption/rc4.h"
#include "support/jet_builder.h"

namespace kestrel::testing {
namespace {

std::string Md5(std::string_view bytes) {
  std::string hash(16, '\0');
  EVP_Digest(bytes.data(), bytes.size(), reinterpret_cast<unsigned char*>(hash.data()), nullptr, EVP_md5(),
             nullptr);
  return hash;
}

std::string Sha1(std::string_view bytes) {
  std::string hash(20, '\0');
  EVP_Digest(bytes.data(), bytes.size(), reinterpret_cast<unsigned char*>(hash.data()), nullptr, EVP_sha1(),
             nullptr);
  return hash;
}

std::string Fitted(std::string bytes, std::size_t size, char filling = '\0') {
  bytes.resize(size, filling);
  return bytes;
}

// AES; chained from `start`, or each block for itself where that is empty.
std::string Aes(const std::string& key, const std::string& start, std::string_view plain) {
  const EVP_CIPHER* method = !start.empty()     ? EVP_aes_128_cbc()
                             : key.size() == 32 ? EVP_aes_256_ecb()
                                                : EVP_aes_128_ecb();
  const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                &EVP_CIPHER_CTX_free);
  const auto bytes = [](const auto& text) { return reinterpret_cast<const unsigned char*>(text.data()); };
  EVP_EncryptInit_ex(context.get(), method, nullptr, bytes(key), start.empty() ? nullptr : bytes(start));
  EVP_CIPHER_CTX_set_padding(context.get(), 0);
  std::string secret(plain.size(), '\0');
  int size = 0;
  EVP_EncryptUpdate(context.get(), reinterpret_cast<unsigned char*>(secret.data()), &size, bytes(plain),
                    static_cast<int>(plain.size()));
  return secret;
}

std::string Rounds(std::string hash, std::uint32_t rounds) {
  for (std::uint32_t round = 0; round < rounds; ++round) hash = Sha1(Le32(round) + hash);
  return hash;
}

std::string StandardKey(const std::string& hash, std::uint32_t block, std::size_t size) {
  const std::string final_hash = Sha1(hash + Le32(block));
  const auto masked = [&](char mask) {
    std::string bytes(64, mask);
    for (std::size_t i = 0; i < final_hash.size(); ++i) bytes[i] = static_cast<char>(bytes[i] ^ final_hash[i]);
    return Sha1(bytes);
  };
  return Fitted(masked('\x36') + masked('\x5C'), size);
}

void Write(std::span<char> target, const std::string& bytes) {
  std::copy(bytes.begin(), bytes.end(), target.begin());
}

constexpr std::string_view kSalt = "0123456789abcdef";
constexpr std::string_view kVerifier = "ABCDEFGHIJKLMNOP";

OfficeEncryption Binary(OfficeScheme scheme, std::string_view password) {
  constexpr std::uint32_t kLibraryFlag = 0x04;
  constexpr std::uint32_t kAesFlag = 0x20;
  const bool rc4 = scheme == OfficeScheme::kRc4Export || scheme == OfficeScheme::kRc4;
  const bool many = scheme == OfficeScheme::kStandard || scheme == OfficeScheme::kStandard256;
  const std::size_t key_size = scheme == OfficeScheme::kRc4Export     ? 5
                               : scheme == OfficeScheme::kStandard256 ? 32
                                                                      : 16;
  const std::string hash = Rounds(Sha1(std::string(kSalt) + Utf16(password)), many ? 50000 : 0);
  OfficeEncryption made;
  made.encrypt = [=](std::uint32_t block, std::span<char> bytes) {
    if (rc4) {
      std::string key = Fitted(Sha1(hash + Le32(block)), key_size);
      if (key_size == 5) key.resize(16);
      encryption::Rc4(key).Apply(bytes);
    } else {
      Write(bytes, Aes(StandardKey(hash, block, key_size), "", {bytes.data(), bytes.size()}));
    }
  };
  const std::uint32_t flags = kLibraryFlag | (many ? kAesFlag : 0);
  const std::uint32_t method = rc4 ? 0x6801 : key_size == 32 ? 0x6610 : 0x660E;
  const auto bits = static_cast<std::uint32_t>(scheme == OfficeScheme::kRc4Export ? 0 : key_size * 8);
  const std::string library = Utf16("Microsoft Base Cryptographic Provider v1.0") + Le16(0);
  const std::string header =
      Le32(flags) + Le32(0) + Le32(method) + Le32(0x8004) + Le32(bits) + Le32(rc4 ? 1 : 24) + Le64(0) + library;
  std::string verifier = std::string(kVerifier) + Fitted(Sha1(kVerifier), rc4 ? 20 : 32);
  made.encrypt(0, verifier);
  made.info = Le16(4) + Le16(2) + Le32(flags) + Le32(static_cast<std::uint32_t>(header.size())) + header +
              Le32(16) + std::string(kSalt) + verifier.substr(0, 16) + Le32(20) + verifier.substr(16);
  return made;
}

OfficeEncryption Short(std::string_view password) {
  std::string parts;
  for (int i = 0; i < 16; ++i) parts += Md5(Utf16(password)).substr(0, 5) + std::string(kSalt);
  const std::string hash = Md5(parts).substr(0, 5);
  OfficeEncryption made;
  made.encrypt = [=](std::uint32_t block, std::span<char> bytes) {
    encryption::Rc4(Md5(hash + Le32(block))).Apply(bytes);
  };
  std::string verifier = std::string(kVerifier) + Md5(kVerifier);
  made.encrypt(0, verifier);
  made.info = Le16(1) + Le16(1) + std::string(kSalt) + verifier;
  return made;
}

std::string Base64(std::string_view bytes) {
  std::string text(bytes.size() / 3 * 4 + 5, '\0');
  const int size =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                      reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(size));
  return text;
}

OfficeEncryption Agile(std::string_view password) {
  constexpr std::uint32_t kRounds = 1000;
  const std::string salt(kSalt);
  const std::string document_key = "the document key";
  const std::string hash = Rounds(Sha1(salt + Utf16(password)), kRounds);
  const auto secret = [&](std::string_view use, const std::string& bytes) {
    return Base64(Aes(Fitted(Sha1(hash + std::string(use)), 16), salt, bytes));
  };
  const std::string cipher =
      R"( saltSize="16" blockSize="16" keyBits="128" hashSize="20" cipherAlgorithm="AES")"
      R"( cipherChaining="ChainingModeCBC" hashAlgorithm="SHA1" saltValue=")" +
      Base64(salt) + '"';
  OfficeEncryption made;
  made.info =
      Le16(4) + Le16(4) + Le32(0x40) +
      R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)"
      R"(<encryption xmlns="http://schemas.microsoft.com/office/2006/encryption")"
      R"( xmlns:p="http://schemas.microsoft.com/office/2006/keyEncryptor/password"><keyData)" +
      cipher +
      R"(/><keyEncryptors><keyEncryptor uri="http://schemas.microsoft.com/office/2006/keyEncryptor/password">)"
      R"(<p:encryptedKey spinCount=")" +
      std::to_string(kRounds) + '"' + cipher + R"( encryptedVerifierHashInput=")" +
      secret("\xFE\xA7\xD2\x76\x3B\x4B\x9E\x79", std::string(kVerifier)) + R"(" encryptedVerifierHashValue=")" +
      secret("\xD7\xAA\x0F\x6D\x30\x61\x34\x4E", Fitted(Sha1(kVerifier), 32)) + R"(" encryptedKeyValue=")" +
      secret("\x14\x6E\x0B\xE7\xAB\xAC\xD0\xD6", document_key) +
      R"("/></keyEncryptor></keyEncryptors></encryption>)";
  made.encrypt = [=](std::uint32_t block, std::span<char> bytes) {
    Write(bytes, Aes(document_key, Fitted(Sha1(salt + Le32(block)), 16), {bytes.data(), bytes.size()}));
  };
  return made;
}

}  // namespace

OfficeEncryption EncryptFor(OfficeScheme scheme, std::string_view password) {
  if (scheme == OfficeScheme::kRc4Short) return Short(password);
  return scheme == OfficeScheme::kAgile ? Agile(password) : Binary(scheme, password);
}

}  // namespace kestrel::testing
