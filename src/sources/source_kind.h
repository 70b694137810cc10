// The kinds of sources: one row a kind.
//
// Loading and saving, checking and showing, the data source page, the reader and the command line iterate these
// rows; no other file knows a kind by its name. A host with a kind of its own adds its row to a SourceKinds,
// which it owns and hands over with the Platform (ARCHITECTURE.md has an example).
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "component/session.h"
#include "kestrel/export.h"
#include "sources/source_connection.h"
#include "sources/source_reader.h"

namespace kestrel {

struct SourcePage;

// A key of section Common: a text or a truth value of the session, one of the two.
struct CommonKey {
  const char* name;
  std::string Session::*text = nullptr;
  bool Session::*truth = nullptr;
  const char* default_value = "";
  // A truth value is stored as "1" or "0", or as "True" or "False".
  bool is_stored_as_word = false;
  // Not to be shown; a file that holds one is for its owner only.
  bool is_secret = false;
};

// What is wrong, or only looks wrong, with the setting of a key, and what to do about it.
struct SettingFinding {
  bool is_error;
  const char* key;
  std::string text;
  std::string way_out = {};
};

// What the location of a source names. The page waits for a server in another thread, and a check asks it for its
// first record only.
enum class SourcePlace { kFile, kFolder, kServer };

// An input that a kind connects with, and the box of the page that it is typed into; none where the page does
// not offer the kind.
struct ConnectionInput {
  std::string SourceInputs::*input;
  std::string SourcePage::*box;
  // The key to name where the input is empty; none where it may be.
  const char* required_key = nullptr;
};

// The frames of the page, in the order they are stacked: fraFile, fraSQL, fraAccess, fradBase, fraExcel.
enum class SourceFrame { kFile, kSql, kAccess, kDBase, kExcel };

// A text of the session and the box that it is stored from and shown in.
struct PageField {
  std::string Session::*setting;
  std::string SourcePage::*box;
};

struct SourceKind {
  // The text that is stored as Provider and stands in the page's list; compared exactly.
  std::string name;
  // The setting that says where the source is, and what that is.
  std::string Session::*location;
  SourcePlace place = SourcePlace::kFile;
  // What section Common holds of it, in the order in which it is written. A kind that has the keys of SaveFile
  // and DeleteFile is a file that can be backed up and removed.
  std::vector<CommonKey> keys;

  // --- Opening and reading ---
  // Null for a kind that is read without a connection. Raises nothing. The page calls it in another thread for a
  // server, perhaps still when the session has gone.
  OpenedSource (*connect)(const SourceInputs& inputs, const ConnectionOpener& open) = nullptr;
  // In the order in which what is missing is named.
  std::vector<ConnectionInput> inputs = {};
  SourceInputs (*inputs_without_page)(const Session& session) = SessionInputs;
  std::string (*query)(const Session& session) = TableQuery;
  // The record set of the source. Raises what keeps it from opening.
  RecordsetPtr (*open)(Session& session) = OpenQuery;
  // The first records alone, opened by what it returns in any thread, without the session; null for a kind that is
  // connected to.
  std::function<RecordsetPtr()> (*beginning)(const Session& session) = nullptr;
  // Always followed by one empty element. An error is shown and told, none is raised.
  std::vector<std::string> (*column_names)(Session& session, ShownError* failure) = GetSourceColumnNames;
  // Lists of tables leave out this ending, in any case, of a table that is stored with it.
  std::string_view table_ending = {};

  // --- Checking: beyond that truth values are such and that the location exists ---
  void (*check)(const Session& session, std::vector<SettingFinding>& findings) = nullptr;

  // --- Files of this kind ---
  // Their ending in upper case, point included; a file with it that the host suggests selects the kind.
  std::string_view ending = {};
  // One more, which counts where an import is ordered without the page.
  std::string_view further_ending = {};
  // What a file dialog offers.
  const char* file_filter = "*.*";
  // How such files are usually called, where a dialog offers all kinds: "*.xls *.xlsx"; none where none are chosen.
  std::string_view file_endings = {};
  // Whether the first bytes of a file are those of this kind; null where no mark tells.
  bool (*has_mark)(std::string_view beginning) = nullptr;

  // --- The data source page ---
  // Whether it can be chosen there. One that cannot is read where a specification names it.
  bool is_offered = false;
  SourceFrame frame = SourceFrame::kFile;
  // Stored in this order, and shown so; the last one counts.
  std::vector<PageField> page_fields = {};
  // What is stored and shown besides, where not every control is a box of text.
  void (*store_choices)(const SourcePage& page, Session& session) = nullptr;
  void (*show_choices)(const Session& session, SourcePage& page) = nullptr;

  // Whether section Common holds this setting for the kind.
  KESTREL_INTERNAL bool Has(std::string Session::*setting) const;
  KESTREL_INTERNAL bool Has(bool Session::*setting) const;
};

// The rows. Nothing may be added once a session uses them: sessions keep pointers to rows.
class KESTREL_INTERNAL SourceKinds {
 public:
  // Begins with the five kinds of the component.
  SourceKinds();
  // The copy of the row stands last. Raises 5 for a name that is empty or there already, or holds a control
  // character, for a row without its location among the keys, and for one that is offered with an input that
  // has no box.
  void Add(SourceKind kind);

  // The row of exactly this name; null for none.
  const SourceKind* Find(std::string_view name) const;
  // The kind of a specification that names none, and of files that no kind claims.
  const SourceKind& Default() const { return kinds_.front(); }
  auto begin() const { return kinds_.begin(); }
  auto end() const { return kinds_.end(); }

 private:
  std::deque<SourceKind> kinds_;
};

// The kinds that the session's platform brings, else those of the component.
KESTREL_INTERNAL const SourceKinds& KindsOf(const Session& session);
// The kind of the session's Provider; null for an unknown one.
KESTREL_INTERNAL const SourceKind* KindOf(const Session& session);
// The key of section Common that names the session's source; Database for an unknown kind.
const char* LocationKey(const Session& session);
// Whether the session's kind has this setting and it is on. The settings of another kind count for nothing.
bool IsOn(const Session& session, bool Session::*setting);

// A setting as section Common stores it.
std::string StoredText(const CommonKey& key, const Session& session);

}  // namespace kestrel
