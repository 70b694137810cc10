// Creating objects by programmatic identifier ("ksbimport.importkunden").
//
// Two ways in: a factory registered in the process, and a plug-in: a shared library announced by a small
// text file in a components folder.
//
//   ; kestrelhost.component
//   [Components]
//   ksbimport.importkunden=libkestrelhost.so
//   KSHProto.Protokoll=libkestrelhost.so
//
// A library name without a separator is looked for beside the announcing file. The library exports
//   extern "C" void kestrel_register_components(kestrel::ComponentRegistry& registry);
// which registers its factories; one in C begins it with kestrel_plugin_open (kestrel/kestrel.h). A library is loaded
// at the first use of one of its identifiers and stays loaded for the life of the process, as objects made by it may
// outlive the registry.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/export.h"
#include "kestrel/object.h"

namespace kestrel {

// Used by one thread at a time, as an import uses it. Texts are UTF-8.
class KESTREL_EXPORT ComponentRegistry {
 public:
  // Makes an object, never none. What it raises, CreateObject raises.
  using Factory = std::function<ObjectPtr()>;

  ComponentRegistry();
  ComponentRegistry(const ComponentRegistry&) = delete;
  ComponentRegistry& operator=(const ComponentRegistry&) = delete;
  ~ComponentRegistry();

  // Identifiers are compared without case; a second registration replaces the first. The factory is called by
  // CreateObject and lives as long as the registry.
  void Register(std::string prog_id, Factory factory);

  // Reads every "*.component" file of the folder. A folder that is missing is remembered for error texts
  // and otherwise ignored. An identifier that a factory or an earlier folder serves keeps its first meaning.
  // Raises what reading an announcement raises.
  void AddFolder(const std::string& folder);

  // Adds the folders of the environment variable KESTREL_COMPONENTS (separated by ':') and then the folder
  // "kestrel/components" beside this library, which is the same in build and install tree.
  void AddDefaultFolders();

  // A new object. Raises 429 with the identifier and the folders searched where nothing serves it, or with
  // library, symbol and the loader's reason where its plug-in cannot be loaded. What the factory itself
  // raises passes through.
  ObjectPtr CreateObject(std::string_view prog_id);

  // For a plug-in that registers: it cannot work here, and why, in words for the error 429 that CreateObject raises.
  void Refuse(std::string reason);
  // For a plug-in that registers: lives as long as the registry, and goes after the factories.
  void Keep(std::shared_ptr<void> companion);

  // The identifiers known, for messages; sorted.
  std::vector<std::string> ProgIds() const;

 private:
  struct Known;
  std::unique_ptr<Known> known_;
};

// What a plug-in exports.
inline constexpr const char* kRegisterSymbol = "kestrel_register_components";

}  // namespace kestrel
