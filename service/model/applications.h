// Where SPs are applied. Functions that fail throw a Refusal before they change the model.
#pragma once

#include "service/model/model.h"

namespace hqosd {

using SPObject = ObjectTable<SP>::Object;

// "interface eth0 outbound"
std::string TargetText(const ApplyKey& key);

// The key of an application object. An interface is found by its name, its index, or both, which
// must then agree. One that has disappeared is found where it was applied.
ApplyKey GetKey(const Model& model, const HQOS_AppObj& obj);

// Applies the SP. An interface must exist; `Enter` takes it as it was stored, with the index that
// it had.
void Apply(Model& model, const SPObject& sp, const ApplyKey& key);
void Enter(Model& model, const SPObject& sp, const ApplyKey& key, uint32_t ifIndex);

void UndoApply(Model& model, const SPObject& sp, const ApplyKey& key);

// Whether it is this SP that is applied there.
bool IsApplied(const Model& model, const SPObject& sp, const ApplyKey& key);

// The refusal of a request that requires it to be applied there.
[[noreturn]] void RefuseNotApplied(const SPObject& sp, const ApplyKey& key);

// Whether what is applied there takes effect: HQOSD_DIAG_IN_EFFECT or why not.
uint32_t Diagnose(const Model& model, const ApplyKey& key);

// A target of the SP; "" when it is applied nowhere.
std::string FindTargetText(const Model& model, uint16_t sp);

}  // namespace hqosd
