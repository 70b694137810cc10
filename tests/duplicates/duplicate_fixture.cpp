#include "duplicates/duplicate_fixture.h"

#include "kestrel/open_connection.h"

namespace kestrel::testing {

DuplicateFixture::DuplicateFixture() {
  const ConnectionPtr database = OpenConnection("Provider=SQLite;Data Source=" + folder.File("host.db"));
  database->Execute(
      "CREATE TABLE Adressindex (Adressart INTEGER, Referenz TEXT, Doubletkey1 TEXT, Doubletkey2 TEXT, "
      "Doubletkey3 TEXT)");
  connection = std::make_shared<NotingConnection>(database);
  session.HostConnection = connection;
  session.ImportClassProgID = "ksbimport.importkunden";

  components.Register(kSettingsComponent, [this] {
    auto settings = std::make_shared<RecordingObject>("settings", journal);
    settings->Method("Init").Method("GetSetting",
                                    [this](std::span<Argument> arguments) { return AnswerSetting(arguments); });
    ApplyFailures(kSettingsComponent, *settings);
    settings_objects.push_back(settings);
    return settings;
  });
  components.Register(kKeyComponent, [this] {
    auto keys = std::make_shared<RecordingObject>("keys", journal);
    keys->Method("BuildDoubletKey", [this](std::span<Argument> arguments) {
      return Value(build_key(arguments[0].Get().ToText(), arguments[1].Get().ToText()));
    });
    ApplyFailures(kKeyComponent, *keys);
    key_objects.push_back(keys);
    return keys;
  });
  build_key = [](const std::string& code, const std::string& key_text) { return code + "/" + key_text; };
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\nDublettenKey2=1\nDublettenKey3=1\n");
}

void DuplicateFixture::LetFail(const std::string& prog_id, const std::string& member,
                               const RuntimeError& error) {
  failures_.push_back({prog_id, member, error});
}

void DuplicateFixture::ApplyFailures(const std::string& prog_id, RecordingObject& object) const {
  for (const Failure& failure : failures_) {
    if (failure.prog_id == prog_id) object.Raises(failure.member, failure.error);
  }
}

Value DuplicateFixture::AnswerSetting(std::span<Argument> arguments) const {
  const auto setting = host_settings.find(arguments[1].Get().ToText());
  arguments[2].Set(setting == host_settings.end() ? arguments[5].Get() : Value(setting->second));
  return Value();
}

void DuplicateFixture::UseSettings(const std::string& lines) { UseSpecification("[CfgSettings]\n" + lines); }

std::shared_ptr<MemoryRecordset> DuplicateFixture::Record(
    const std::map<std::string, std::string>& values) const {
  auto record = std::make_shared<MemoryRecordset>();
  for (const char* name : {"KundenNummer", "Interessentennummer", "LieferantenNummer", "Bez1", "Bez2", "Bez3",
                           "Strasse", "PLZ", "Ort", "Kundengruppe", "Lieferantengruppe"}) {
    record->AppendColumn(name);
  }
  record->AddNew();
  for (const auto& [name, value] : values) record->SetText(record->RequireColumn(name), value);
  return record;
}

void DuplicateFixture::Index(int type, const std::string& reference, const std::string& key1,
                             const std::string& key2, const std::string& key3) {
  const auto insert = connection->database().Prepare("INSERT INTO Adressindex VALUES (?, ?, ?, ?, ?)");
  insert->BindInteger(0, type);
  insert->BindText(1, reference);
  insert->BindText(2, key1);
  insert->BindText(3, key2);
  insert->BindText(4, key3);
  insert->Execute();
}

}  // namespace kestrel::testing
