// Whole imports with duplicate check whose settings change while they work.
#include <optional>
#include <random>

#include "host/calling_view.h"
#include "host/checked_customers.h"
#include "host/host_fixture.h"
#include "kestrel/clock.h"
#include "kestrel/host_components.h"
#include "kestrel/import_job.h"
#include "platform/dialogs/recording_user_interface.h"

namespace kestrel {
namespace {

// The host's settings component, which does not tell its generation.
class AskedEachTime final : public Object {
 public:
  explicit AskedEachTime(ObjectPtr own) : own_(std::move(own)) {}
  std::optional<MemberId> FindMember(std::string_view name) const override {
    return name == "Generation" ? std::nullopt : own_->FindMember(name);
  }
  Value Invoke(MemberId member, CallKind kind, std::span<Argument> arguments) override {
    ++calls;
    return own_->Invoke(member, kind, arguments);
  }

  static inline int calls = 0;

 private:
  ObjectPtr own_;
};

class SettingsImports : public testing::HostFixture {
 protected:
  // Every record but the first is at the address of another one.
  static std::string Source(int count) {
    std::mt19937 random(1);
    std::string text = testing::kCustomerHeadings;
    for (int i = 1; i <= count; ++i) text += testing::CustomerLine(i, 1 + static_cast<int>(random() % 60));
    return text;
  }
  // What stands in the database after the import, the log's rows but for the marks of records, which are random.
  std::vector<std::string> Import(const ConnectionPtr& host, ComponentRegistry& registry) {
    RecordingUserInterface ui;
    const FixedClock clock{DateTime{CalendarDate{2024, 3, 7}, 14, 5, 9}};
    ImportJob job({ui, registry, clock});
    job.Open({.specification = folder.File("Kunden.IMP"), .host_connection = host, .user = "4711"});
    testing::CallingView view([&](int record) {
      host::Settings& settings = host::Settings::Of(*host);
      if (record % 40 == 20) settings.Set("Adressindex", "Doubletindex", "0");
      if (record % 40 == 30) settings.Set("Adressindex", "Doubletindex", "1");
      if (record == 150) settings.Set("Adressindex", "AlgorithmCode1", "7");
      if (record == 200) settings.Set("Adressindex", "DublettenSchwelle", "100");
    });
    const RunResult& result = job.Run(view);
    std::vector<std::string> found = {std::to_string(result.stored) + " stored, " +
                                      std::to_string(result.duplicates) + " held back, " +
                                      std::to_string(result.errors) + " errors"};
    held_back = result.duplicates;
    for (const auto& box : ui.boxes) found.push_back(box.text);
    for (const char* sql :
         {"SELECT KundenNummer, Bez1 FROM Kunden ORDER BY KundenNummer",
          "SELECT * FROM Adressindex ORDER BY AdressId",
          "SELECT ZeilenNr, CASE WHEN Spalte1 IS NULL THEN Spalte0 END, Spalte1, Spalte2 FROM Protokollzeilen "
          "ORDER BY ZeilenNr"}) {
      for (const RecordsetPtr set = host->OpenRecordset(sql); !set->IsEof(); set->MoveNext()) {
        std::string row;
        for (std::size_t i = 0; i < set->ColumnCount(); ++i) row.append(set->TextAt(i)).append("|");
        found.push_back(std::move(row));
      }
    }
    return found;
  }

  int held_back = 0;
};

TEST_F(SettingsImports, SeeAChangeAsThoseThatAskForEachRecord) {
  folder.Write("Kunden.IMP", testing::kCheckedCustomers);
  folder.Write("Quelle.txt", Source(400));
  ComponentRegistry asking;
  host::RegisterComponents(asking);
  asking.Register(kSettingsComponent, [this]() -> ObjectPtr {
    return std::make_shared<AskedEachTime>(components.CreateObject(kSettingsComponent));
  });
  const testing::TempFolder other_folder;
  const ConnectionPtr other = OpenConnection(testing::NewHostDatabase(other_folder));
  host::PrepareNewDatabase(*other);
  host::InitialiseHostDatabase(*other);
  const std::vector<std::string> found = Import(connection, components);
  EXPECT_EQ(AskedEachTime::calls, 0);
  EXPECT_GT(held_back, 50);
  EXPECT_EQ(found, Import(other, asking));
  EXPECT_GT(AskedEachTime::calls, 400);
}

}  // namespace
}  // namespace kestrel
