#include "spec/manage_specifications.h"

#include <sys/stat.h>

#include <array>

#include "kestrel/runtime_error.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "platform/profile/profile.h"
#include "spec/save_schema.h"
#include "spec/specification.h"

namespace kestrel {

namespace {

// `path` is the file that may have the name already.
void RequireFreeName(Session& session, const std::string& path, const std::string& name) {
  if (TrimBlanks(name).empty()) {
    throw RuntimeError(ErrorNumber::kInvalidProcedureCall, "Bitte geben Sie einen Namen ein.");
  }
  for (const SpecificationEntry& entry : ListSpecifications(session, SpecificationKind::kSpecification)) {
    if (entry.description != name || entry.path == path) continue;
    throw RuntimeError(ErrorNumber::kFileAlreadyExists, "Es gibt schon ein Schema mit dem Namen \"" + name +
                                                            "\". Wählen Sie einen anderen Namen.");
  }
}

std::array<ProfileEdit, 1> NameEdit(const std::string& name) { return {{{"Common", "Description", name}}}; }

}  // namespace

void RenameSpecification(Session& session, const std::string& path, const std::string& name) {
  RequireFreeName(session, path, name);
  ProfileStore().Write(path, NameEdit(name));
}

std::string DuplicateSpecification(Session& session, const std::string& path, const std::string& name) {
  RequireFreeName(session, "", name);
  std::string copy = NewSpecificationPath(session, name);
  if (FileExists(copy)) {
    throw RuntimeError(ErrorNumber::kFileAlreadyExists,
                       std::string(DescriptionOf(ErrorNumber::kFileAlreadyExists)) + ": " + copy);
  }
  // Whoever may read the one may read the other.
  struct stat original {};
  constexpr mode_t kPrivate = S_IRUSR | S_IWUSR;
  const bool is_known = ::stat(path.c_str(), &original) == 0;
  ProfileStore().WriteCopy(path, copy, NameEdit(name),
                           is_known ? (original.st_mode & 0777) | kPrivate : kPrivate);
  return copy;
}

}  // namespace kestrel
