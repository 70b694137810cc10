#include "support/zip_writer.h"

#include <zlib.h>

#include <new>

namespace kestrel::testing {

namespace {

constexpr std::uint64_t kStored = 0;
constexpr std::uint64_t kDeflated = 8;

std::uint32_t Checksum(const std::string& bytes) {
  return static_cast<std::uint32_t>(
      crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<z_size_t>(bytes.size())));
}

std::string Deflated(const std::string& bytes) {
  z_stream stream{};
  constexpr int kNoHead = -15;
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kNoHead, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
  std::string packed(deflateBound(&stream, bytes.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));  // not written to
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  deflate(&stream, Z_FINISH);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

std::string Number(std::uint64_t number, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i, number >>= 8) text += static_cast<char>(number & 0xFF);
  return text;
}

}  // namespace

void ZipWriter::Add(const std::string& name, const std::string& content) {
  AddPart(name, content, Deflated(content), kDeflated);
}

void ZipWriter::AddStored(const std::string& name, const std::string& content) {
  AddPart(name, content, content, kStored);
}

void ZipWriter::AddPart(const std::string& name, const std::string& content, const std::string& packed,
                        std::uint64_t method) {
  // Version, flags, method and time, then what tells about the content.
  const std::string head = Number(20, 2) + Number(0, 2) + Number(method, 2) + Number(0, 4) +
                           Number(Checksum(content), 4) + Number(packed.size(), 4) + Number(content.size(), 4) +
                           Number(name.size(), 2) + Number(0, 2);
  directory_ += "PK\x01\x02" + Number(20, 2) + head + Number(0, 10) + Number(bytes_.size(), 4) + name;
  bytes_ += "PK\x03\x04" + head + name + packed;
  ++count_;
}

std::string ZipWriter::Bytes() const {
  return bytes_ + directory_ + "PK\x05\x06" + Number(0, 4) + Number(count_, 2) + Number(count_, 2) +
         Number(directory_.size(), 4) + Number(bytes_.size(), 4) + Number(0, 2);
}

}  // namespace kestrel::testing
