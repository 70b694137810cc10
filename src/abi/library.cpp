#include "abi/library.h"

#include <pthread.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "kestrel/version.h"

// What a caller holds. It stays when the library is closed, so that no later one has its address.
struct kestrel_library {
  std::unique_ptr<kestrel::abi::Library> open;
};

namespace kestrel::abi {

namespace {

// Every handle that was ever handed out. The one thing that the process has in common: only here can be known that
// a pointer is a library, before anything is read through it.
class KnownLibraries {
 public:
  // It never ends: a library that nobody has closed must not go after the plug-ins it uses.
  static KnownLibraries& Get() {
    static KnownLibraries& known = *std::make_unique<KnownLibraries>().release();
    return known;
  }

  // No thread is within the table while the process forks, as that thread would not be there to leave it.
  KnownLibraries() {
    ::pthread_atfork([] { Get().mutex_.lock(); }, [] { Get().mutex_.unlock(); },
                     [] {
                       ++Get().process_;
                       Get().mutex_.unlock();
                     });
  }

  std::uint64_t process() const { return process_.load(std::memory_order_relaxed); }

  kestrel_library* Add(ComponentRegistry* of_host) {
    auto shell = std::make_unique<kestrel_library>();
    kestrel_library* const handle = shell.get();
    shell->open = std::make_unique<Library>(handle, of_host);
    const std::lock_guard lock(mutex_);
    known_.emplace(handle, std::move(shell));
    return handle;
  }

  // Null for one that was never open or is closed.
  Library* Find(const kestrel_library* handle) {
    const std::lock_guard lock(mutex_);
    const auto found = known_.find(handle);
    return found == known_.end() ? nullptr : found->second->open.get();
  }

  // Any thread; the library cannot go meanwhile.
  std::int32_t AskToStop(const kestrel_library* handle, std::int32_t* asked) {
    const std::lock_guard lock(mutex_);
    const auto found = known_.find(handle);
    if (found == known_.end() || found->second->open == nullptr) return KESTREL_INVALID_HANDLE;
    const bool was_asked = found->second->open->stop.Ask();
    if (asked != nullptr) *asked = was_asked ? 1 : 0;
    return KESTREL_OK;
  }

  // Returns what has to go now, in the thread of its own.
  std::unique_ptr<Library> Close(kestrel_library* handle) {
    const std::lock_guard lock(mutex_);
    return std::move(known_.at(handle)->open);
  }

 private:
  std::atomic<std::uint64_t> process_ = 0;
  std::mutex mutex_;
  std::unordered_map<const kestrel_library*, std::unique_ptr<kestrel_library>> known_;
};

}  // namespace

std::uint64_t ThisProcess() noexcept { return KnownLibraries::Get().process(); }

kestrel_library* OpenForPlugIn(ComponentRegistry& registry) {
  kestrel_library* const handle = KnownLibraries::Get().Add(&registry);
  const std::shared_ptr<void> lifetime(handle, [](void* closing) {
    auto* const closed = static_cast<kestrel_library*>(closing);
    // As kestrel_library_close does it.
    Guarded(closed, [](Library& open) { open.handles.Clear(); });
    KnownLibraries::Get().Close(closed);
  });
  Guarded(handle, [&](Library& open) { open.SetLifetime(lifetime); });
  registry.Keep(lifetime);
  return handle;
}

Library* FindLibrary(const kestrel_library* handle, std::int32_t& status) noexcept {
  Library* const library = handle == nullptr ? nullptr : KnownLibraries::Get().Find(handle);
  if (library == nullptr) {
    status = KESTREL_INVALID_HANDLE;
  } else if (!library->IsOfThisThread()) {
    status = KESTREL_WRONG_THREAD;
    return nullptr;
  }
  return library;
}

std::int32_t Library::Note(const RuntimeError& error) {
  ++failures_;
  last_error_ = error;
  last_status_ = KESTREL_FAILED;
  if (const auto* misuse = dynamic_cast<const Misuse*>(&error)) last_status_ = misuse->status();
  if (const auto* refused = dynamic_cast<const ImportRefused*>(&error)) {
    last_status_ = KESTREL_REFUSED;
    refusal_ = refused->findings();
  }
  return last_status_;
}

kestrel_error Library::LastError() const {
  kestrel_error error{};
  error.status = last_status_;
  if (!last_error_) return error;
  error.description = ToText(last_error_->Description());
  if (last_status_ == KESTREL_FAILED || last_status_ == KESTREL_REFUSED) error.number = last_error_->Number();
  return error;
}

void Library::RaiseLastError() const {
  if (last_status_ == KESTREL_REFUSED) throw ImportRefused(refusal_);
  throw RuntimeError(*last_error_);
}

ObjectPtr Library::RequireObject(kestrel_handle handle) const {
  ObjectPtr object = handles.Find(handle);
  if (object == nullptr) {
    throw Misuse(KESTREL_INVALID_HANDLE, handle == 0 ? "Das Handle ist 0 und bezeichnet kein Objekt."
                                                     : "Das Handle wurde zurückgegeben oder gab es nie.");
  }
  return object;
}

namespace {

std::string& OptionOf(Library& library, const kestrel_text& name) {
  const std::string_view wanted = ToView(name, "name");
  if (wanted == "home") return library.home;
  if (wanted == "user") return library.user;
  RaiseArgument("Die Einstellung '" + std::string(wanted) + "' gibt es nicht; möglich sind home und user.");
}

// What `options` asks for; the status to end with is the caller's to return.
void OpenAsAsked(const kestrel_library_options* options, Library& library) {
  kestrel_library_options asked{};
  asked.abi_version = KESTREL_ABI_VERSION;
  if (options != nullptr) asked = Read(options, "options");
  if (asked.abi_version == 0 || asked.abi_version > KESTREL_ABI_VERSION) {
    throw Misuse(KESTREL_INCOMPATIBLE, "Das Programm wurde für eine spätere Schnittstelle übersetzt.");
  }
  if (asked.without_plugins == 0) library.components.AddDefaultFolders();
}

}  // namespace

}  // namespace kestrel::abi

using kestrel::Trap;
using kestrel::abi::Fill;
using kestrel::abi::FindLibrary;
using kestrel::abi::Guarded;
using kestrel::abi::KnownLibraries;
using kestrel::abi::Library;

uint32_t kestrel_abi_version(void) { return KESTREL_ABI_VERSION; }
const char* kestrel_version(void) { return kestrel::Version(); }

const char* kestrel_status_text(int32_t status) {
  switch (status) {
    case KESTREL_OK: return "In Ordnung.";
    case KESTREL_FAILED: return "Der Aufruf ist gescheitert; kestrel_last_error nennt den Grund.";
    case KESTREL_REFUSED: return "Der Import beginnt nicht; kestrel_refusal nennt die Gründe.";
    case KESTREL_INVALID_HANDLE: return "Das Handle ist geschlossen, von anderer Art oder keines.";
    case KESTREL_WRONG_THREAD: return "Die Bibliothek gehört einem anderen Thread.";
    case KESTREL_WRONG_SIZE: return "Eine Struktur hat eine falsche Größe.";
    case KESTREL_INVALID_ARGUMENT: return "Ein Argument ist ungültig.";
    case KESTREL_BUSY: return "Das geht nicht innerhalb eines Rückrufs.";
    case KESTREL_INCOMPATIBLE: return "Das Programm wurde für eine spätere Schnittstelle übersetzt.";
    default: return "Diesen Status gibt es nicht.";
  }
}

int32_t kestrel_library_open(const kestrel_library_options* options, kestrel_library** library) {
  if (library == nullptr) return KESTREL_INVALID_ARGUMENT;
  int32_t status = KESTREL_OK;
  kestrel_library* opened = nullptr;
  Trap(
      [&] {
        opened = KnownLibraries::Get().Add(nullptr);
        status = Guarded(opened, [&](Library& made) { kestrel::abi::OpenAsAsked(options, made); });
      },
      [&](const kestrel::RuntimeError&) { status = KESTREL_FAILED; });
  if (status == KESTREL_OK) {
    *library = opened;
  } else if (opened != nullptr) {
    kestrel_library_close(opened);
  }
  return status;
}

int32_t kestrel_library_close(kestrel_library* library) {
  // The objects go while calls are still answered, as their ends may make some.
  const int32_t status = Guarded(library, [](Library& open) {
    if (open.IsNested() || open.IsOfPlugIn()) {
      throw kestrel::abi::Misuse(
          KESTREL_BUSY, open.IsOfPlugIn() ? "Die Bibliothek eines Plug-ins schließt mit ihrem Wirt."
                                          : "Innerhalb eines Rückrufs kann die Bibliothek nicht schließen.");
    }
    open.handles.Clear();
  });
  if (status == KESTREL_OK) KnownLibraries::Get().Close(library);
  return status;
}

int32_t kestrel_last_error(const kestrel_library* library, kestrel_error* error) {
  int32_t status = KESTREL_OK;
  Library* const open = FindLibrary(library, status);
  if (open == nullptr) return status;
  // Not within Guarded: what fails here is not the error that is asked for.
  Trap([&] { Fill(error, open->LastError(), "error"); },
       [&](const kestrel::RuntimeError&) {
         status = error == nullptr ? KESTREL_INVALID_ARGUMENT : KESTREL_WRONG_SIZE;
       });
  return status;
}

int32_t kestrel_raise(kestrel_library* library, int32_t number, kestrel_text description) {
  return Guarded(library, [&](Library&) {
    throw kestrel::RuntimeError(number, kestrel::abi::ToString(description, "description"));
  });
}

int32_t kestrel_run_stop(const kestrel_library* library, int32_t* asked) {
  return KnownLibraries::Get().AskToStop(library, asked);
}

int32_t kestrel_option_set(kestrel_library* library, kestrel_text name, kestrel_text value) {
  return Guarded(library, [&](Library& open) {
    kestrel::abi::OptionOf(open, name) = kestrel::abi::ToView(value, "value");
  });
}

int32_t kestrel_option_get(kestrel_library* library, kestrel_text name, kestrel_text* value) {
  return Guarded(library, [&](Library& open) {
    const std::string& option = kestrel::abi::OptionOf(open, name);
    kestrel::abi::Require(value, "value") = open.HandOutText(option);
  });
}
