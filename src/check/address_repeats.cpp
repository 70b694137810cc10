#include "check/address_repeats.h"

#include <utility>

#include "kestrel/component_registry.h"
#include "kestrel/host_components.h"
#include "kestrel/runtime_error.h"
#include "platform/base/counted.h"

namespace kestrel {

namespace {

// Of 12 bytes each, for 1.2 million addresses with three keys.
constexpr std::size_t kMostAddressKeys = 3'600'000;
constexpr std::size_t kMostNumbers = 1'400'000;

}  // namespace

AddressRepeats::AddressRepeats(Session& session, DuplicateCheck& duplicates, std::int64_t records)
    : kind_(session_kind_.Of(session)),
      addresses_(kKeys, records, kMostAddressKeys),
      numbers_(1, records, kMostNumbers) {
  if (kind_ == nullptr) return;
  const KeyFields& keys = kind_->keys;
  for (const std::string_view field :
       {keys.postcode, keys.town, keys.street, keys.names[0], keys.names[1], keys.names[2]}) {
    record_.AppendColumn(std::string(field));
  }
  number_ = record_.ColumnCount();
  record_.AppendColumn(std::string(kind_->number_field));
  group_ = record_.ColumnCount();
  record_.AppendColumn(std::string(kind_->group_field));
  record_.AddNew();
  Trap([&] { PrepareKeys(session, duplicates); },
       [&](const RuntimeError& error) { failure_ = error.Description(); });
}

void AddressRepeats::PrepareKeys(Session& session, DuplicateCheck& duplicates) {
  duplicates.LoadDublettSettings();
  const DuplicateSettings settings = duplicates.settings();
  if (!settings.check_duplicates) return;
  std::string codes[kKeys];
  duplicates.GetDoubletAlgorithmCode(codes[0], codes[1], codes[2]);
  const ObjectPtr component = session.platform.components.CreateObject(kKeyComponent);
  build_key_ = BoundMember(component, "BuildDoubletKey");
  confirms_ = component->FindMember("Confirm").has_value();
  for (std::size_t i = 0; i < kKeys; ++i) {
    use_key_[i] = settings.use_key[i];
    codes_[i] = Value(codes[i]);
  }
  has_keys_ = true;
}

std::optional<std::size_t> AddressRepeats::ColumnOf(std::string_view field) const {
  return kind_ == nullptr ? std::nullopt : record_.FindColumn(field);
}

void AddressRepeats::Look(std::int64_t record) {
  if (kind_ == nullptr) return;
  numbers_.Add(0, record_.TextAt(number_), record);
  if (!has_keys_) return;
  Trap([&] { AddKeys(record); },
       [&](const RuntimeError& error) {
         failure_ = error.Description();
         has_keys_ = false;
       });
}

void AddressRepeats::AddKeys(std::int64_t record) {
  columns_.Begin(record_);
  BuildDuplicateKeyText(record_, columns_, record_.TextAt(group_), text_, kind_->keys);
  key_text_.AssignText(text_);
  all_keys_.clear();
  for (std::size_t i = 0; i < kKeys; ++i) {
    if (!use_key_[i]) continue;
    const Value key = build_key_.Call(ByRef(codes_[i]), ByRef(key_text_));
    if (confirms_) {
      if (key.TextOrEmpty().empty()) return;
      all_keys_.append(key.TextOrEmpty()).append("|");
    } else {
      addresses_.Add(i, key.TextOrEmpty(), record);
    }
  }
  if (confirms_) addresses_.Add(0, all_keys_, record);
}

void AddressRepeats::TellRepeats(RepeatedKeys& keys, std::string_view one, std::string_view several,
                                 std::string way_out, Findings& findings, std::int64_t* count) const {
  const RepeatedKeys::Result result = keys.Find(3);
  if (count != nullptr) *count = result.records;
  const FindingPlace place{kDuplicateSection, "DublettenPruefen"};
  if (result.compared_to) {
    findings.Note(place, "Verglichen wurden nur die ersten " + std::to_string(*result.compared_to) +
                             " Datensätze; mehr fasst der Speicher für den Vergleich nicht.");
  }
  if (result.records == 0) return;
  std::string examples;
  std::vector<FindingExample> list;
  for (const RepeatedKeys::Repeat& repeat : result.first) {
    std::string earlier = "wie Datensatz " + std::to_string(repeat.earlier);
    if (&keys == &addresses_ && !confirms_) earlier += ", Schlüssel " + std::to_string(repeat.kind + 1);
    examples.append(examples.empty() ? "" : "; ").append("Datensatz ").append(std::to_string(repeat.record));
    examples.append(" ").append(earlier);
    list.push_back({repeat.record, std::move(earlier)});
  }
  std::string text = Counted(result.records, one, several);
  text.append(" (").append(examples).append(").");
  findings.Add(
      {Severity::kWarning, place, std::move(text), std::move(way_out), result.records, std::move(list)});
}

void AddressRepeats::Tell(DataProfile& profile) {
  if (kind_ == nullptr) return;
  if (!failure_.empty()) {
    profile.findings.Warn({kDuplicateSection, "DublettenPruefen"},
                          "Die Anschriften konnten nicht verglichen werden: " + failure_);
  } else if (has_keys_) {
    std::int64_t count = 0;
    TellRepeats(
        addresses_, "Datensatz hat die Anschrift eines früheren",
        "Datensätze haben die Anschrift eines früheren",
        "Der Import hält solche als Dublettenverdacht zurück; entfernen Sie sie oder lassen Sie sie so.",
        profile.findings, &count);
    profile.source.repeated_addresses = count;
  }
  TellRepeats(numbers_, "Datensatz hat die Nummer eines früheren", "Datensätze haben die Nummer eines früheren",
              "Jede Nummer steht für eine Anschrift: der spätere Datensatz überschreibt den früheren oder wird "
              "abgewiesen.",
              profile.findings, nullptr);
}

}  // namespace kestrel
