// What the wizard's windows may do beyond what they are known for. All of it is off by default.
#pragma once

namespace kestrel {

struct WizardComforts {
  // Behind the closing message the run window stays: it says in figures what became of the records, with which one
  // to go on where the run stopped, and saves those that were not stored to a file.
  bool run_summary = false;
};

}  // namespace kestrel
