// What can be said about a configuration without the tools.
#pragma once

#include <vector>

#include "inspect/finding.h"
#include "inspect/noted_texts.h"

namespace tavrix::inspect {

// Builds every rule program as a run does and goes on where a run would stop; then looks for what a
// run reads past. What would stop a run comes first, in the order of a run. Texts have to be noted
// by `texts`, errors too.
//
// Afterwards `params` is without what would stop a run: unfinished statements, a condition that
// is none, users without a label. With texts noted further, all programs can be built.
std::vector<Finding> checkConfiguration(const NotedTexts& texts);

}  // namespace tavrix::inspect
