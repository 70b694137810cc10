#include "sources/text_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/base/runtime_error.h"
#include "platform/base/text.h"

namespace kestrel {

namespace {

// Small enough that a block just read is still in the cache when its lines are looked for.
constexpr std::size_t kReadSize = std::size_t{256} << 10;
// One line end that the file may lack, and what a scan may read behind it.
constexpr std::size_t kTail = 1 + LineScanner::kPadding;

class InputFile {
 public:
  explicit InputFile(const std::string& path)
      : path_(path), descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)) {
    if (descriptor_ < 0) throw ErrorFromErrno(errno, path_);
  }
  ~InputFile() { close(descriptor_); }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  // What the system says; a pipe or a file that grows holds more than that.
  std::size_t ExpectedSize() const {
    struct stat status {};
    if (fstat(descriptor_, &status) != 0) throw ErrorFromErrno(errno, path_);
    return status.st_size > 0 ? static_cast<std::size_t>(status.st_size) : 0;
  }

  // Fills `size` bytes; fewer only at the end of the file.
  std::size_t Read(char* bytes, std::size_t size) const {
    std::size_t filled = 0;
    while (filled < size) {
      const ssize_t got = read(descriptor_, bytes + filled, size - filled);
      if (got == 0) break;
      if (got > 0) {
        filled += static_cast<std::size_t>(got);
      } else if (errno != EINTR) {
        throw ErrorFromErrno(errno, path_);
      }
    }
    return filled;
  }

 private:
  const std::string& path_;
  int descriptor_;
};

enum class ByteOrderMark { kNone, kUtf8, kUtf16Little, kUtf16Big };

ByteOrderMark FindByteOrderMark(std::string_view bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF")) return ByteOrderMark::kUtf8;
  if (bytes.starts_with("\xFF\xFE")) return ByteOrderMark::kUtf16Little;
  if (bytes.starts_with("\xFE\xFF")) return ByteOrderMark::kUtf16Big;
  return ByteOrderMark::kNone;
}

std::size_t SizeOf(ByteOrderMark mark) {
  if (mark == ByteOrderMark::kNone) return 0;
  return mark == ByteOrderMark::kUtf8 ? 3 : 2;
}

bool IsUtf16(ByteOrderMark mark) {
  return mark == ByteOrderMark::kUtf16Little || mark == ByteOrderMark::kUtf16Big;
}

// The first line is certain once it has ended at a CR, as an LF may turn out to end no line, and when it
// cannot be changed by what the rest of the file tells about the character set.
bool FirstLineIsCertain(const LineScanner& scanner) {
  return scanner.first_line_known() && scanner.line_end() == '\r' &&
         (!scanner.utf8() || !scanner.beyond_ascii());
}

}  // namespace

TextFile TextFile::Load(const std::string& path, const TextFormat& format, Extent extent) {
  const InputFile file(path);
  TextFile text;
  FileBuffer& buffer = text.buffer_;
  // One byte more than expected, so that the end is seen without growing.
  buffer.Reserve(file.ExpectedSize() + 1 + kTail);

  const auto read_on = [&file, &buffer](std::size_t loaded) {
    if (loaded + kTail == buffer.capacity()) buffer.Reserve(2 * buffer.capacity() + kReadSize);
    return file.Read(buffer.data() + loaded, std::min(kReadSize, buffer.capacity() - kTail - loaded));
  };
  std::size_t loaded = read_on(0);
  const ByteOrderMark mark = FindByteOrderMark({buffer.data(), loaded});
  const bool repair = format.file_format == "ASCII";
  const bool utf16 = IsUtf16(mark);

  LineScanner scanner(SizeOf(mark), format.column_headings, mark == ByteOrderMark::kUtf8 || !repair);
  for (std::size_t got = loaded; got != 0; loaded += got) {
    if (!utf16) scanner.Scan(buffer.data(), loaded);
    if (extent == Extent::kFirstLine && FirstLineIsCertain(scanner)) break;
    got = read_on(loaded);
  }

  const std::string_view content(buffer.data() + SizeOf(mark), loaded - SizeOf(mark));
  if (utf16) {
    std::string decoded = FromUtf16(content, mark == ByteOrderMark::kUtf16Big);
    text.Replace(repair ? RepairAsciiUmlauts(decoded) : std::move(decoded), format.column_headings);
    return text;
  }
  scanner.Finish(buffer.data(), loaded);
  if (mark == ByteOrderMark::kUtf8 && (repair || !scanner.utf8())) {
    std::string decoded = RepairUtf8(content);
    text.Replace(repair ? RepairAsciiUmlauts(decoded) : std::move(decoded), format.column_headings);
    return text;
  }
  const bool is_utf8 = mark == ByteOrderMark::kUtf8 || (scanner.utf8() && scanner.beyond_ascii());
  text.charset_ = is_utf8 ? Charset::kUtf8 : Charset::kWindows1252;
  text.repair_umlauts_ = repair;
  text.first_line_begin_ = SizeOf(mark);
  text.TakeLines(scanner);
  buffer.data()[loaded] = text.line_end_;
  return text;
}

void TextFile::Replace(std::string text, bool header) {
  buffer_.Release();
  decoded_ = std::move(text);
  const std::size_t size = decoded_.size();
  decoded_.append(kTail, '\0');
  LineScanner scanner(0, header, /*check_utf8=*/false);
  scanner.Scan(decoded_.data(), size);
  scanner.Finish(decoded_.data(), size);
  charset_ = Charset::kUtf8;
  TakeLines(scanner);
  decoded_[size] = line_end_;
}

void TextFile::TakeLines(LineScanner& scanner) {
  line_end_ = scanner.line_end();
  first_line_end_ = scanner.first_line_end();
  index_ = scanner.TakeIndex();
}

std::string TextFile::FirstLine() const {
  return Decode({text() + first_line_begin_, first_line_end_ - first_line_begin_});
}

std::string TextFile::Decode(std::string_view bytes) const {
  std::string decoded = charset_ == Charset::kUtf8 ? std::string(bytes) : FromWindows1252(bytes);
  return repair_umlauts_ ? RepairAsciiUmlauts(decoded) : decoded;
}

}  // namespace kestrel
