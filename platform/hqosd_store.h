// The store of hqosd, the stand-in service: where it is, and the forms of the records that are its
// own. The other records are those of the library (HQOS_dbmtype_ functions).
#ifndef HQOS_PLATFORM_HQOSD_STORE_H
#define HQOS_PLATFORM_HQOSD_STORE_H

#include <stddef.h>

#include "hqos.h"

#ifdef __cplusplus
extern "C" {
#endif

#define HQOSD_STORE_VERSION 1u

// Keys: what stands behind each is told in docs/service.md.
#define HQOSD_KEY_VERSION "VERSION"
#define HQOSD_KEY_SP "SP-cfg-"
#define HQOSD_KEY_FG "FG-cfg-"
#define HQOSD_KEY_FC "FC-cfg-"
#define HQOSD_KEY_DP "DP-cfg-"
#define HQOSD_KEY_FP "FP-cfg-"
#define HQOSD_KEY_FP_RUN "FP-run-"
#define HQOSD_KEY_SP_NEST "SP-nest-"
#define HQOSD_KEY_FG_NEST "FG-nest-"
#define HQOSD_KEY_IF_CFG "IFCFG-"
#define HQOSD_KEY_IF_RUN "IFRUN-"
#define HQOSD_KEY_APPLY "APPLY-"

// The file of the default store, in the `room` bytes at path: hqosd.db in $HQOS_STATE_DIR where
// that is set, else for root in /var/lib/hqos, for others in $XDG_STATE_HOME/hqos or
// $HOME/.local/state/hqos. Returns 0, or 1 when there is no such place or it does not fit.
int HQOSD_GetStorePath(char* path, size_t room);

// Read a record of `length` bytes into *out. Return 1, or 0 with *out untouched when the bytes are
// too short. Of the SP, name, id and value1 (its unit) are stored.
int HQOSD_ReadSP(const uint8_t* value, size_t length, HQOS_SPInfo* out);
int HQOSD_ReadFG(const uint8_t* value, size_t length, HQOS_FGInfo* out);
int HQOSD_ReadFC(const uint8_t* value, size_t length, HQOS_FCInfo* out);
int HQOSD_ReadDP(const uint8_t* value, size_t length, HQOS_DPInfo* out);
int HQOSD_ReadFPCfg(const uint8_t* value, size_t length, HQOS_FPCfg* out);
// Where an SP is applied; of out->sp only the name is stored.
int HQOSD_ReadApply(const uint8_t* value, size_t length, HQOS_ApplyInfo* out);

#ifdef __cplusplus
}
#endif

#endif
