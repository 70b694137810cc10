#include "import/look_ahead.h"

#include <array>
#include <mutex>
#include <optional>
#include <span>
#include <string_view>

#include "duplicates/address_kind.h"
#include "kestrel/connection.h"
#include "platform/data/coming_lookups.h"
#include "sources/text_recordset.h"

namespace kestrel {

namespace {

// How often it is asked whether anybody wants to know.
constexpr std::size_t kAskAgain = 64;
// Of a record, those that its key text is made of.
constexpr std::size_t kFields = 7;
constexpr std::size_t kGroup = kFields - 1;

}  // namespace

void LookAhead::BeforeRecord(const RecordsetPtr& source) {
  if (passed_ > 0) {
    --passed_;
    return;
  }
  passed_ = kAskAgain;
  auto* const host = dynamic_cast<Connection*>(session_.HostConnection.get());
  if (host == nullptr || !duplicates_.settings().check_duplicates) return;
  Trap([&] { Tell(*host, source); }, [](const RuntimeError&) {});
}

void LookAhead::MakeRecord(const AddressKind& kind) {
  kind_ = &kind;
  record_ = std::make_shared<MemoryRecordset>();
  const KeyFields& keys = kind.keys;
  for (const std::string_view field :
       {keys.postcode, keys.town, keys.street, keys.names[0], keys.names[1], keys.names[2]}) {
    record_->AppendColumn(std::string(field));
  }
  record_->AppendColumn(std::string(kind.group_field));
  record_->AddNew();
  columns_.Begin(*record_);
}

void LookAhead::Tell(Connection& host, const RecordsetPtr& source) {
  auto* const text = dynamic_cast<TextRecordset*>(source.get());
  const AddressKind* const kind = session_kind_.Of(session_);
  if (text == nullptr || kind == nullptr) return;
  const std::lock_guard lock(host.CallMutex());
  const ComingLookUps& coming = host.attachments().Of<ComingLookUps>(host);
  const std::size_t wanted = coming.Wanted();
  if (wanted == 0) return;

  if (record_ == nullptr || kind_ != kind) MakeRecord(*kind);
  std::array<std::optional<std::size_t>, kFields> rows;
  for (std::size_t i = 0; i < kFields; ++i) rows[i] = assembly_.RowOf(record_->ColumnName(i));
  const std::int64_t here = text->Bookmark();
  std::size_t count = 0;
  key_texts_.resize(wanted);
  const auto foresee = [&] {
    for (; count < wanted && text->IsInMemory(here + static_cast<std::int64_t>(count)); ++count) {
      text->GoTo(here + static_cast<std::int64_t>(count));
      for (std::size_t i = 0; i < kFields; ++i) {
        record_->SetText(i, rows[i] ? assembly_.Foresee(*rows[i], *text) : std::string_view());
      }
      BuildDuplicateKeyText(*record_, columns_, record_->TextAt(kGroup), key_texts_[count], kind->keys);
    }
  };
  Trap(foresee, [](const RuntimeError&) {});
  text->GoTo(here);
  if (count < 2) return;
  passed_ = count - 1;
  coming.Tell(std::span(key_texts_).first(count));
}

}  // namespace kestrel
