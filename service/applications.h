// Where SPs are applied.
#pragma once

#include "service/requests.h"

namespace hqosd {

// "interface eth0 outbound"
std::string Place(const ApplyKey& key);

// The key under which an object is applied to. An interface is found by its name, its index, or
// both, which must then be the same interface's; `refusal` says what is wrong with it. One that has
// gone is found where it was applied.
bool FindKey(const Model& model, const HQOS_AppObj& obj, ApplyKey& key, Answer& refusal);

// Why no SP can be applied there, whether the interface exists or not; "" when one can.
std::string WhyNotApplicable(const Model& model, const ApplyKey& key);

// Sees to it that no other application has the interface index in that direction: one that has it
// from an interface that has gone gets a number that no interface has.
void FreeIndex(Model& model, const ApplyKey& key, uint32_t ifIndex);

// Whether it is this SP that is applied there.
bool IsApplied(const Model& model, const ObjectTable<SP>::Object& sp, const ApplyKey& key);

// The refusal that says that the SP is not applied there.
Answer NotApplied(const std::string& sp, const ApplyKey& key);

// Whether what is applied there takes effect: HQOSD_DIAG_IN_EFFECT or why not.
uint32_t Diagnose(const Model& model, const ApplyKey& key);

// Where the SP is applied; "" when nowhere.
std::string PlaceOf(const Model& model, uint16_t sp);

}  // namespace hqosd
