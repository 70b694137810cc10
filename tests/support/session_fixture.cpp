#include "support/session_fixture.h"

#include "platform/base/file.h"
#include "platform/base/text.h"

namespace kestrel::testing {

SessionFixture::SessionFixture() {
  session.AppMode = 2;
  session.PersonalNr = "4711";
  session.SpecFolder = folder.File("Import");
  CreateFolders(session.SpecFolder);
}

std::shared_ptr<RecordingObject> SessionFixture::AddComponent(const std::string& prog_id,
                                                              const std::string& label) {
  auto object = std::make_shared<RecordingObject>(label, journal);
  components.Register(prog_id, [object] { return object; });
  return object;
}

std::string SessionFixture::WriteSpecification(std::string_view name, std::string_view content) {
  return folder.Write("Import/" + std::string(name), ReplaceAll(content, "\n", "\r\n"));
}

void SessionFixture::UseSpecification(std::string_view content) {
  session.SpecFile = WriteSpecification("~working.tmp", content);
}

std::vector<std::string> SessionFixture::CallLines() const {
  std::vector<std::string> lines;
  for (const RecordedCall& call : *journal) lines.push_back(call.ToText());
  return lines;
}

}  // namespace kestrel::testing
