// What is wrong with an import specification as a file: entries that are missing, misspelt, cut or never read.
#pragma once

#include "component/session.h"
#include "kestrel/finding.h"
#include "platform/profile/profile.h"

namespace kestrel {

// Section Common as it was loaded into the session. Looks at the backup folder; the source stays closed.
void CheckCommonSection(const Session& session, const ProfileImage& specification, Findings& findings);

// Translation tables and their switches.
void CheckTranslations(const ProfileImage& specification, Findings& findings);

// Section CfgSettings: its switches, and the duplicate check with its keys.
void CheckSettings(const ProfileImage& specification, Findings& findings);

// Sections and keys that nobody reads for this kind of source.
void CheckUnreadEntries(const Session& session, const ProfileImage& specification, Findings& findings);

}  // namespace kestrel
