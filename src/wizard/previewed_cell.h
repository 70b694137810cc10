// How a field of a previewed record looks in a table: what would be stored, and a sign and a reason where it is not as
// it should be.
#pragma once

#include <QString>
#include <QVariant>

#include "import/record_preview.h"

namespace kestrel {

// Why a field is not fine, and what the source delivered; empty where it is.
QString ExplainedCell(const PreviewedField& field);

// What a cell answers for the role of a model; not valid for roles that it has nothing for.
QVariant PreviewedCell(const PreviewedField& field, int role);

}  // namespace kestrel
