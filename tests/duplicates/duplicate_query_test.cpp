#include <gmock/gmock.h>

#include "duplicates/duplicate_check.h"

namespace kestrel {
namespace {

std::string Query(std::int64_t mask, int key_flags, bool overwrite) {
  DuplicateSettings settings;
  settings.address_type_mask = mask;
  for (int i = 0; i < 3; ++i) settings.use_key[i] = (key_flags >> i & 1) != 0;
  std::string query = "was left from the record before";
  const bool made = BuildDuplicateQuery(settings, {{"K1", "K2", "K3"}}, "R7", 32, overwrite, query);
  EXPECT_EQ(made, !query.empty());
  return query;
}

TEST(DuplicateQueryTest, MaskNineWithTwoKeysAndOverwriting) {
  EXPECT_EQ(Query(9, 0b011, true),
            "SELECT * FROM Adressindex where  (Adressart = 1 Or Adressart = 8)  and ( Doubletkey1 = 'K1'  OR  "
            "Doubletkey2 = 'K2' ) And Not (Adressart = 32 And Referenz = 'R7')");
}

TEST(DuplicateQueryTest, EveryMaskWithEveryCombinationOfKeys) {
  const std::pair<std::int64_t, std::string> masks[] = {
      {1, "SELECT * FROM Adressindex where  (Adressart = 1)  and ("},
      {9, "SELECT * FROM Adressindex where  (Adressart = 1 Or Adressart = 8)  and ("},
      {65535,
       "SELECT * FROM Adressindex where  (Adressart = 1 Or Adressart = 2 Or Adressart = 4 Or Adressart = 8 Or "
       "Adressart = 16 Or Adressart = 32 Or Adressart = 64 Or Adressart = 128 Or Adressart = 256 Or Adressart "
       "= 512 "
       "Or Adressart = 1024 Or Adressart = 2048 Or Adressart = 4096 Or Adressart = 8192 Or Adressart = 16384 "
       "Or "
       "Adressart = 32768)  and ("}};
  const std::string key_conditions[] = {"",
                                        " Doubletkey1 = 'K1' ",
                                        " Doubletkey2 = 'K2' ",
                                        " Doubletkey1 = 'K1'  OR  Doubletkey2 = 'K2' ",
                                        " Doubletkey3 = 'K3' ",
                                        " Doubletkey1 = 'K1'  OR  Doubletkey3 = 'K3' ",
                                        " Doubletkey2 = 'K2'  OR  Doubletkey3 = 'K3' ",
                                        " Doubletkey1 = 'K1'  OR  Doubletkey2 = 'K2'  OR  Doubletkey3 = 'K3' "};
  for (const auto& [mask, beginning] : masks) {
    for (int key_flags = 0; key_flags < 8; ++key_flags) {
      EXPECT_EQ(Query(mask, key_flags, false), beginning + key_conditions[key_flags] + ")");
      EXPECT_EQ(Query(mask, key_flags, true),
                beginning + key_conditions[key_flags] + ") And Not (Adressart = 32 And Referenz = 'R7')");
    }
  }
}

TEST(DuplicateQueryTest, AMaskWithoutABitMakesNoQuery) {
  for (int key_flags = 0; key_flags < 8; ++key_flags) EXPECT_EQ(Query(0, key_flags, true), "");
  EXPECT_EQ(Query(65536, 0b111, false), "");
}

TEST(DuplicateQueryTest, BitsAboveTheSixteenthAreNotLookedAt) {
  EXPECT_EQ(Query(65536 + 8, 0b001, false),
            "SELECT * FROM Adressindex where  (Adressart = 8)  and ( Doubletkey1 = 'K1' )");
}

TEST(DuplicateQueryTest, KeysAndReferenceStandUnescaped) {
  DuplicateSettings settings;
  settings.address_type_mask = 1;
  settings.use_key[0] = true;
  std::string query;
  BuildDuplicateQuery(settings, {{"O'Neil", "", ""}}, "4'2", 1, true, query);
  EXPECT_EQ(
      query,
      "SELECT * FROM Adressindex where  (Adressart = 1)  and ( Doubletkey1 = 'O'Neil' ) And Not (Adressart = 1 "
      "And Referenz = '4'2')");
}

}  // namespace
}  // namespace kestrel
