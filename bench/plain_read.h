// The least that reading a file can cost: one pass of read() into one buffer that is used again.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace kestrel::bench {

// The number of bytes read.
inline std::size_t PlainRead(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) throw std::runtime_error("cannot open " + path);
  std::vector<char> buffer(std::size_t{1} << 16);
  std::size_t size = 0;
  ssize_t got = 0;
  while ((got = read(descriptor, buffer.data(), buffer.size())) > 0) size += static_cast<std::size_t>(got);
  close(descriptor);
  return size;
}

}  // namespace kestrel::bench
