// A stop that may be asked for from any thread.
#pragma once

#include <atomic>

namespace kestrel::abi {

class StopRequest {
 public:
  // Something that can be stopped is under way while one of these lives.
  class Scope {
   public:
    explicit Scope(StopRequest& request) : request_(request) {
      if (request_.under_way_.fetch_add(1) == 0) request_.times_ = 0;
    }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope() { --request_.under_way_; }

   private:
    StopRequest& request_;
  };

  // Any thread; false where nothing is under way.
  bool Ask() {
    if (under_way_ == 0) return false;
    ++times_;
    return true;
  }
  // How often, since the outermost scope began.
  int times() const { return times_.load(std::memory_order_relaxed); }

 private:
  std::atomic<int> under_way_ = 0;
  std::atomic<int> times_ = 0;
};

}  // namespace kestrel::abi
