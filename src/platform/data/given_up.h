// Whether a connection is gone for good, for whoever tells of what fails. Of providers that come with the component, found
// by dynamic_cast; others do not have it.
#pragma once

namespace kestrel {

class GivenUp {
 public:
  GivenUp() = default;
  GivenUp(const GivenUp&) = delete;
  GivenUp& operator=(const GivenUp&) = delete;
  virtual ~GivenUp() = default;

  // The session is lost, and a new one could not be had or is not wanted; so every call fails.
  virtual bool IsGivenUp() const = 0;
};

}  // namespace kestrel
