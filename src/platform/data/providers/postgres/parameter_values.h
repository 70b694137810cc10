#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::postgres {

// Values on their way to the server, in text form and each ended by a NUL as libpq wants them.
class ParameterValues {
 public:
  void Clear();
  // Error 3000 for a text that holds a NUL, which the database cannot store.
  void AddText(std::string_view text);
  void AddInteger(std::int64_t number);
  void AddDouble(double number);
  void AddNull() { starts_.push_back(kNull); }

  std::size_t size() const { return starts_.size(); }
  // One pointer a value, null for nulls; they live until the next change of this object.
  const char* const* Pointers();

 private:
  static constexpr std::size_t kNull = static_cast<std::size_t>(-1);

  std::string texts_;
  std::vector<std::size_t> starts_;
  std::vector<const char*> pointers_;
};

}  // namespace kestrel::postgres
