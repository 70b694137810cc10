// The rules of the data source page, without a window: what its controls hold, how they reach the session and
// come back, and what is checked before the page lets go.
#pragma once

#include <optional>
#include <string>

#include "component/session.h"
#include "kestrel/export.h"
#include "sources/source_kind.h"

namespace kestrel {

enum class DelimiterChoice { kTab, kSemicolon, kComma, kOther };

// What the page's controls hold; members are named after the controls.
struct SourcePage {
  std::string cboDatenquelleTyp;
  std::string txtFilename;
  DelimiterChoice delimiter = DelimiterChoice::kTab;  // optTab, optSemikolon, optKomma, optAnders
  std::string txtAnders;
  std::string txtTexterkenner;
  bool chkZeileFeldname = false;
  bool optAnsi = false;  // else optAscii
  bool chkSichereDatei = false;
  std::string txtSicherungspfad;
  bool chkDateilöschen = false;
  std::string txtSQLServer;
  std::string txtSQLUID;
  std::string txtSQLKennwort;
  std::string txtSQLDB;
  std::string cboSQLTable;
  std::string txtAccessDB;
  std::string txtAccessBenutzer;
  std::string txtAccessKennwort;
  std::string cboAccessTable;
  std::string txtExcelFile;
  std::string cboExcelSheet;
  std::string txtdBaseFile;
  std::string cbodBaseTable;
};

// The inputs of the kind's connection, from its boxes.
KESTREL_INTERNAL SourceInputs InputsOfPage(const SourceKind& kind, const SourcePage& page);

// Stores the page into the session; false for an unknown kind. The path of an Access database is stored as User
// too, and the box "Benutzer:" as Password.
KESTREL_INTERNAL bool StorePage(Session& session, const SourcePage& page);

// The controls of the session's provider as the page shows them; the others keep what `page` holds, and so do
// all for a kind that the page does not list: it lists those it offers, and any other where `is_listed`. For Access the order of the stores matters: the path first comes
// from User and ends as Database.
KESTREL_INTERNAL void LoadPage(const Session& session, SourcePage& page, bool is_listed = false);

// What a text file stores and shows besides its boxes: heading, character set, delimiter, backup and removal.
void StoreTextChoices(const SourcePage& page, Session& session);
void ShowTextChoices(const Session& session, SourcePage& page);

// The message that keeps "Weiter zu Schritt 3" on the page (information icon, OK), or none. Looks at the
// session, so the page is stored first.
KESTREL_INTERNAL std::optional<std::string> ReasonToStay(const Session& session);

// The message on leaving txtFilename, or none.
KESTREL_INTERNAL std::optional<std::string> MissingFileMessage(const std::string& path);

// Whether the preview can open: a file that is named as the source exists.
KESTREL_INTERNAL bool SourceFileIsThere(const Session& session);

}  // namespace kestrel
