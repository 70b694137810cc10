// What the wizard's windows may do beyond what they are known for. All of it is off by default.
#pragma once

namespace kestrel {

struct WizardComforts {
  // Behind the closing message the run window stays: it says in figures what became of the records, with which one
  // to go on where the run stopped, and saves those that were not stored to a file.
  bool run_summary = false;
  // Before step 3 it is told what has become of the source's columns since the specification was saved; the person
  // goes on or stays on step 2, and has new names taken over into the assignment. Where the
  // specification remembers columns, a source whose own cannot be read keeps the person on step 2.
  bool column_drift = false;
  // Step 1 tells once, in a message box, which files its list leaves out because they cannot be read, and why.
  bool unreadable_specifications = false;
};

}  // namespace kestrel
