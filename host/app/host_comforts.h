// What the sample host's wizard does beyond what it is known for: all there is.
#pragma once

#include "kestrel/wizard_comforts.h"

namespace kestrel::host {

inline constexpr WizardComforts kHostComforts = {.run_summary = true,
                                                 .result_page = true,
                                                 .run_pace = true,
                                                 .goes_on_with_saved = true,
                                                 .save_as = true,
                                                 .recent_specifications = true,
                                                 .begins_with_templates = true,
                                                 .managed_specifications = true,
                                                 .help_pages = true,
                                                 .tool_tips = true,
                                                 .telling_confirmation = true,
                                                 .harmless_test = true,
                                                 .column_drift = true,
                                                 .unreadable_specifications = true,
                                                 .careful_questions = true,
                                                 .tells_of_saving = true,
                                                 .marked_mandatory_fields = true,
                                                 .no_hidden_columns = true,
                                                 .visible_access_keys = true,
                                                 .unlisted_kinds = true,
                                                 .failed_connections = true,
                                                 .kept_assignments = true,
                                                 .offers_excel = true,
                                                 .recognised_files = true,
                                                 .live_preview = true,
                                                 .sample_values = true,
                                                 .assignment_by_name = true,
                                                 .field_search = true,
                                                 .result_tab = true,
                                                 .format_follows_line = true,
                                                 .proposed_date_formats = true,
                                                 .stored_panel = true,
                                                 .checked_translations = true};

}  // namespace kestrel::host
