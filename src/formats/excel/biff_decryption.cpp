#include "formats/excel/biff_decryption.h"

#include <algorithm>
#include <array>
#include <bit>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "formats/encryption/document_cipher.h"
#include "formats/excel/biff_records.h"

namespace kestrel::excel {

namespace {

using encryption::BlockCipher;
using encryption::kDefaultPassword;

class StreamCipher {
 public:
  StreamCipher() = default;
  StreamCipher(const StreamCipher&) = delete;
  StreamCipher& operator=(const StreamCipher&) = delete;
  virtual ~StreamCipher() = default;
  // In place, the bytes at `offset` of the stream; they belong to a record whose content has `content_size` bytes.
  virtual void Decrypt(std::size_t offset, std::size_t content_size, std::span<char> bytes) = 0;
};

// Every byte is turned and combined with one of sixteen, by its place.
class XorCipher final : public StreamCipher {
 public:
  explicit XorCipher(std::uint16_t key) {
    constexpr char kFiller = '\xBB';  // behind the password's fifteen characters
    static_assert(kDefaultPassword.size() + 1 == kMasks);
    for (std::size_t i = 0; i < kMasks; ++i) {
      const char character = i < kDefaultPassword.size() ? kDefaultPassword[i] : kFiller;
      const auto half = static_cast<std::uint8_t>(i % 2 == 0 ? key : key >> 8);
      masks_[i] = std::rotl(static_cast<std::uint8_t>(static_cast<std::uint8_t>(character) ^ half), 2);
    }
  }

  void Decrypt(std::size_t offset, std::size_t content_size, std::span<char> bytes) override {
    for (char& byte : bytes) {
      byte = static_cast<char>(std::rotl(static_cast<std::uint8_t>(byte), 3) ^
                               masks_[(offset + content_size) % kMasks]);
      ++offset;
    }
  }

  // What such a workbook tells of its password.
  static std::uint16_t VerifierOfDefaultPassword() {
    std::uint16_t verifier = 0;
    const auto add = [&](std::uint8_t byte) {
      verifier = static_cast<std::uint16_t>(((verifier >> 14 & 1) | (verifier << 1 & 0x7FFF)) ^ byte);
    };
    for (std::size_t i = kDefaultPassword.size(); i-- > 0;) add(static_cast<std::uint8_t>(kDefaultPassword[i]));
    add(static_cast<std::uint8_t>(kDefaultPassword.size()));
    return verifier ^ 0xCE4B;
  }

 private:
  static constexpr std::size_t kMasks = 16;
  std::array<std::uint8_t, kMasks> masks_{};
};

// Combines with a key stream that begins anew with every block; bytes that are stored as they are use up
// theirs, too.
class KeyStream final : public StreamCipher {
 public:
  explicit KeyStream(std::unique_ptr<BlockCipher> blocks) : blocks_(std::move(blocks)) {}

  void Decrypt(std::size_t offset, std::size_t, std::span<char> bytes) override {
    for (char& byte : bytes) {
      const std::size_t block = offset / kBlockSize;
      if (block != block_) {
        mask_.fill('\0');
        blocks_->Decrypt(static_cast<std::uint32_t>(block), mask_);
        block_ = block;
      }
      byte = static_cast<char>(byte ^ mask_[offset++ % kBlockSize]);
    }
  }

 private:
  static constexpr std::size_t kBlockSize = 1024;
  std::unique_ptr<BlockCipher> blocks_;
  std::optional<std::size_t> block_;  // the one that mask_ is for
  std::array<char, kBlockSize> mask_{};
};

// `pass` tells how the stream is encrypted. Without a value where its password is not the default one.
std::unique_ptr<StreamCipher> OpenStreamCipher(Bytes pass, bool is_biff8) {
  // Only BIFF8 knows more than one way, and tells it first.
  if (is_biff8 && ReadU16(pass, 0) != 0) {
    auto blocks = encryption::OpenCipher(Rest(pass, 2), kDefaultPassword);
    return blocks == nullptr ? nullptr : std::make_unique<KeyStream>(std::move(blocks));
  }
  const Bytes numbers = Rest(pass, is_biff8 ? 2 : 0);
  if (ReadU16(numbers, 2) != XorCipher::VerifierOfDefaultPassword()) return nullptr;
  return std::make_unique<XorCipher>(ReadU16(numbers, 0));
}

// Moves to what tells of the encryption, which stands before the names of the sheets.
bool FindFilePass(RecordCursor& cursor) {
  while (cursor.Next() && cursor.type() != kEof && cursor.type() != kBoundSheet) {
    if (cursor.type() == kFilePass) return true;
  }
  return false;
}

// How many bytes of a record's content are stored as they are.
std::size_t PlainSize(const RecordCursor& cursor) {
  constexpr std::uint16_t kUserExclusive = 0x0194, kFileLock = 0x0195, kInterfaceHead = 0x00E1;
  constexpr std::uint16_t kRevisionInfo = 0x0196, kRevisionHead = 0x0138;
  constexpr std::size_t kSheetOffset = 4;
  switch (cursor.type()) {
    case kBof:
    case kFilePass:
    case kUserExclusive:
    case kFileLock:
    case kInterfaceHead:
    case kRevisionInfo:
    case kRevisionHead: return cursor.data().size();
    case kBoundSheet: return std::min(kSheetOffset, cursor.data().size());
    default: return 0;
  }
}

}  // namespace

void RaiseNeedsPassword() {
  throw FormatError(
      "Die Arbeitsmappe ist mit einem Kennwort verschlüsselt; sie muss ohne Kennwort gespeichert "
      "werden, bevor sie gelesen werden kann");
}

void DecryptStream(std::string& file, const ScatteredBytes& stream) {
  RecordCursor cursor(stream, 0);
  if (!cursor.Next() || cursor.type() != kBof) return;
  const bool is_biff8 = cursor.data().size() >= 2 && ReadU16(cursor.data(), 0) == kBiff8;
  if (!FindFilePass(cursor)) return;
  const std::unique_ptr<StreamCipher> cipher = OpenStreamCipher(cursor.data(), is_biff8);
  if (cipher == nullptr) RaiseNeedsPassword();
  while (cursor.Next()) {
    const std::size_t size = cursor.data().size();
    const std::size_t end = cursor.end();
    for (std::size_t at = end - size + PlainSize(cursor); at < end;) {
      const Bytes piece = stream.Piece(at, end - at);
      const auto place = static_cast<std::size_t>(piece.data() - BytesOf(file).data());
      cipher->Decrypt(at, size, std::span(file).subspan(place, piece.size()));
      at += piece.size();
    }
  }
}

}  // namespace kestrel::excel
