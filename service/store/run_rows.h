// Rows of the run-time state of what is applied to interfaces.
#pragma once

#include "service/model/model.h"
#include "service/store/store.h"

namespace hqosd {

// Adds the rows of the applications whose run-time state is dirty, as far as they differ from what
// was taken before.
void TakeRunChanges(Model& model, std::vector<Change>& changes);

}  // namespace hqosd
