#include "kestrel/component_registry.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <list>
#include <map>
#include <system_error>
#include <utility>

#include "platform/base/file.h"
#include "platform/base/text.h"
#include "platform/profile/caseless.h"
#include "platform/profile/profile.h"

namespace kestrel {

namespace {

RuntimeError CannotCreate(std::string_view prog_id, const std::string& reason) {
  return RuntimeError(ErrorNumber::kCannotCreateObject,
                      std::string(DescriptionOf(ErrorNumber::kCannotCreateObject)) + ": '" +
                          std::string(prog_id) + "' " + reason);
}

std::string LoaderReason() {
  const char* reason = ::dlerror();
  return reason == nullptr ? "kein Grund gemeldet" : reason;
}

// Any address within this library, to ask the loader where it was loaded from.
const char kHere = 0;

std::string FolderOfThisLibrary() {
  Dl_info info{};
  if (::dladdr(&kHere, &info) == 0 || info.dli_fname == nullptr) return "";
  std::error_code ignored;
  return std::filesystem::weakly_canonical(info.dli_fname, ignored).parent_path().string();
}

// Lets the plug-in that announced `prog_id` register its factories.
void LoadLibraryOf(std::string_view prog_id, const std::string& library, ComponentRegistry& registry) {
  // Never closed: objects of the library may live as long as the process.
  void* handle = ::dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) throw CannotCreate(prog_id, "kann nicht geladen werden: " + LoaderReason());
  using RegisterFunction = void (*)(ComponentRegistry&);
  const auto register_components = reinterpret_cast<RegisterFunction>(::dlsym(handle, kRegisterSymbol));
  if (register_components == nullptr) {
    throw CannotCreate(prog_id, "kann nicht geladen werden: " + library + " hat kein Symbol " +
                                    kRegisterSymbol + " (" + LoaderReason() + ")");
  }
  register_components(registry);
}

struct LessIgnoringCase {
  using is_transparent = void;
  bool operator()(std::string_view a, std::string_view b) const {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                        [&](char x, char y) { return lower(x) < lower(y); });
  }
};

}  // namespace

struct ComponentRegistry::Known {
  std::vector<std::shared_ptr<void>> companions;
  std::string refusal;  // of the plug-in that registers
  // Few, and objects are made for every record: they are found soonest by their names as they are written.
  std::list<std::pair<std::string, Factory>> factories;
  std::map<std::string, std::string, LessIgnoringCase> libraries;
  std::vector<std::string> folders;

  // Null where there is none.
  Factory* FindFactory(std::string_view prog_id) {
    for (auto& [name, factory] : factories) {
      if (name == prog_id) return &factory;
    }
    for (auto& [name, factory] : factories) {
      if (CaselessEqual()(name, prog_id)) return &factory;
    }
    return nullptr;
  }
};

ComponentRegistry::ComponentRegistry() : known_(std::make_unique<Known>()) {}
ComponentRegistry::~ComponentRegistry() = default;

void ComponentRegistry::Register(std::string prog_id, Factory factory) {
  if (Factory* const known = known_->FindFactory(prog_id)) {
    *known = std::move(factory);
  } else {
    known_->factories.emplace_back(std::move(prog_id), std::move(factory));
  }
}

void ComponentRegistry::AddFolder(const std::string& folder) {
  known_->folders.push_back(folder);
  if (!FolderExists(folder)) return;
  constexpr std::string_view kExtension = ".component";
  for (const std::string& path : ListFiles(folder)) {
    if (!path.ends_with(kExtension)) continue;
    const ProfileImage announcement(ReadWholeFile(path));
    const ProfileImage::Section* section = announcement.FindSection("Components");
    if (section == nullptr) continue;
    for (const auto& [prog_id, library] : section->entries) {
      const bool beside = library.find('/') == std::string::npos;
      known_->libraries.try_emplace(prog_id, beside ? JoinPath(folder, library) : library);
    }
  }
}

void ComponentRegistry::AddDefaultFolders() {
  const char* named = std::getenv("KESTREL_COMPONENTS");
  if (named != nullptr) {
    for (const std::string_view folder : Split(named, ':')) {
      if (!folder.empty()) AddFolder(std::string(folder));
    }
  }
  AddFolder(JoinPath(FolderOfThisLibrary(), "kestrel/components"));
}

ObjectPtr ComponentRegistry::CreateObject(std::string_view prog_id) {
  Factory* factory = known_->FindFactory(prog_id);
  if (factory == nullptr) {
    const auto library = known_->libraries.find(prog_id);
    if (library == known_->libraries.end()) {
      std::string searched;
      for (const std::string& folder : known_->folders) searched += (searched.empty() ? "" : ", ") + folder;
      throw CannotCreate(prog_id, searched.empty() ? "ist nicht registriert"
                                                   : "ist nicht registriert; durchsuchte Ordner: " + searched);
    }
    known_->refusal.clear();
    LoadLibraryOf(prog_id, library->second, *this);
    if (!known_->refusal.empty()) {
      throw CannotCreate(prog_id, "kann nicht geladen werden: " + library->second + ": " + known_->refusal);
    }
    factory = known_->FindFactory(prog_id);
    if (factory == nullptr) {
      throw CannotCreate(prog_id, "wird von " + library->second + " angekündigt, aber nicht bereitgestellt");
    }
  }
  ObjectPtr object = (*factory)();
  if (object == nullptr) throw CannotCreate(prog_id, "wurde von seiner Komponente nicht geliefert");
  return object;
}

void ComponentRegistry::Refuse(std::string reason) { known_->refusal = std::move(reason); }

void ComponentRegistry::Keep(std::shared_ptr<void> companion) {
  known_->companions.push_back(std::move(companion));
}

std::vector<std::string> ComponentRegistry::ProgIds() const {
  std::map<std::string, bool, LessIgnoringCase> known;
  for (const auto& [prog_id, factory] : known_->factories) known[prog_id] = true;
  for (const auto& [prog_id, library] : known_->libraries) known[prog_id] = true;
  std::vector<std::string> prog_ids;
  for (const auto& [prog_id, unused] : known) prog_ids.push_back(prog_id);
  return prog_ids;
}

}  // namespace kestrel
