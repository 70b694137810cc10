// What an import does with its source, in words.
#pragma once

#include <string>

#include "component/session.h"

namespace kestrel {

// "Textdatei ''/tmp/kunden.txt''"
std::string SourceName(const Session& session);

// What happens to the source: a backup copy, removal, nothing; a sentence. Of a test run, where that is
// `harmless_test` or not.
std::string SourceFateText(const Session& session, bool is_test, bool harmless_test);

}  // namespace kestrel
