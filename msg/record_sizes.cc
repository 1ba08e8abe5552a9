// The sizes of the records, and the offsets of the members that follow padding, are part of the
// interface: the same for 32 and 64 bits.
#include <stddef.h>

#include "hqos.h"

static_assert(sizeof(HQOS_MsgHead) == 8);
static_assert(sizeof(HQOS_Result) == 260);
static_assert(sizeof(HQOS_SPInfo) == 52);
static_assert(sizeof(HQOS_FGInfo) == 34);
static_assert(sizeof(HQOS_FCInfo) == 34);
static_assert(sizeof(HQOS_FPInfo) == 108);
static_assert(sizeof(HQOS_DPThreshold) == 12);
static_assert(sizeof(HQOS_DPInfo) == 76);
static_assert(sizeof(HQOS_ValueRange) == 4);
static_assert(sizeof(HQOS_MatchRule) == 36);
static_assert(sizeof(HQOS_AppObj) == 60);
static_assert(sizeof(HQOS_ApplyInfo) == 112);
static_assert(sizeof(HQOS_SPSonPath) == 12);
static_assert(sizeof(HQOS_SonCfg) == 104);
static_assert(sizeof(HQOS_SPSon) == 124);
static_assert(sizeof(HQOS_SPSonCounters) == 136);
static_assert(sizeof(HQOS_SPSonStat) == 264);
static_assert(sizeof(HQOS_SPSonDiag) == 132);
static_assert(sizeof(HQOS_FGSonKey) == 6);
static_assert(sizeof(HQOS_FGSon) == 112);
static_assert(sizeof(HQOS_LayerRun) == 64);
static_assert(sizeof(HQOS_FPCfg) == 104);
static_assert(sizeof(HQOS_FPRun) == 44);
static_assert(alignof(HQOS_SPSonCounters) == 8);
static_assert(sizeof(HQOS_MsgBuf) == (sizeof(void*) == 8 ? 4128 : 4124));

static_assert(offsetof(HQOS_SPInfo, value1) == 36);
static_assert(offsetof(HQOS_FPInfo, flags) == 36);
static_assert(offsetof(HQOS_FPInfo, gts) == 76);
static_assert(offsetof(HQOS_DPInfo, weight) == 36);
static_assert(offsetof(HQOS_SPSonCounters, stat64) == 24);
static_assert(offsetof(HQOS_SPSonStat, counters) == 128);
static_assert(offsetof(HQOS_FGSon, word) == 8);
static_assert(offsetof(HQOS_LayerRun, value32) == 16);
static_assert(offsetof(HQOS_FPCfg, flags) == 36);
static_assert(offsetof(HQOS_FPRun, flags) == 4);
static_assert(offsetof(HQOS_FPRun, gts) == 12);
static_assert(offsetof(HQOS_MsgBuf, context) == 4104);
static_assert(offsetof(HQOS_MsgBuf, flush) == 4120);
