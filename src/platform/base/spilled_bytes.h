// Bytes set aside that may become more than memory should hold: the first of them in memory, the others in a
// scratch file without a name, read back in blocks.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace kestrel {

class SpilledBytes {
 public:
  static constexpr std::size_t kDefaultMemory = std::size_t{4} << 20;
  // `most_memory`: how many bytes stay in memory, besides some blocks of the file.
  explicit SpilledBytes(std::size_t most_memory = kDefaultMemory) : most_memory_(most_memory) {}

  std::uint64_t size() const { return memory_.size() + spilled_ + tail_.size(); }
  // Raises 61 and others where the scratch file cannot be written.
  void Append(std::string_view bytes);
  // The `size` bytes at `offset`, fewer at the end. Valid until the next call of View or Append. Error 57 where
  // the scratch file cannot be read.
  std::string_view View(std::uint64_t offset, std::size_t size) const;

 private:
  static constexpr std::size_t kBlockSize = std::size_t{64} << 10;
  static constexpr std::size_t kBlocks = 16;
  struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  struct Block {
    std::uint64_t number = 0;
    std::string bytes;  // empty: none yet
  };

  void WriteTail();
  // The rest of a block of what is not in memory, from `offset` (counted behind memory_) on.
  std::string_view BlockFrom(std::uint64_t offset) const;

  std::size_t most_memory_;
  std::string memory_;
  std::unique_ptr<std::FILE, CloseFile> file_;
  std::uint64_t spilled_ = 0;                  // bytes in the file, whole blocks
  std::string tail_;                           // those behind them
  mutable std::array<Block, kBlocks> blocks_;  // each block of the file has one place
  mutable std::string gathered_;               // what View gave, where it lay in several places
};

}  // namespace kestrel
