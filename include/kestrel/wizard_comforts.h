// What the wizard's windows may do beyond what they are known for. All of it is off by default.
#pragma once

namespace kestrel {

struct WizardComforts {
  // Behind the closing message the run window stays: it says in figures what became of the records, with which one
  // to go on where the run stopped, and saves those that were not stored to a file.
  bool run_summary = false;
  // In place of the closing message and of that: a page behind step 3 that says how the run ended, with the figures that
  // add up. It saves what was not stored, imports behind a test with the same settings, opens the log and takes an
  // import back where the host can (kestrel/wizard_host.h), and lets the host be used meanwhile.
  bool result_page = false;
  // While it runs, the run window says how many records a second it works through, and how long it will still take.
  bool run_pace = false;
  // After a template was saved under a name the wizard goes on with the new specification, not with the template.
  bool goes_on_with_saved = false;
  // Beside "Speichern" steps 2 and 3 offer "Speichern unter...": a copy, with which the wizard goes on.
  bool save_as = false;
  // Step 1 shows the five specifications that were used last on top of the others, with source, time and figures of
  // their last run, where the host tells (WizardHost::last_runs).
  bool recent_specifications = false;
  // Where there is no specification yet, step 1 opens on its templates.
  bool begins_with_templates = false;
  // Step 1 renames, copies and deletes specifications, to the trash, and finds them by a part of their name. It lists all
  // of them, not the first hundred.
  bool managed_specifications = false;
  // Each window has a button "?", and F1, that open its page of the user guide. Where the guide is not installed, a box
  // says so.
  bool help_pages = false;
  // Controls that are not plain by their caption say in a tool tip what they are for.
  bool tool_tips = false;
  // The confirmation names the source, how many records it has and what will happen to it (a backup copy, removal,
  // nothing). Closing its frame and Escape go back to step 3 instead of importing and doing nothing.
  bool telling_confirmation = false;
  // A test run neither backs the source up nor removes it.
  bool harmless_test = false;
  // Before step 3 it is told what has become of the source's columns since the specification was saved; the person
  // goes on or stays on step 2, and has new names taken over into the assignment. Where the
  // specification remembers columns, a source whose own cannot be read keeps the person on step 2.
  bool column_drift = false;
  // Step 1 tells once, in a message box, which files its list leaves out because they cannot be read, and why.
  bool unreadable_specifications = false;
  // "Löschen?" answers no where only Enter is pressed, and "Abbrechen" on step 3 asks where something was changed.
  // (Escape there asks in any case.)
  bool careful_questions = false;
  // Behind a save the page says that it has saved.
  bool tells_of_saving = false;
  // The names of mandatory fields are followed by "*".
  bool marked_mandatory_fields = false;
  // Step 3's list has no columns that nobody sees; a screen reader would read them out.
  bool no_hidden_columns = false;
  // The captions of buttons show the letter that presses them together with Alt.
  bool visible_access_keys = false;
  // Step 2 offers the kind of a specification that its list lacks for that specification, so that nothing of it is
  // lost on the way to step 3 or back.
  bool unlisted_kinds = false;
  // A connection that fails is told: a source's in a line of step 2, the host's in a box before step 3 and a run begin.
  // Of a file without columns step 3 says that it is empty, where it is.
  bool failed_connections = false;
  // What a specification says of a source that cannot be read just now stays: on step 2 the name of its table, on
  // step 3 the assignments to its columns.
  bool kept_assignments = false;
  // Step 2 offers workbooks (.xls and .xlsx), too.
  bool offers_excel = false;
  // A file that is chosen, dropped onto any page or handed in by the host decides by its content what kind of source it
  // is and, where it is text, how it is read; a line of step 2 says what was recognised, and everything can be changed.
  // A file that was looked at once is not looked at again, and a saved specification for whose kind a file is
  // handed in keeps its settings. The file dialogs offer all kinds. ImportFileName counts once.
  bool recognised_files = false;
  // Step 2 shows the first 20 records below the settings, as they are read with them at the moment, or why they cannot
  // be read.
  bool live_preview = false;
  // Step 3 shows for the selected field three values of its column, and what would be stored for each; of one that
  // would not be taken, why.
  bool sample_values = false;
  // Step 3 has "Nach Namen zuordnen": fields without an assignment get the columns that their names fit, usual
  // synonyms included. "Rückgängig" takes exactly that back.
  bool assignment_by_name = false;
  // Step 3 has a search box that filters its list of fields as one types. The panel names the field that it shows,
  // which stays the same.
  bool field_search = false;
  // Step 3 has a second tab, "Ergebnis": the first 100 records as they would be stored, with what is wrong with them.
  bool result_tab = false;
  // On step 3 the box of date formats can be used for the line that is selected, not for the one before it.
  bool format_follows_line = false;
  // Step 3 proposes the date format that the first values of a date's column fit. It is set only by the person.
  bool proposed_date_formats = false;
  // What stands in step 3's panel is stored before it is checked, saved or left.
  bool stored_panel = false;
  // The editor of translations says under the table, right behind an entry, what of it could not be saved.
  bool checked_translations = false;
};

}  // namespace kestrel
