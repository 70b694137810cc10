// The rules of the data source page, without a window: what its controls hold, how they reach the session and
// come back, and what is checked before the page lets go.
#pragma once

#include <array>
#include <optional>
#include <string>

#include "component/session.h"
#include "sources/source_connection.h"
#include "spec/specification.h"

namespace kestrel {

// The kinds offered in cboDatenquelleTyp, in order. Excel is read where a specification names it, but not
// offered.
inline constexpr std::array<const char*, 4> kOfferedSourceKinds = {kTextSource, kSqlServerSource, kAccessSource,
                                                                   kDBaseSource};

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

// The boxes that take part in connection strings.
SourceInputs InputsOfPage(const SourcePage& page);

// Stores the page into the session; false for a kind that is none of the five. The path of an Access database
// is stored as User too, and the box "Benutzer:" as Password.
bool StorePage(Session& session, const SourcePage& page);

// The controls of the session's provider as the page shows them; the others keep what `page` holds. For Access
// the order of the stores matters: the path first comes from User and ends as Database.
void LoadPage(const Session& session, SourcePage& page);

// The message that keeps "Weiter zu Schritt 3" on the page (information icon, OK), or none. Looks at the
// session, so the page is stored first.
std::optional<std::string> ReasonToStay(const Session& session);

// The message on leaving txtFilename, or none.
std::optional<std::string> MissingFileMessage(const std::string& path);

// Whether the preview can open: a text file, Access database or workbook that is named exists.
bool SourceFileIsThere(const Session& session);

// Connects for a kind of source file with the page's boxes; a kind without a connection does nothing. For a
// server the page waits (BeginConnectSQLServer).
ConnectResult ConnectForPage(Session& session, const std::string& kind, const SourcePage& page,
                             ListLoadedFlags& loaded);

}  // namespace kestrel
