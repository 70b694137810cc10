#include "formats/access/jet_file.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

#include "formats/access/jet_text.h"
#include "formats/encryption/primitives.h"
#include "formats/encryption/rc4.h"
#include "platform/base/text.h"

namespace kestrel::access {
namespace {

using encryption::Rc4;

constexpr std::size_t kJet3PageSize = 2048;
constexpr std::size_t kJet4PageSize = 4096;

// The header, as offsets from the start of the file.
constexpr std::size_t kSignature = 0x04;
constexpr std::size_t kVersion = 0x14;
constexpr std::size_t kMasked = 0x18;  // from here on, 126 or 128 bytes
constexpr std::string_view kHeaderKey = "\xC7\xDA\x39\x6B";
constexpr std::size_t kCodePage = 0x3C;
constexpr std::size_t kPageKey = 0x3E;
constexpr std::size_t kPassword = 0x42;
constexpr std::size_t kJet3PasswordLength = 20;
constexpr std::size_t kJet4PasswordLength = 40;
constexpr std::size_t kCreated = 0x72;
// What an .accdb says about its encryption: size and bytes.
constexpr std::size_t kEncryptionInfoSize = 0x299;
constexpr std::size_t kEncryptionInfo = 0x29B;
constexpr std::uint8_t kVersionJet3 = 0;
constexpr std::uint8_t kVersionJet4 = 1;

constexpr std::uint16_t kRowOffsetMask = 0x1FFF;
// A pointer has the first bit, the place it leads to the second, a deleted row both.
constexpr std::uint16_t kRowIsLookup = 0x4000;
constexpr std::uint16_t kRowIsSkipped = 0x8000;

constexpr const char* kCopyAgain = "Bitte die Datei noch einmal vollständig kopieren.";

FormatError NotReadable(std::string text, FilePlace place = {}) {
  return FormatError(std::move(text), std::move(place));
}

FormatError WrongPassword(std::string_view given) {
  return NotReadable(std::string(given.empty() ? "Die Access-Datenbank ist mit einem Kennwort geschützt."
                                               : "Kein zulässiges Kennwort für die Access-Datenbank.") +
                     " Bitte das Kennwort angeben, mit dem sie in Access geöffnet wird (Password).");
}

// Pages as Access masked them until 2003, with a key that stands in the header.
class MaskedPages final : public encryption::BlockCipher {
 public:
  void Decrypt(std::uint32_t block, std::span<char> bytes) const override {
    encryption::Rc4(encryption::LittleEndianBytes(block)).Apply(bytes);
  }
};

// The password in the unmasked header, as UTF-8; empty where there is none.
std::string StoredPassword(const RawBytes& header, bool jet3) {
  if (jet3) {
    const std::string_view bytes = header.Part(kPassword, kJet3PasswordLength);
    return FromWindows1252(bytes.substr(0, bytes.find('\0')));
  }
  // Jet 4 masks the password once more, with the day the file was made.
  const double created = header.Double(kCreated);
  std::uint32_t day = 0;
  if (std::isfinite(created) && std::abs(created) < 1e9) {
    day = static_cast<std::uint32_t>(static_cast<std::int32_t>(created));
  }
  std::string bytes(header.Part(kPassword, kJet4PasswordLength));
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<char>(static_cast<std::uint8_t>(bytes[i]) ^ (day >> (i % 4 * 8) & 0xFFU));
  }
  std::size_t length = 0;
  while (length < bytes.size() && (bytes[length] != 0 || bytes[length + 1] != 0)) length += 2;
  return FromUtf16(std::string_view(bytes).substr(0, length), false);
}

}  // namespace

JetFile::JetFile(std::string content, std::string_view password, std::string name,
                 std::optional<FileIdentity> identity)
    : content_(std::move(content)), name_(std::move(name)), identity_(identity) {
  ReadHeader(password);
}

void JetFile::ReadHeader(std::string_view password) {
  const auto signature = std::string_view(content_).substr(std::min(kSignature, content_.size()), 15);
  const bool ace = signature == "Standard ACE DB";
  if (!ace && signature != "Standard Jet DB") {
    throw NotReadable("Die Datei ist keine Access-Datenbank.");
  }
  const std::uint8_t version = RawBytes(content_).U8(kVersion);
  jet3_ = version == kVersionJet3;
  page_size_ = jet3_ ? kJet3PageSize : kJet4PageSize;
  if (content_.size() < 3 * page_size_) {
    throw NotReadable("Die Access-Datei ist unvollständig: sie hat nur " + std::to_string(content_.size()) +
                      " Bytes. " + kCopyAgain);
  }
  page_count_ = static_cast<std::uint32_t>(
      std::min<std::size_t>(content_.size() / page_size_, RowPointer{0xFFFFFF} + std::size_t{1}));

  std::string header = content_.substr(0, page_size_);
  Rc4(kHeaderKey).Apply(std::span(header).subspan(kMasked, jet3_ ? 126 : 128));
  const RawBytes fields{header};
  // A code page that is unknown here is read as the usual one.
  if (jet3_ && CodePage::IsKnown(fields.U16(kCodePage))) code_page_ = CodePage(fields.U16(kCodePage));

  page_key_ = fields.U32(kPageKey);
  if (page_key_ != 0) plain_.resize(page_count_);
  // Since 2007 it is the encryption that asks for the password.
  if (page_key_ != 0 && version > kVersionJet4) return OpenOfficeEncryption(password);
  const std::string stored = StoredPassword(fields, jet3_);
  if (!stored.empty() && stored != password) throw WrongPassword(password);
  if (page_key_ != 0) cipher_ = std::make_unique<MaskedPages>();
}

void JetFile::OpenOfficeEncryption(std::string_view password) {
  const Bytes header = BytesOf(std::string_view(content_).substr(0, page_size_));
  const Bytes info = Part(header, kEncryptionInfo, ReadU16(header, kEncryptionInfoSize));
  if (info.empty()) {
    throw NotReadable(
        "Die Access-Datei ist verschlüsselt, sagt aber nicht, wie. Bitte das Kennwort der Datenbank in Access "
        "entfernen.");
  }
  cipher_ = encryption::OpenCipher(info, password);
  if (cipher_ == nullptr) throw WrongPassword(password);
}

FilePlace JetFile::PlaceOf(std::uint64_t page) const {
  return {.file = name_, .offset = page * page_size_, .page = page};
}

// Pages are views of the content.
std::uint64_t JetFile::NumberOf(const RawBytes& page) const {
  return static_cast<std::size_t>(page.view().data() - content_.data()) / page_size_;
}

std::string JetFile::Shortage(std::uint64_t last_page) const {
  return "Die Datei" + (name_.empty() ? "" : " " + name_) + " hat " + std::to_string(content_.size()) +
         " Bytes; bis zur Seite " + std::to_string(last_page) + " sind mindestens " +
         std::to_string((last_page + 1) * page_size_) + " nötig. " + kCopyAgain;
}

RawBytes JetFile::Page(std::uint32_t page) const {
  if (page >= page_count_) {
    throw NotReadable(
        "Die Access-Datei ist unvollständig: die Seite " + std::to_string(page) + " fehlt. " + Shortage(page),
        PlaceOf(page));
  }
  const std::span<char> bytes = std::span(content_).subspan(page * page_size_, page_size_);
  // The header is the only page that is never encrypted.
  if (cipher_ != nullptr && page > 0 && !plain_[page]) {
    cipher_->Decrypt(page_key_ ^ page, bytes);
    plain_[page] = true;
  }
  return RawBytes(std::string_view(bytes.data(), bytes.size()));
}

std::uint32_t JetFile::RowsOnPage(const RawBytes& page) const {
  const std::size_t at = jet3_ ? 8 : 12;
  const std::uint32_t rows = page.U16(at);
  return at + 2 + rows * 2 <= page.size() ? rows : 0;
}

StoredRow JetFile::RowOnPage(const RawBytes& page, std::uint32_t row) const {
  const std::uint32_t rows = RowsOnPage(page);
  if (row >= rows) throw Damaged("Verweis auf einen fehlenden Datensatz", PlaceOf(NumberOf(page)));
  const std::size_t offsets = jet3_ ? 10 : 14;
  const std::uint16_t entry = page.U16(offsets + row * 2);
  const std::size_t start = entry & kRowOffsetMask;
  const std::size_t end = row == 0 ? page.size() : page.U16(offsets + (row - 1) * 2) & kRowOffsetMask;
  if (start < offsets + rows * 2 || start > end || end > page.size()) {
    throw Damaged("ein Datensatz liegt außerhalb seiner Seite", PlaceOf(NumberOf(page)));
  }
  return {page.Part(start, end - start), (entry & kRowIsSkipped) != 0,
          (entry & (kRowIsLookup | kRowIsSkipped)) == kRowIsLookup};
}

std::string_view JetFile::Row(RowPointer pointer) const {
  // A row that moved again is reached through the place it moved to first; a chain longer than this is a circle.
  for (int step = 0; step < 16; ++step) {
    const StoredRow row = RowOnPage(Page(PageOf(pointer)), RowOf(pointer));
    if (!row.lookup) return row.bytes;
    pointer = RawBytes(row.bytes).U32(0);
  }
  throw Damaged("ein Datensatz verweist im Kreis", PlaceOf(PageOf(pointer)));
}

std::string_view JetFile::DecodeText(std::string_view stored, std::string& text) const {
  return jet3_ ? code_page_.Decode(stored, text) : DecodeJet4Text(stored, text);
}

}  // namespace kestrel::access
