#include "sources/source_count.h"

#include <memory>

#include "kestrel/clock.h"
#include "kestrel/component_registry.h"
#include "kestrel/user_interface.h"
#include "sources/source_connection.h"
#include "sources/source_kind.h"
#include "sources/source_reader.h"

namespace kestrel {

namespace {

// What fails while records are counted fails again in the import, and is told there.
class NobodyLooks final : public UserInterface {
 public:
  Answer MessageBox(std::string_view, std::string_view, Icon, Buttons buttons) override {
    return buttons == Buttons::kOk ? Answer::kOk : Answer::kNo;
  }
  std::optional<std::string> InputBox(std::string_view, std::string_view) override { return std::nullopt; }
  std::optional<std::string> ChooseFile(std::string_view, std::string_view, const std::string&) override {
    return std::nullopt;
  }
  std::optional<std::string> ChooseFolder(std::string_view, const std::string&) override {
    return std::nullopt;
  }
  void Yield() override {}
};

// A session of its own for the source alone.
struct SourceSession {
  explicit SourceSession(const SourceKinds* kinds) : session({ui, components, clock, kinds}) {}

  NobodyLooks ui;
  ComponentRegistry components;
  SystemClock clock;
  Session session;
};

std::optional<std::int64_t> Count(Session& session) {
  std::optional<std::int64_t> count;
  Trap(
      [&] {
        if (!ConnectFromSession(session).connected) return;
        SourceReader reader(session);
        reader.OpenSourceRecordset();
        if (!reader.end().error) count = reader.SourceRecordCount();
        reader.CloseSource();
      },
      [](const RuntimeError&) {});
  return count;
}

}  // namespace

SourceCounting CountingOf(const Session& session) {
  const auto copy = std::make_shared<SourceSession>(session.platform.source_kinds);
  Session& counted = copy->session;
  for (std::string Session::*text :
       {&Session::Provider, &Session::FileName, &Session::Database, &Session::Table, &Session::FileFormat,
        &Session::Delimiter, &Session::TextRecognition, &Session::Server, &Session::User, &Session::Password}) {
    counted.*text = session.*text;
  }
  counted.ColumnHeadings = session.ColumnHeadings;
  return [copy] { return Count(copy->session); };
}

}  // namespace kestrel
