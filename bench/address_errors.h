// How an address is written down wrongly or in another way.
//
// The model is that of the generators FEBRL and GeCo (P. Christen, "Probabilistic Data Generation for Deduplication and
// Data Linkage", IDEAL 2005; K.-N. Tran, D. Vatsalan, P. Christen, "GeCo: an online personal data generator and
// corruptor", CIKM 2013): for each error a field is drawn, then a kind of error: typing (insert, delete, substitute by a
// neighbour on the keyboard, transpose), reading by a machine, spelling as it sounds, words swapped or missing, a whole
// value missing. Beside it stand ways of writing that are no errors.
#pragma once

#include <string>

#include "dice.h"

struct Address {
  std::string name;        // a person's surname, a company's name
  std::string first_name;  // empty for a company
  std::string contact;     // of a company, or a department
  std::string street;
  std::string number;
  std::string postcode;
  std::string town;
};

// Other spellings that mean the same: "Str.", "ue", "OT", "a. d.", capitals, titles, legal forms, "5 a".
void WriteInAnotherWay(Address& address, Dice& dice);

// One error in one field. Returns false, with nothing changed, where the field drawn cannot take it.
bool Damage(Address& address, Dice& dice);
