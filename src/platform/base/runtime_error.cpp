#include "kestrel/runtime_error.h"

#include <cerrno>

namespace kestrel {

RuntimeError::RuntimeError(ErrorNumber number) : RuntimeError(number, std::string(DescriptionOf(number))) {}

RuntimeError::RuntimeError(ErrorNumber number, std::string description)
    : RuntimeError(static_cast<int>(number), std::move(description)) {}

RuntimeError::RuntimeError(int number, std::string description)
    : number_(number), description_(std::move(description)) {}

std::string_view DescriptionOf(ErrorNumber number) {
  switch (number) {
    case ErrorNumber::kInvalidProcedureCall: return "Ungültiger Prozeduraufruf oder ungültiges Argument";
    case ErrorNumber::kOverflow: return "Überlauf";
    case ErrorNumber::kOutOfMemory: return "Nicht genügend Speicher";
    case ErrorNumber::kSubscriptOutOfRange: return "Index außerhalb des gültigen Bereichs";
    case ErrorNumber::kDivisionByZero: return "Division durch Null";
    case ErrorNumber::kTypeMismatch: return "Typen unverträglich";
    case ErrorNumber::kBadFileName: return "Dateiname oder -nummer falsch";
    case ErrorNumber::kFileNotFound: return "Datei nicht gefunden";
    case ErrorNumber::kDeviceIo: return "E/A-Fehler";
    case ErrorNumber::kFileAlreadyExists: return "Datei existiert bereits";
    case ErrorNumber::kDiskFull: return "Datenträger voll";
    case ErrorNumber::kPermissionDenied: return "Zugriff verweigert";
    case ErrorNumber::kPathFileAccess: return "Fehler beim Zugriff auf Pfad oder Datei";
    case ErrorNumber::kPathNotFound: return "Pfad nicht gefunden";
    case ErrorNumber::kObjectNotSet: return "Objektvariable nicht festgelegt";
    case ErrorNumber::kInvalidUseOfNull: return "Unzulässige Verwendung von Null";
    case ErrorNumber::kObjectRequired: return "Objekt erforderlich";
    case ErrorNumber::kCannotCreateObject: return "Objekt kann nicht erstellt werden";
    case ErrorNumber::kMemberNotFound: return "Objekt unterstützt diese Eigenschaft oder Methode nicht";
    case ErrorNumber::kAutomation: return "Automatisierungsfehler";
    case ErrorNumber::kArgumentNotOptional: return "Argument ist nicht optional";
    case ErrorNumber::kWrongNumberOfArguments: return "Falsche Anzahl an Argumenten";
    case ErrorNumber::kDatabase: return "Fehler beim Zugriff auf die Datenbank";
    case ErrorNumber::kNoCurrentRecord: return "Kein aktueller Datensatz";
    case ErrorNumber::kNumberExists: return "Die Nummer gibt es schon";
    case ErrorNumber::kColumnNotFound: return "Spalte nicht gefunden";
    case ErrorNumber::kColumnType: return "Der Wert passt nicht zum Typ der Spalte";
    case ErrorNumber::kObjectClosed: return "Der Vorgang ist bei geschlossenem Objekt nicht zulässig";
    case ErrorNumber::kProviderNotFound: return "Kein Datenzugriff für diese Verbindungszeichenfolge gefunden";
  }
  return "Anwendungs- oder objektdefinierter Fehler";
}

RuntimeError ErrorFromErrno(int error, std::string_view subject) {
  ErrorNumber number = ErrorNumber::kDeviceIo;
  switch (error) {
    case ENOENT: number = ErrorNumber::kFileNotFound; break;
    case ENOTDIR: number = ErrorNumber::kPathNotFound; break;
    case EACCES:
    case EPERM:
    case EROFS: number = ErrorNumber::kPermissionDenied; break;
    case EISDIR: number = ErrorNumber::kPathFileAccess; break;
    case EEXIST: number = ErrorNumber::kFileAlreadyExists; break;
    case ENOSPC:
    case EDQUOT:
    case EFBIG: number = ErrorNumber::kDiskFull; break;
    case ENAMETOOLONG:
    case EINVAL: number = ErrorNumber::kBadFileName; break;
    case ENOMEM: number = ErrorNumber::kOutOfMemory; break;
    case EBUSY:
    case ETXTBSY: number = ErrorNumber::kPathFileAccess; break;
    default: break;
  }
  std::string description(DescriptionOf(number));
  if (error == EFBIG) description += " (die Datei hat die zulässige Größe erreicht)";
  if (!subject.empty()) description.append(": ").append(subject);
  return RuntimeError(number, std::move(description));
}

}  // namespace kestrel
