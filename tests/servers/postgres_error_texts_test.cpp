// What libpq's messages mean, and how much of them is shown.
#include "platform/data/providers/postgres/error_texts.h"

#include <gmock/gmock.h>

namespace kestrel::postgres {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

constexpr const char* kRefusedTwice =
    "connection to server at \"localhost\" (::1), port 1 failed: Connection refused\n"
    "\tIs the server running on that host and accepting TCP/IP connections?\n"
    "connection to server at \"localhost\" (127.0.0.1), port 1 failed: Connection refused\n"
    "\tIs the server running on that host and accepting TCP/IP connections?\n";

TEST(PostgresErrorTexts, WhatNamesMoreThanItsMeaningStandsBehindItWithoutAdvice) {
  EXPECT_THAT(ExplainConnectionError(kRefusedTwice),
              EndsWith("ob der Server läuft (connection to server at \"localhost\" (::1), port 1 failed: "
                       "Connection refused connection to server at \"localhost\" (127.0.0.1), port 1 failed: "
                       "Connection refused)"));
  EXPECT_THAT(ExplainConnectionError("FATAL:  role \"anna\" does not exist\n"), HasSubstr("\"anna\""));
}

TEST(PostgresErrorTexts, ASessionThatWasEndedIsToldInGermanAlone) {
  const std::string closed =
      "server closed the connection unexpectedly\n"
      "\tThis probably means the server terminated abnormally\n"
      "\tbefore or while processing the request.\n";
  EXPECT_EQ(ExplainConnectionError(closed),
            "Der Server hat die Verbindung ohne ein Wort geschlossen. Prüfen Sie, ob er noch läuft");
  EXPECT_EQ(ExplainConnectionError("terminating connection due to administrator command\n" + closed),
            "Der Server hat die Sitzung beendet, vielleicht für einen Neustart. Versuchen Sie es noch einmal; "
            "sonst fragen Sie seinen Verwalter");
}

TEST(PostgresErrorTexts, AServerWhoseDiskIsFullTakesNoSessionAndSaysWhy) {
  EXPECT_THAT(
      ExplainConnectionError("connection to server at \"127.0.0.1\", port 1 failed: FATAL:  could not write "
                             "init file\n"),
      HasSubstr("nicht auf seinen Datenträger schreiben. Schaffen Sie dort Platz (connection to"));
}

TEST(PostgresErrorTexts, WhyElseASessionWasEndedIsShown) {
  EXPECT_THAT(ExplainConnectionError("terminating connection due to idle-session timeout\n"),
              EndsWith("Verwalter (terminating connection due to idle-session timeout)"));
}

TEST(PostgresErrorTexts, WhatAnOfficeMeetsOfAStatementIsToldInGermanToo) {
  EXPECT_EQ(
      ExplainStatementError("42501", "permission denied for table kunden"),
      "Dem Benutzer fehlt ein Recht, das der Eigentümer der Tabelle mit GRANT vergibt (permission denied for "
      "table kunden)");
  EXPECT_THAT(ExplainStatementError("57014", "canceling statement due to statement timeout"),
              HasSubstr("länger dauerte, als er erlaubt (statement_timeout)"));
  EXPECT_THAT(ExplainStatementError("23514", "no partition of relation \"adressindex\" found for row"),
              HasSubstr("hat die geteilte Tabelle keinen Teil"));
  EXPECT_EQ(ExplainStatementError("57014", "canceling statement due to user request"),
            "canceling statement due to user request");
}

TEST(PostgresErrorTexts, AnUnknownMessageIsShownWholeInOneLine) {
  EXPECT_EQ(ExplainConnectionError("etwas Neues\n\tmit einem Rat\r\n"), "etwas Neues mit einem Rat");
}

}  // namespace
}  // namespace kestrel::postgres
