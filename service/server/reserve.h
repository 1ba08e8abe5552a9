// Memory put aside, so that a request that has begun is finished when the system has no more.
#pragma once

namespace hqosd {

// Sees to it that memory is put aside, which `new` falls back on when there is no other. False when
// there is none to put aside: no request that changes something should then begin.
bool KeepReserve();

}  // namespace hqosd
