// From a file to a model.
#pragma once

#include "client/document.h"
#include "client/model.h"

namespace client {

// The version of files that this reads and writes.
constexpr int64_t kFormat = 1;

// Reads the model from the document. What is faulty is left out of it, and all faults are added to
// `faults`. References are not looked up: see check.h.
Model ReadModel(const Document& document, Faults& faults);

}  // namespace client
