// What is wrong with a model, as far as that can be known without a service.
#pragma once

#include "client/fault.h"
#include "client/model.h"

namespace client {

// References to what is not there, identifiers that two objects have, rules of siblings that
// overlap, cycles, a sixth level, too many descendants, two SPs in one place. Faults are at the
// paths that the model has in a file.
Faults Check(const Model& model);

}  // namespace client
