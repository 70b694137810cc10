// The duplicate check: is an address suspected to be in the host's address index already?
//
// The members that ask (the first two groups) trap their own errors, show "Fehler in Funktion " + their name +
// ": " + the description in a plain box, and give their default answer (false, empty texts, settings all
// off), so that the import goes on with the record.
//
// Invariants
//  1. The specification is read per record, and the host's components are made anew for every call, so that a
//     change of either is seen at once. Of the settings see duplicates/host_settings.h.
//  2. What is derived from an image of the specification holds as long as the profile store gives that same
//     image, and where a record has its columns as long as the records have the same; how records were written that
//     were held back holds for the import. Nothing else is kept from record to record but buffers.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "component/session.h"
#include "duplicates/address_kind.h"
#include "duplicates/confirmation.h"
#include "duplicates/host_settings.h"
#include "duplicates/kept_columns.h"
#include "duplicates/known_spellings.h"
#include "kestrel/duplicate_match.h"
#include "kestrel/recordset.h"
#include "platform/profile/profile.h"

namespace kestrel {

class Connection;
class ImportLogs;

// The section of the specification that holds the settings of the check.
inline constexpr const char* kDuplicateSection = "CfgSettings";

// The duplicate settings of the specification (section CfgSettings).
struct DuplicateSettings {
  bool check_duplicates = false;
  std::int64_t address_type_mask = 0;
  bool use_key[3] = {false, false, false};
  std::optional<double> threshold;  // of Confirm, in per cent; none: the host's
};

struct DuplicateKeys {
  std::string key[3];
};

class DuplicateCheck {
 public:
  // Of the session it uses the platform, SpecFile, ImportClassProgID and HostConnection, where the connection
  // is left that the settings component gives back. All outlive this object.
  DuplicateCheck(Session& session, ProfileStore& profiles, ImportLogs& logs)
      : session_(session), profiles_(profiles), logs_(logs) {}
  DuplicateCheck(const DuplicateCheck&) = delete;
  DuplicateCheck& operator=(const DuplicateCheck&) = delete;

  // --- Settings and keys ---

  // Section CfgSettings of the working copy into settings(). An AddresstypeCode that is no number is an error; a
  // DublettenSchwelle outside 0 to 100 is told and passed over.
  void LoadDublettSettings();
  const DuplicateSettings& settings() const { return settings_; }

  // Whether the finished record is a suspected duplicate; `match`, where given, then tells of which address.
  // `same_object`: the record is the object of the last call.
  bool CheckDoublett(const Recordset& record, DuplicateMatch* match = nullptr, bool same_object = false);

  // Whether the host's setting Adressindex/Doubletindex is "1".
  bool isDoublettIndex();

  // The host's three algorithm codes.
  void GetDoubletAlgorithmCode(std::string& code1, std::string& code2, std::string& code3);
  // The three keys of a key text, made by the host's key component.
  void GenDoubKey(const std::string& key_text, std::string& key1, std::string& key2, std::string& key3);

  // --- Look-up ---

  // Whether a row has one of the keys in use and, where the key component has Confirm (kestrel/host_components.h),
  // is confirmed.
  bool isDoublet(const std::string& key_text, const std::string& reference, std::int64_t address_type,
                 bool overwrite, DuplicateMatch* match = nullptr);

  // --- Logging a suspected duplicate ---

  // One row of the duplicate log per assigned field of the record, all with one new mark; tells whether all
  // were stored. `match`, where given, stands beside the first, with the number of the source record. Raises what
  // reading the record raises.
  bool WriteDoubletRows(const Recordset& record, const DuplicateMatch* match = nullptr,
                        std::int32_t source_record = 0);

  // Releases what is kept from record to record.
  void Forget() { kept_ = Kept(); }

 private:
  bool CheckRecord(const Recordset& record, DuplicateMatch* match);
  bool Overwrites(const AddressKind& kind);
  // Runs the query. Raises what the connection and the component raise.
  bool LookUp(const std::string& key_text, const DuplicateKeys& keys, const std::string& reference,
              std::int64_t address_type, bool overwrite, DuplicateMatch* match);
  // False where it is known that nothing that the query finds is confirmed.
  bool MayConfirm(const std::string& key_text, const DuplicateKeys& keys, std::string_view reference);
  bool Confirms(const std::string& key_text, const DuplicateKeys& keys, Recordset& found,
                DuplicateMatch* match);
  bool Chooses(const std::string& key_text, std::vector<DuplicateMatch>& candidates, DuplicateMatch* match);
  // The same for how records were written that were held back before; and remembers how this one was.
  bool RepeatsSpelling(const std::string& key_text, const DuplicateKeys& keys, const std::string& reference,
                       std::int64_t address_type, bool overwrite, DuplicateMatch& match);
  void LearnSpelling(const std::string& key_text, const DuplicateKeys& keys, const DuplicateMatch& match);
  KnownSpellings::Keys KeysInUse(const DuplicateKeys& keys) const;
  double Threshold();
  Connection* HostConnection();
  std::optional<double> ReadThreshold(const std::string& text, const char* place);
  const std::vector<bool>& AssignedFields(const Recordset& record);

  struct Kept {
    // The image that LoadDublettSettings read last, and its settings where they could be read.
    std::shared_ptr<const ProfileImage> settings_image;
    std::optional<DuplicateSettings> settings;
    std::string bad_threshold;  // that was told last
    // Whether that image lets addresses of a kind be overwritten.
    const AddressKind* overwrite_kind = nullptr;
    bool overwrite = false;
    // Whether a field of a record is assigned, by position; for the names in `field_names`.
    std::shared_ptr<const ProfileImage> assignment_image;
    std::vector<std::string> field_names;
    std::vector<bool> assigned;

    // The image by which a record of the object asked about last needed no check; null where it needed one.
    const ProfileImage* unwished = nullptr;

    SessionAddressKind kind;
    KeptColumns columns;
    std::string key_text;
    std::string reference;
    std::string group;
    std::string query;
    Value key_text_argument;
    HostSettings host;
    ObjectPtr host_object;
    Connection* host_connection = nullptr;  // that object
    Confirmation confirmation;
    std::vector<DuplicateMatch> candidates;
    KnownSpellings spellings;
  };

  Session& session_;
  ProfileStore& profiles_;
  ImportLogs& logs_;
  DuplicateSettings settings_;
  Kept kept_;
};

// 1, 8 or 32 by the exact ImportClass, 0 for any other.
std::int64_t GetAddressType(const Session& session);

// Sets `text` to PLZ|Ort|Strasse|Bez1 cut to 15 and trimmed|Bez1|Bez2|Bez3||group, reusing its memory; `fields` are
// those that hold these parts. `columns` has begun with `record`. Raises 3265 for a record without one of these columns.
void BuildDuplicateKeyText(const Recordset& record, KeptColumns& columns, std::string_view group,
                           std::string& text, const KeyFields& fields = {});

// Sets `query` to the query, reusing its memory; false, with an empty query, for a mask without a bit in
// 0 to 15. Keys and reference stand as they are, unescaped; without a key in use the query is malformed.
bool BuildDuplicateQuery(const DuplicateSettings& settings, const DuplicateKeys& keys,
                         std::string_view reference, std::int64_t address_type, bool overwrite,
                         std::string& query);

// Whether the field counts as assigned: its FieldAssignments value is not exactly "NOTASSIGNED". Raises nothing.
bool IsFieldAssigned(const ProfileImage& spec_file, std::string_view field_name);

// A new random GUID as {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}: the mark that groups a record's rows.
std::string NewRecordMark();

}  // namespace kestrel
