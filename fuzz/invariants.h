// What holds of the service's model at any time.
#pragma once

#include "service/model/model.h"

namespace fuzz {

// Ends the program when the model contradicts itself.
void CheckInvariants(const hqosd::Model& model);

}  // namespace fuzz
