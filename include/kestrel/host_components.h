// The contracts with a host's other components: log, settings, duplicate keys. Like import classes they are
// created by identifier from the registry that the host hands over, and driven by member name from the thread
// that runs the import. A host registers what it has; where one is missing, what needs it fails with error 429,
// which is shown, and the import goes on. Errors are raised. Texts are UTF-8.
#pragma once

namespace kestrel {

// --- Log ---------------------------------------------------------------------------------------
// One object a log: created with the first row, kept until the import ends. An import has at most two logs: its
// errors (one column: the line), and the records held back as duplicates (three: the record's mark, the field,
// its value).
//
//   CreateProtokoll   method, text   makes the log and returns its key, which is not empty. Arguments, by
//                                    reference: connection (it may be replaced), title, the user's display name,
//                                    name of the list, date (TT.MM.JJJJ), description of the specification, path
//                                    of its working copy, kind of source; then, unless the application is 2, an
//                                    argument left out and the text "clsProtokoll".
//   AddNewRecord      method         begins a row
//   SetField          method         the number 10, the column from 0, the text
//   UpdateRecord      method         stores the row
//
// Members that a log may have beyond these; looked up when it is made. What the first two raise is ignored.
//
//   SetLogDetail      method         behind CreateProtokoll, once each: a name and its text, of "Specification" (the
//                                    path that was chosen), "Source" (where the data come from), "ImportClass"
//   SetRowDetail      method         behind SetField, for each that is known: a name and its text. Of an error:
//                                    "Record" and "LastRecord" (numbers of the source, from 1), "Field",
//                                    "SourceColumn", "RawValue"; in the first row of a record held back: "Record",
//                                    "AddressType" and "Address" (its number), "Name", "Place", "Key" (1 to 3),
//                                    "EarlierRecord", and where the key component has Confirm "Score" (whole per
//                                    cent) and "Reason"
//   StoreRow          method         the one or three texts of a row without details, by reference; called in place
//                                    of AddNewRecord, SetField and UpdateRecord
inline constexpr const char* kLogComponent = "KSHProto.Protokoll";

// --- Settings ----------------------------------------------------------------------------------
// Created anew for every question.
//
//   Init         method   the number 0 and the connection, by reference
//   GetSetting   method   group, name, the result (by reference, becomes a text), "Standard", "Standard", the default
//
// A member that the component may have beyond these; looked up once an import:
//
//   Generation   property, number   another one whenever a setting may have changed since. The object asked last is kept
//                                   then; each question begins with this one, and while it gives the same, nothing is
//                                   created and no setting asked for again. What it raises fails the question.
//
// Asked for, in the group "Adressindex": "Doubletindex", "1" where the host keeps an index of addresses by
// their duplicate keys, and "AlgorithmCode1" to "AlgorithmCode3", how the three keys are made; where the key component
// has Confirm and the specification names no threshold, "DublettenSchwelle", in per cent ("0": 50).
inline constexpr const char* kSettingsComponent = "KSBSetting.KSSettings";

// --- Duplicate keys ----------------------------------------------------------------------------
// Created anew for every record of a run.
//
//   BuildDoubletKey   method, text   the key of an address. Arguments, by reference: the algorithm's code, and the
//                                    nine parts of the address with "|" between them: PLZ, Ort, Strasse, Bez1 cut
//                                    to 15 characters and trimmed, Bez1, Bez2, Bez3, an empty one, the group.
//
// Members that the component may have beyond this one; looked up once a run, on the first object made for a record,
// which is kept and asked:
//
//   Confirm           method, number how likely the record and an address that the key look-up found are the same, in
//                                    per cent. Arguments: the host's connection, the key text of the record, the
//                                    address's type (Adressart) and number (Referenz), and by reference a text, empty:
//                                    the reason in words, for people. Asked of each address found, a hundred a record
//                                    at most, while the run has the connection to itself. The record is held back where
//                                    one reaches the threshold (DublettenSchwelle); the one with the highest score is
//                                    told. 0 for an address that is not there any more. What it raises is shown, and
//                                    the record is imported.
//   HighestScore      method, number beside Confirm: the highest score, in per cent, that Confirm may give an address with
//                                    one of the record's keys; negative where none has one, 100 where that is not known.
//                                    Arguments: the host's connection, the key text of the record, its three keys, of
//                                    which those that are not in use are empty. Asked before each look-up, which is not
//                                    run where the threshold is higher.
//   ConfirmSpelling   method, number beside Confirm: how likely the record is the address that another record of this
//                                    import was held back for, in per cent, judged by how that one was written. Arguments:
//                                    the key text of the record, that of the other, and by reference a text, empty: the
//                                    reason. Asked where no address that the look-up found reaches the threshold, of each
//                                    record held back with one of the keys, at most a hundred; exact repetitions (100 per
//                                    cent) are not among them. What it raises is shown, and the record is imported.
inline constexpr const char* kKeyComponent = "ksDoubLb.DoubletFunctions";

}  // namespace kestrel
