#include "formats/excel/encrypted_package.h"

#include <algorithm>
#include <functional>
#include <memory>

#include "formats/encryption/document_cipher.h"
#include "formats/excel/biff_decryption.h"
#include "formats/excel/compound_file.h"

namespace kestrel::excel {

namespace {

// Whether the bytes lie in memory as they follow each other.
bool IsInOrder(const ScatteredBytes& bytes) {
  const std::byte* behind = nullptr;
  for (std::size_t at = 0; at < bytes.size();) {
    const Bytes piece = bytes.Piece(at, bytes.size() - at);
    if (behind != nullptr && std::less<>()(piece.data(), behind)) return false;
    behind = piece.data() + piece.size();
    at += piece.size();
  }
  return true;
}

}  // namespace

void DecryptPackage(std::string& file) {
  constexpr std::size_t kMostInfo = 65536;
  constexpr std::size_t kSegment = 4096;
  constexpr std::size_t kSizeHead = 8;
  constexpr std::size_t kCipherBlock = 16;
  if (!CompoundFile::IsOne(BytesOf(file))) return;
  const CompoundFile container(BytesOf(file));
  const auto package = container.FindStream("EncryptedPackage");
  const auto info = container.FindStream("EncryptionInfo");
  if (!package || !info) return;

  std::string scratch;
  const Bytes info_bytes = info->bytes.Read(0, std::min(info->bytes.size(), kMostInfo), scratch);
  const std::unique_ptr<encryption::BlockCipher> cipher =
      encryption::OpenCipher(info_bytes, encryption::kDefaultPassword);
  if (cipher == nullptr) RaiseNeedsPassword();
  const bool has_numbers = encryption::IsAgile(info_bytes);

  const std::size_t stored = package->bytes.size();
  const std::uint64_t told = ReadU64(package->bytes.Read(0, kSizeHead, scratch), 0);
  // Large files are not to be held twice: where the package's pieces follow each other, what is plain takes the
  // place of what has been read.
  std::string elsewhere(IsInOrder(package->bytes) ? 0 : stored, '\0');
  std::string& plain = elsewhere.empty() ? file : elsewhere;
  std::size_t done = 0;
  for (std::size_t at = kSizeHead; at < stored; at += kSegment) {
    const std::size_t size = std::min(kSegment, stored - at) / kCipherBlock * kCipherBlock;
    std::string segment(CharactersOf(package->bytes.Read(at, size, scratch)));
    cipher->Decrypt(has_numbers ? static_cast<std::uint32_t>(at / kSegment) : 0, segment);
    plain.replace(done, size, segment);
    done += size;
  }
  plain.resize(static_cast<std::size_t>(std::min<std::uint64_t>(told, done)));
  if (&plain != &file) file = std::move(plain);
}

}  // namespace kestrel::excel
