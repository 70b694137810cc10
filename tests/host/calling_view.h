// A view of a run that calls somebody before each record.
#pragma once

#include <functional>
#include <string_view>
#include <utility>

#include "kestrel/run_view.h"

namespace kestrel::testing {

class CallingView final : public RunView {
 public:
  // Handed the number of the record, from 1.
  explicit CallingView(std::function<void(int)> call) : call_(std::move(call)) {}
  void SetInfo(std::string_view text) override {
    // Others are of waits and of the end.
    if (text.starts_with("Importiere Datensatz ")) call_(++records_);
  }
  void SetProgress(double) override {}
  void Yield() override {}
  void CloseWindow() override {}

 private:
  const std::function<void(int)> call_;
  int records_ = 0;
};

}  // namespace kestrel::testing
