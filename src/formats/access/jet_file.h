// An Access file in memory, taken apart into pages and the rows stored on them.
//
// Formats: Jet 3 (Access 97: pages of 2 KiB, text in a code page) and Jet 4 (Access 2000 and later, .accdb
// included: pages of 4 KiB, text in Unicode). The format's facts are those of the public description that
// comes with the Debian package mdbtools (HACKING.md).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/access/raw_bytes.h"
#include "formats/encryption/document_cipher.h"
#include "kestrel/file_identity.h"
#include "platform/base/code_page.h"

namespace kestrel::access {

// Where a row is stored: the page above, the number on the page in the lowest eight bits.
using RowPointer = std::uint32_t;
constexpr std::uint32_t PageOf(RowPointer pointer) { return pointer >> 8; }
constexpr std::uint32_t RowOf(RowPointer pointer) { return pointer & 0xFFU; }

struct StoredRow {
  std::string_view bytes;
  bool skipped = false;  // deleted, or the new place of a row that moved and is reached by a pointer
  bool lookup = false;   // the bytes start with a pointer to where the row is stored now
};

// May be shared by several readers of one thread: nothing changes but that an encrypted page is made plain when
// it is asked for first.
class JetFile {
 public:
  // Takes the content of a file; `name` is what errors call it, `identity` which file it was. Raises 3000 for
  // content that is no Access database, for a form that cannot be read, and for a password other than the one
  // in the file. No error text holds a password. A file without a password opens with any.
  JetFile(std::string content, std::string_view password, std::string name = "",
          std::optional<FileIdentity> identity = std::nullopt);

  bool IsJet3() const { return jet3_; }
  std::uint32_t PageCount() const { return page_count_; }
  std::size_t FileSize() const { return content_.size(); }

  // Whether the page lies within the file. What the file names and does not have was cut off.
  bool HasPage(std::uint64_t page) const { return page < page_count_; }
  // That pages up to this one are missing: how long the file is and would have to be, for a sentence.
  std::string Shortage(std::uint64_t last_page) const;
  // Of the beginning of a page, there or missing.
  FilePlace PlaceOf(std::uint64_t page) const;
  const std::string& name() const { return name_; }
  const std::optional<FileIdentity>& identity() const { return identity_; }

  // A page's bytes. Raises 3000 for a page the file does not have.
  RawBytes Page(std::uint32_t page) const;
  // How many rows a page has room entries for. 0 where that does not fit on the page.
  std::uint32_t RowsOnPage(const RawBytes& page) const;
  // A row of a data page of this file. Raises 3000, with the page, where it does not lie within the page.
  StoredRow RowOnPage(const RawBytes& page, std::uint32_t row) const;
  // The bytes of a row, lookups followed. Raises 3000, with the page, where that leads astray.
  std::string_view Row(RowPointer pointer) const;

  // Text as the format stores it, as UTF-8: a view of `text`, which is overwritten, or of `stored` where that
  // can be taken as it stands.
  std::string_view DecodeText(std::string_view stored, std::string& text) const;

 private:
  std::uint64_t NumberOf(const RawBytes& page) const;
  void ReadHeader(std::string_view password);
  // Sets the cipher of an .accdb, where the password is right.
  void OpenOfficeEncryption(std::string_view password);

  mutable std::string content_;
  std::string name_;
  std::optional<FileIdentity> identity_;
  bool jet3_ = false;
  std::size_t page_size_ = 0;
  std::uint32_t page_count_ = 0;
  std::unique_ptr<encryption::BlockCipher> cipher_;  // null where nothing is encrypted
  std::uint32_t page_key_ = 0;                       // a page is the block of its number, mixed with this
  mutable std::vector<bool> plain_;                  // pages decrypted already; empty without a cipher
  CodePage code_page_{1252};                         // of Jet 3
};

using JetFilePtr = std::shared_ptr<const JetFile>;

}  // namespace kestrel::access
