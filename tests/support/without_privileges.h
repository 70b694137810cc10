// The rights of nobody in particular, which files and folders can be closed to.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

namespace kestrel::testing {

// While it lives, this process and those that it starts have them; without effect for a plain user.
class WithoutPrivileges {
 public:
  // The real user too, as the system does not let a program be examined for leaks that has another effective one.
  WithoutPrivileges() {
    if (is_root_) {
      EXPECT_EQ(::setresuid(kNobody, kNobody, 0), 0);
    }
  }
  WithoutPrivileges(const WithoutPrivileges&) = delete;
  WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;
  ~WithoutPrivileges() {
    if (is_root_) {
      EXPECT_EQ(::setresuid(0, 0, 0), 0);
    }
  }

 private:
  static constexpr uid_t kNobody = 65534;
  const bool is_root_ = ::geteuid() == 0;
};

}  // namespace kestrel::testing
