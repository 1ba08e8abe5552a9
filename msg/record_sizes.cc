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
