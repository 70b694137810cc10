// Import specifications as files of keys: listed, read, changed and saved.
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "abi/library.h"
#include "abi/spec_folder.h"
#include "abi/text_rows.h"
#include "platform/base/file.h"
#include "platform/profile/profile.h"
#include "spec/profile_access.h"

namespace kestrel::abi {

namespace {

constexpr const char* kCommon = "Common";

// A specification file with changes that are not saved yet. Invariant: image_ is what the file would read as.
class Specification final : public Object {
 public:
  Specification() : image_(std::make_shared<const ProfileImage>()) {}
  // Raises 53, and what ProfileStore::Require raises.
  explicit Specification(std::string path) : path_(std::move(path)) { Load(); }

  const ProfileImage& image() const { return *image_; }

  // Raises 5 for names that no reader would find.
  void Set(std::string section, std::string key, std::string value) {
    std::vector<ProfileEdit> edits = edits_;
    edits.push_back({std::move(section), std::move(key), std::move(value)});
    image_ = std::make_shared<const ProfileImage>(EditedProfile(bytes_, edits));
    edits_ = std::move(edits);
  }

  void Save(std::string path) {
    if (path.empty() && path_.empty()) {
      throw RuntimeError(ErrorNumber::kInvalidProcedureCall, "Die Importspezifikation hat noch keine Datei.");
    }
    if (path.empty() || path == path_) {
      ProfileStore().Write(path_, edits_);
    } else {
      if (FileExists(path)) {
        throw RuntimeError(ErrorNumber::kFileAlreadyExists,
                           std::string(DescriptionOf(ErrorNumber::kFileAlreadyExists)) + ": " + path);
      }
      WriteFileAtomically(path, EditedProfile(bytes_, edits_), kOwnersOnly);
      path_ = std::move(path);
    }
    edits_.clear();
    Load();
  }

  // It is used by its functions, not by member name.
  std::optional<MemberId> FindMember(std::string_view) const override { return std::nullopt; }
  Value Invoke(MemberId, CallKind, std::span<Argument>) override { return LacksMember(); }

 private:
  // It may hold a password.
  static constexpr mode_t kOwnersOnly = 0600;

  void Load() {
    if (!FileExists(path_)) throw ErrorFromErrno(ENOENT, path_);
    image_ = ProfileStore().Require(path_);
    bytes_ = ReadWholeFile(path_);
  }

  std::string path_;
  std::string bytes_;
  std::vector<ProfileEdit> edits_;
  std::shared_ptr<const ProfileImage> image_;
};

std::shared_ptr<Specification> RequireSpecification(const Library& library, kestrel_handle handle) {
  return library.RequireKind<Specification>(handle, "Importspezifikation");
}

std::shared_ptr<MemoryRecordset> ListFolder(const std::string& folder, bool templates) {
  TextRows rows({"Description", "Application", "Provider", "ImportClass", "File"});
  for (const std::string& path : ListFiles(folder)) {
    if (GetFileExtension(path) != (templates ? ".IMT" : ".IMP")) continue;
    std::shared_ptr<const ProfileImage> image;
    if (!Trap([&] { image = ProfileStore().Require(path); }, [](const RuntimeError&) {})) continue;
    const auto read = [&](const char* key, std::string_view otherwise) {
      return GetIniString(*image, kCommon, key, otherwise);
    };
    rows.Add({read("Description", ""), read("Application", "2"), read("Provider", ""), read("ImportClass", ""),
              path});
  }
  return rows.Take();
}

}  // namespace

std::string SpecFolder(const Library& library, const kestrel_text& folder) {
  std::string given = ToString(folder, "folder");
  if (!given.empty()) return given;
  return library.home.empty() ? DefaultSpecFolder() : JoinPath(library.home, "Import");
}

}  // namespace kestrel::abi

using namespace kestrel::abi;

int32_t kestrel_specification_list(kestrel_library* library, kestrel_text folder, int32_t templates,
                                   kestrel_handle* recordset) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(recordset, "recordset");
    target = open.handles.Add(ListFolder(SpecFolder(open, folder), templates != 0));
  });
}

int32_t kestrel_specification_open(kestrel_library* library, kestrel_text path, kestrel_handle* specification) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(specification, "specification");
    target = open.handles.Add(std::make_shared<Specification>(ToString(path, "path")));
  });
}

int32_t kestrel_specification_create(kestrel_library* library, kestrel_handle* specification) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(specification, "specification");
    target = open.handles.Add(std::make_shared<Specification>());
  });
}

int32_t kestrel_specification_get(kestrel_library* library, kestrel_handle specification, kestrel_text section,
                                  kestrel_text key, kestrel_text* value) {
  return Guarded(library, [&](Library& open) {
    kestrel_text& target = Require(value, "value");
    const auto found =
        RequireSpecification(open, specification)->image().Find(ToView(section, "section"), ToView(key, "key"));
    target = found ? open.HandOutText(std::string(*found)) : kestrel_text{};
  });
}

int32_t kestrel_specification_set(kestrel_library* library, kestrel_handle specification, kestrel_text section,
                                  kestrel_text key, kestrel_text value) {
  return Guarded(library, [&](Library& open) {
    RequireSpecification(open, specification)
        ->Set(ToString(section, "section"), ToString(key, "key"), ToString(value, "value"));
  });
}

int32_t kestrel_specification_entries(kestrel_library* library, kestrel_handle specification,
                                      kestrel_handle* recordset) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(recordset, "recordset");
    TextRows rows({"Section", "Key", "Value"});
    for (const auto& section : RequireSpecification(open, specification)->image().Sections()) {
      for (const auto& entry : section.entries) rows.Add({section.name, entry.key, entry.value});
    }
    target = open.handles.Add(rows.Take());
  });
}

int32_t kestrel_specification_save(kestrel_library* library, kestrel_handle specification, kestrel_text path) {
  return Guarded(
      library, [&](Library& open) { RequireSpecification(open, specification)->Save(ToString(path, "path")); });
}
