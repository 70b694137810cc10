// How long windows do not answer at most: the longest time between two rounds of the message loop. All comforts are on.
//
//   step 1        opened over a folder of 1,000 specifications, its search typed into, its lists changed
//   step 2        its settings changed, and the first records that follow
//   step 3        opened, all lines walked through, searched, assigned by name, the tab "Ergebnis" opened
//   editor        opened over a column whose values are read from all of the file, and over one with 10,000 of them,
//                 translations given and saved
//   import        the run window from the first record to the result
//   host          the sample host's window, opened over what was imported and as many errors, all of its lists read anew
//   search        among the addresses imported: the first answer and the whole one to questions in turn, the first of
//                 which reads the list; one of them behind somebody else's change
#pragma once

#include <string>

namespace kestrel::bench {

// FILE is one that generate_addresses wrote. Raise std::runtime_error.
void MeasureGaps(const std::string& file);
void MeasureSearch(const std::string& file);

}  // namespace kestrel::bench
