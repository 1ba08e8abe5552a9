// The records' sizes and offsets are part of the interface, the same for 32 and 64 bits.
#include <stddef.h>

#include "hqos.h"

static_assert(sizeof(HQOS_MsgHead) == 8);
static_assert(offsetof(HQOS_MsgHead, headLen) == 0);
static_assert(offsetof(HQOS_MsgHead, format) == 1);
static_assert(offsetof(HQOS_MsgHead, kind) == 2);
static_assert(offsetof(HQOS_MsgHead, opClass) == 3);
static_assert(offsetof(HQOS_MsgHead, flag) == 4);
static_assert(offsetof(HQOS_MsgHead, reserved) == 5);

static_assert(sizeof(HQOS_Result) == 260);
static_assert(offsetof(HQOS_Result, code) == 0);
static_assert(offsetof(HQOS_Result, text) == 4);

static_assert(sizeof(HQOS_SPInfo) == 52);
static_assert(offsetof(HQOS_SPInfo, name) == 0);
static_assert(offsetof(HQOS_SPInfo, id) == 32);
static_assert(offsetof(HQOS_SPInfo, value1) == 36);
static_assert(offsetof(HQOS_SPInfo, value2) == 40);
static_assert(offsetof(HQOS_SPInfo, words) == 44);

static_assert(sizeof(HQOS_ValueRange) == 4);
static_assert(offsetof(HQOS_ValueRange, low) == 0);
static_assert(offsetof(HQOS_ValueRange, high) == 2);

static_assert(sizeof(HQOS_MatchRule) == 36);
static_assert(offsetof(HQOS_MatchRule, type) == 0);
static_assert(offsetof(HQOS_MatchRule, ranges) == 4);

static_assert(sizeof(HQOS_AppObj) == 60);
static_assert(offsetof(HQOS_AppObj, type) == 0);
static_assert(offsetof(HQOS_AppObj, value) == 4);
static_assert(offsetof(HQOS_AppObj, param) == 8);
static_assert(offsetof(HQOS_AppObj, name) == 12);

static_assert(sizeof(HQOS_SPSonPath) == 12);
static_assert(offsetof(HQOS_SPSonPath, field) == 0);

static_assert(sizeof(HQOS_SonCfg) == 104);
static_assert(offsetof(HQOS_SonCfg, value1) == 0);
static_assert(offsetof(HQOS_SonCfg, value2) == 2);
static_assert(offsetof(HQOS_SonCfg, name1) == 4);
static_assert(offsetof(HQOS_SonCfg, name2) == 36);
static_assert(offsetof(HQOS_SonCfg, rule) == 68);

static_assert(sizeof(HQOS_SPSon) == 124);
static_assert(offsetof(HQOS_SPSon, words) == 0);
static_assert(offsetof(HQOS_SPSon, path) == 8);
static_assert(offsetof(HQOS_SPSon, cfg) == 20);

static_assert(sizeof(HQOS_SPSonCounters) == 136);
static_assert(alignof(HQOS_SPSonCounters) == 8);
static_assert(offsetof(HQOS_SPSonCounters, stat32) == 0);
static_assert(offsetof(HQOS_SPSonCounters, stat64) == 24);

static_assert(sizeof(HQOS_SPSonStat) == 264);
static_assert(offsetof(HQOS_SPSonStat, son) == 0);
static_assert(offsetof(HQOS_SPSonStat, counters) == 128);

static_assert(sizeof(HQOS_SPSonDiag) == 132);
static_assert(offsetof(HQOS_SPSonDiag, son) == 0);
static_assert(offsetof(HQOS_SPSonDiag, diag) == 124);

static_assert(sizeof(HQOS_FGSonKey) == 6);
static_assert(offsetof(HQOS_FGSonKey, field) == 0);

static_assert(sizeof(HQOS_FGSon) == 112);
static_assert(offsetof(HQOS_FGSon, key) == 0);
static_assert(offsetof(HQOS_FGSon, word) == 8);
static_assert(offsetof(HQOS_FGSon, name1) == 12);
static_assert(offsetof(HQOS_FGSon, rule) == 44);
static_assert(offsetof(HQOS_FGSon, name2) == 80);

static_assert(sizeof(HQOS_FGInfo) == 34);
static_assert(offsetof(HQOS_FGInfo, name) == 0);
static_assert(offsetof(HQOS_FGInfo, id) == 32);

static_assert(sizeof(HQOS_FCInfo) == 34);
static_assert(offsetof(HQOS_FCInfo, name) == 0);
static_assert(offsetof(HQOS_FCInfo, id) == 32);

static_assert(sizeof(HQOS_FPInfo) == 108);
static_assert(offsetof(HQOS_FPInfo, name) == 0);
static_assert(offsetof(HQOS_FPInfo, id) == 32);
static_assert(offsetof(HQOS_FPInfo, flags) == 36);
static_assert(offsetof(HQOS_FPInfo, dpName) == 40);
static_assert(offsetof(HQOS_FPInfo, dpId) == 72);
static_assert(offsetof(HQOS_FPInfo, gts) == 76);
static_assert(offsetof(HQOS_FPInfo, queue) == 92);
static_assert(offsetof(HQOS_FPInfo, bandwidth) == 104);

static_assert(sizeof(HQOS_DPThreshold) == 12);
static_assert(offsetof(HQOS_DPThreshold, value1) == 0);
static_assert(offsetof(HQOS_DPThreshold, value2) == 2);
static_assert(offsetof(HQOS_DPThreshold, value3) == 4);
static_assert(offsetof(HQOS_DPThreshold, value4) == 8);

static_assert(sizeof(HQOS_DPInfo) == 76);
static_assert(offsetof(HQOS_DPInfo, name) == 0);
static_assert(offsetof(HQOS_DPInfo, id) == 32);
static_assert(offsetof(HQOS_DPInfo, weight) == 36);
static_assert(offsetof(HQOS_DPInfo, thresholds) == 40);

static_assert(sizeof(HQOS_ApplyInfo) == 112);
static_assert(offsetof(HQOS_ApplyInfo, obj) == 0);
static_assert(offsetof(HQOS_ApplyInfo, sp) == 60);

static_assert(sizeof(HQOS_LayerRun) == 64);
static_assert(offsetof(HQOS_LayerRun, path) == 0);
static_assert(offsetof(HQOS_LayerRun, value16) == 12);
static_assert(offsetof(HQOS_LayerRun, value32) == 16);
static_assert(offsetof(HQOS_LayerRun, hostData) == 20);
static_assert(offsetof(HQOS_LayerRun, rule) == 28);

static_assert(sizeof(HQOS_FPCfg) == 104);
static_assert(offsetof(HQOS_FPCfg, name) == 0);
static_assert(offsetof(HQOS_FPCfg, id) == 32);
static_assert(offsetof(HQOS_FPCfg, flags) == 36);
static_assert(offsetof(HQOS_FPCfg, dpName) == 40);
static_assert(offsetof(HQOS_FPCfg, gts) == 72);
static_assert(offsetof(HQOS_FPCfg, queue) == 88);
static_assert(offsetof(HQOS_FPCfg, bandwidth) == 100);

static_assert(sizeof(HQOS_FPRun) == 44);
static_assert(offsetof(HQOS_FPRun, id) == 0);
static_assert(offsetof(HQOS_FPRun, flags) == 4);
static_assert(offsetof(HQOS_FPRun, value16) == 8);
static_assert(offsetof(HQOS_FPRun, dpId) == 10);
static_assert(offsetof(HQOS_FPRun, gts) == 12);
static_assert(offsetof(HQOS_FPRun, queue) == 28);
static_assert(offsetof(HQOS_FPRun, bandwidth) == 40);

static_assert(sizeof(HQOS_MsgBuf) == (sizeof(void*) == 8 ? 4128 : 4124));
static_assert(offsetof(HQOS_MsgBuf, data) == 0);
static_assert(offsetof(HQOS_MsgBuf, capacity) == 4096);
static_assert(offsetof(HQOS_MsgBuf, used) == 4098);
static_assert(offsetof(HQOS_MsgBuf, mode) == 4100);
static_assert(offsetof(HQOS_MsgBuf, context) == 4104);
static_assert(offsetof(HQOS_MsgBuf, flush) == 4120);
