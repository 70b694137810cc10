#include "formats/encryption/agile_encryption.h"

#include <libxml/xmlreader.h>

#include <charconv>
#include <memory>
#include <optional>

#include "platform/base/text.h"

namespace kestrel::encryption {

namespace {

// Office hashes a password 100,000 times. The format allows a hundred times that, for which a person would wait
// five seconds and more whenever the file is opened; this many take about one.
constexpr std::uint32_t kMostRounds = 2'000'000;

struct FreeReader {
  void operator()(xmlTextReader* reader) const { xmlFreeTextReader(reader); }
};
using Reader = std::unique_ptr<xmlTextReader, FreeReader>;

void IgnoreMessage(void*, xmlErrorPtr) {}

const xmlChar* XmlText(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

std::string Attribute(const Reader& reader, const char* name) {
  xmlChar* const value = xmlTextReaderGetAttribute(reader.get(), XmlText(name));
  if (value == nullptr) RaiseDamaged("die Angaben zur Verschlüsselung sind unvollständig");
  std::string text(reinterpret_cast<const char*>(value));
  xmlFree(value);
  return text;
}

std::uint32_t NumberAttribute(const Reader& reader, const char* name) {
  const std::string text = Attribute(reader, name);
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) {
    RaiseDamaged("eine Angabe zur Verschlüsselung ist keine Zahl");
  }
  return number;
}

std::string BytesAttribute(const Reader& reader, const char* name) {
  constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : Attribute(reader, name)) {
    const std::size_t digit = kDigits.find(c);
    if (digit == std::string_view::npos) continue;  // padding, line breaks
    bits = bits << 6 | static_cast<std::uint32_t>(digit);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes.push_back(static_cast<char>(bits >> count & 0xFF));
  }
  return bytes;
}

AgileCipher ReadCipher(const Reader& reader) {
  const std::string method = Attribute(reader, "cipherAlgorithm");
  const std::string chaining = Attribute(reader, "cipherChaining");
  if (method != "AES" || chaining != "ChainingModeCBC") RaiseUnknownEncryption(method + ", " + chaining);
  const std::string hash_name = Attribute(reader, "hashAlgorithm");
  const std::optional<HashKind> hash = HashOfName(hash_name);
  if (!hash) RaiseUnknownEncryption(hash_name);
  return AgileCipher{BytesAttribute(reader, "saltValue"), *hash, NumberAttribute(reader, "hashSize"),
                     NumberAttribute(reader, "keyBits") / 8};
}

}  // namespace

AgileEncryption ReadAgileEncryption(Bytes xml) {
  const std::string_view text = CharactersOf(xml);
  const Reader reader(
      xmlReaderForMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, XML_PARSE_NONET));
  if (reader == nullptr) throw RuntimeError(ErrorNumber::kOutOfMemory);
  xmlTextReaderSetStructuredErrorHandler(reader.get(), &IgnoreMessage, nullptr);
  AgileEncryption encryption;
  while (xmlTextReaderRead(reader.get()) == 1) {
    if (xmlTextReaderNodeType(reader.get()) != XML_READER_TYPE_ELEMENT) continue;
    const std::string_view name(reinterpret_cast<const char*>(xmlTextReaderConstLocalName(reader.get())));
    if (name == "keyData") {
      encryption.document = ReadCipher(reader);
    } else if (name == "encryptedKey") {
      encryption.password = ReadCipher(reader);
      encryption.rounds = NumberAttribute(reader, "spinCount");
      encryption.verifier = BytesAttribute(reader, "encryptedVerifierHashInput");
      encryption.verifier_hash = BytesAttribute(reader, "encryptedVerifierHashValue");
      encryption.document_key = BytesAttribute(reader, "encryptedKeyValue");
      break;  // further keys are for certificates
    }
  }
  if (encryption.rounds > kMostRounds) {
    RaiseUnknownEncryption(std::to_string(encryption.rounds) + " Durchgänge");
  }
  if (encryption.document.salt.empty() || encryption.document_key.empty()) {
    RaiseDamaged("die Angaben zur Verschlüsselung sind unvollständig");
  }
  return encryption;
}

}  // namespace kestrel::encryption
