// hqos: client and codec library of the hierarchical quality-of-service feature. C11 and C++.
//
// Objects
//   An SP is the root of a hierarchy. It takes effect where it is applied: to a slot, a 16-bit
//   identifier, the system as a whole, or an interface.
//   FGs are nested below an SP or below other FGs. Each nesting carries a match rule, which selects
//   the child's traffic by values of one attribute (dot1p, local precedence, QoS local ID, service
//   VLAN ID); a group carries no values. FCs are nested below FGs, without a rule.
//   An FP carries settings of a child: a queue, shaping (GTS), a bandwidth. It may refer to a DP,
//   which has a weight and thresholds.
//
//     SP gold                             applied to interface eth0
//     |- FG voice  dot1p 5-7              with an FP, which refers to a DP
//     `- FG data  dot1p 0-4
//        `- FG customer-a  service VLAN 100-199
//           |- FC web
//           `- FC backup
//
//   Every object has a name and an identifier. A child of an SP, at any depth, is addressed by a
//   path of up to five levels. Which hierarchies are allowed is the service's decision; for hqosd
//   see docs/service.md.
//
// Example
//   #include <hqos.h>
//   #include <stdio.h>
//
//   int main(void) {
//     HQOS_Result result;
//     const HQOS_MatchRule voice = {HQOS_MATCH_DOT1P, {{5, 7}, {HQOS_RANGE_UNUSED, 0}}};
//     if (HQOS_lib_AddSP("gold", HQOS_ID_NONE, &result) != 0) return 3;  // no service answers
//     if (result.code == 0 && HQOS_lib_AddFG("voice", HQOS_ID_NONE, &result) == 0 &&
//         result.code == 0) {
//       HQOS_lib_AddSPNestFG("gold", &voice, "voice", NULL, &result);
//     }
//     if (result.code != 0) {
//       fprintf(stderr, "refused: %s\n", result.text);
//       return 1;
//     }
//     HQOS_SPSonPath start = {{0, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF}};
//     HQOS_SPInfo sp;
//     HQOS_SPSon sons[HQOS_BULK_SPSON_MAX];
//     uint32_t count;
//     if (HQOS_lib_GetSP("gold", &sp) != 0) return 1;
//     start.field[0] = sp.id;
//     if (HQOS_lib_GetBulkSPSon(&start, 0, &count, sons) != 0) return 1;
//     for (uint32_t i = 0; i < count; ++i) printf("%s\n", sons[i].cfg.name1);
//     return 0;
//   }
//
// Conventions, valid for every function unless its own text says otherwise:
//
// Errors      A function that can fail returns a 32-bit status; 0 is success. The library's own
//             codes are those of HQOS_Status; any other code comes from the service, unchanged.
// Commands    Return 0 when the service answered, whatever it answered: its verdict is
//             result->code (0 = done) and result->text. Otherwise they return
//             - HQOS_ERR_FAILED: no service, or the round trip broke off; *result is untouched;
//             - HQOS_ERR_BADREPLY: the reply held no usable status; *result is all zero.
//             A command whose call failed may or may not have taken effect: query before repeating.
// Queries     Return 0 with the outputs filled, HQOS_ERR_FAILED or HQOS_ERR_BADREPLY as above, or
//             the service's own non-zero code. Outputs are untouched unless 0 is returned. A status
//             TLV with code 0 is not a valid query reply; it is decoded as a data TLV.
// Lists       `start` and `count` go to the service unchanged: what they select, and the order of
//             the records, is the service's decision. The records are written to infos and their
//             number to *outCount. The number is not compared with `count`: give infos room for the
//             HQOS_BULK_..._MAX records that any reply can hold. A reply without records gives 0
//             with *outCount = 0; one that is cut inside a TLV ends there, also with 0.
// Waiting     A call waits for the reply without a time limit. Signals neither end nor disturb it.
//             On a host a service that dies ends the wait with HQOS_ERR_FAILED; on a platform with
//             plain datagrams it may not.
// Ownership   Every record and buffer is the caller's; nothing is kept after the call. The library
//             allocates no heap memory except in HQOS_util_StartServiceOnAllSlot. A round trip
//             takes about 5 kB of stack, plus what the platform's operations take, and one
//             descriptor, which is closed before the call returns.
// Pointers    Must not be null unless the text allows it; this is not checked.
// Names       NUL-terminated. An object name longer than 31 characters is cut to 31. In a record
//             the bytes after the terminator are zero.
// Numbers     Host byte order, in records and arguments alike. Enumerations are carried as
//             uint32_t and are not checked by commands.
// Opaque      Identifiers, settings, values, units, counters, diagnosis values and words of records
//             are opaque to the library: it carries them unchanged. hqosd's meanings are in
//             docs/service.md.
// Bad input   Received lengths are checked before anything is read. In a reply, a value shorter
//             than its layout is never read: inside a record it is skipped like an unknown type.
//             Bytes beyond a layout are ignored.
// Threads     Any function may run on any thread at any time; the library has no state.
// Linking     The program must provide RAND_seed and RAND_bytes of libcrypto even if it never calls
//             HQOS_util_GetRandom, because all symbols are bound when the library is loaded.
#ifndef HQOS_H
#define HQOS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Undefined at the end of this file.
#ifdef __cplusplus
#define HQOS_ALIGNED_8 alignas(8)
#else
#define HQOS_ALIGNED_8 _Alignas(8)
#endif

// ---- Sizes and fixed values ---------------------------------------------------------------------

#define HQOS_SERVICE_PORT 1174u  // port of the hqos service
#define HQOS_SERVICE_NODE \
  0x80000000u  // node address at which a caller finds its own node's service

enum {
  HQOS_NAME_SIZE = 32,            // object name field: 31 characters and the NUL
  HQOS_RESULT_TEXT = 256,         // status text field: 255 characters and the NUL
  HQOS_MSGBUF_SIZE = 4096,        // area of a message buffer, bytes
  HQOS_MSG_MAX = 1500,            // largest request and largest reply, bytes
  HQOS_MSGHEAD_LEN = 8,           // message head as the library writes it, bytes
  HQOS_ID_NONE = 0xFFFF,          // "no identifier"
  HQOS_SLOT_NONE = 0xFFFF,        // "not bound to one slot"
  HQOS_PATH_UNSET = 0xFFFF,       // field of a path: no node at that level
  HQOS_RANGE_UNUSED = 0xFFFF,     // low of a value range: the range is empty
  HQOS_DP_THRESHOLDS = 3,         // thresholds that a DP is reported with
  HQOS_APPOBJ_NAME_SIZE = 48,     // name field of an application object: 47 characters and the NUL
  HQOS_MATCHRULE_RANGES = 8,      // value ranges of a match rule
  HQOS_MATCHRULE_STR_LEN = 53,    // text form of a match rule, characters without the NUL
  HQOS_MATCHRULE_STR_SIZE = 265,  // room for the text form of any rule, NUL included
  HQOS_RULE_BITMAP_BITS = 4096,   // bits of a bitmap that holds the values of any match type
  HQOS_DBKEY_SIZE = 128,          // room for a key of the database that the library forms
  HQOS_VIEW_OBJ_SIZE = 8,         // object kind in a view name: 7 characters and the NUL
  HQOS_SUBVIEW_NAME_SIZE = 211    // name in a sub view name: at most 210 characters and the NUL
};

// The largest number of records that any reply can hold, whatever the service sends: an array of
// that many never overflows, whatever `count` asked for.
enum {
  HQOS_BULK_FC_MAX = 39,     // HQOS_lib_GetAllFC
  HQOS_BULK_DP_MAX = 18,     // HQOS_lib_GetBulkDP
  HQOS_BULK_FP_MAX = 375,    // HQOS_lib_GetBulkFP
  HQOS_BULK_FGSON_MAX = 12,  // HQOS_lib_GetBulkFGSon
  HQOS_BULK_SPSON_MAX = 375  // HQOS_lib_GetBulkSPSon, ..SPSonStat, ..SPSonDiag
};

// Status codes of the library itself.
typedef enum HQOS_Status {
  HQOS_ERR_FAILED = 0x40010001,   // no round trip, or an unusable argument
  HQOS_ERR_BADREPLY = 0x40010005  // the reply is not what the request calls for
} HQOS_Status;

// ---- Enumerations -------------------------------------------------------------------------------

typedef enum HQOS_Dir {  // traffic direction
  HQOS_DIR_INBOUND = 0,
  HQOS_DIR_OUTBOUND = 1,
  HQOS_DIR_BOTH = 2
} HQOS_Dir;

typedef enum HQOS_MatchType {  // attribute whose values a match rule selects
  HQOS_MATCH_DOT1P = 2,
  HQOS_MATCH_LOCAL_PRECEDENCE = 3,
  HQOS_MATCH_QOS_LOCAL_ID = 4,
  HQOS_MATCH_SERVICE_VLAN_ID = 5,
  HQOS_MATCH_GROUP = 6,  // carries no values
  HQOS_MATCH_NONE = 7    // the empty rule
} HQOS_MatchType;

typedef enum HQOS_SPUnit {  // unit of an SP
  HQOS_SPUNIT_BYTE_COUNT = 0,
  HQOS_SPUNIT_WEIGHT = 1
} HQOS_SPUnit;

typedef enum HQOS_RuleRelation {  // how one match rule, the first, relates to another, the second
  HQOS_REL_EQUAL = 0,             // the same values
  HQOS_REL_CONTAINS = 1,          // the first holds every value of the second and more
  HQOS_REL_CONTAINED = 2,         // the second holds every value of the first and more
  HQOS_REL_OVERLAP = 3,           // some values in common, neither holds the other
  HQOS_REL_DISJOINT = 4,          // no value in common
  HQOS_REL_OTHER_TYPE = 5         // different match types, neither of them a group
} HQOS_RuleRelation;

typedef enum HQOS_FPFlag {  // which settings of an FP are present; the flags of its records
  HQOS_FPI_GTS = 1,         // shaping
  HQOS_FPI_DPREF = 2,       // reference to a DP
  HQOS_FPI_QUEUE = 4,
  HQOS_FPI_BANDWIDTH = 8
} HQOS_FPFlag;

typedef enum HQOS_AppObjType {  // what an SP is applied to, and what its value holds
  HQOS_APPOBJ_SLOT = 1,         // slot number, 16 bits
  HQOS_APPOBJ_ID = 2,           // identifier, 16 bits
  HQOS_APPOBJ_SYSTEM = 3,       // the system as a whole; no value
  HQOS_APPOBJ_IFINDEX = 4       // interface index, 32 bits
} HQOS_AppObjType;

// ---- Vocabulary of the protocol -----------------------------------------------------------------
// For readers and writers of messages; callers of the HQOS_lib_ functions do without it.

typedef enum HQOS_OpClass {  // operation class, byte 3 of the message head
  HQOS_OP_CONFIG = 1,        // command; the request's TLV type is an HQOS_CmdCode
  HQOS_OP_GET = 2,           // one object; HQOS_GetType
  HQOS_OP_GETNEXT = 3,       // the object that follows; HQOS_GetNextType
  HQOS_OP_BULK = 4           // a list; HQOS_BulkType
} HQOS_OpClass;

typedef enum HQOS_CmdCode {
  HQOS_CMD_APPLY_SP = 1,
  HQOS_CMD_UNDO_APPLY_SP = 2,
  HQOS_CMD_ADD_SP = 3,
  HQOS_CMD_DEL_SP = 4,
  HQOS_CMD_DEL_SP_MATCH = 5,
  HQOS_CMD_ADD_SP_NEST_FG = 6,
  HQOS_CMD_DEL_SP_NEST_FG = 7,
  HQOS_CMD_SET_SP_UNIT = 8,
  HQOS_CMD_RESET_SP_UNIT = 9,
  HQOS_CMD_ADD_FG = 10,
  HQOS_CMD_DEL_FG = 11,
  HQOS_CMD_DEL_FG_MATCH = 12,
  HQOS_CMD_ADD_FG_NEST_FG = 13,
  HQOS_CMD_DEL_FG_NEST_FG = 14,
  HQOS_CMD_ADD_FG_NEST_FC = 15,
  HQOS_CMD_DEL_FG_NEST_FC = 16,
  HQOS_CMD_ADD_FP = 17,
  HQOS_CMD_DEL_FP = 18,
  HQOS_CMD_ADD_QUEUE = 19,
  HQOS_CMD_DEL_QUEUE = 20,
  HQOS_CMD_ADD_GTS = 21,
  HQOS_CMD_DEL_GTS = 22,
  HQOS_CMD_ADD_BANDWIDTH = 23,
  HQOS_CMD_DEL_BANDWIDTH = 24,
  HQOS_CMD_FP_REFER_DP = 25,
  HQOS_CMD_DEL_FP_REFER_DP = 26,
  HQOS_CMD_ADD_DP = 27,
  HQOS_CMD_DEL_DP = 28,
  HQOS_CMD_ADD_DP_THRESHOLD = 29,
  HQOS_CMD_DEL_DP_THRESHOLD = 30,
  HQOS_CMD_ADD_DP_WEIGHT = 31,
  HQOS_CMD_DEL_DP_WEIGHT = 32,
  HQOS_CMD_SET_DEBUG = 33,
  HQOS_CMD_RESET_DEBUG = 34
} HQOS_CmdCode;

typedef enum HQOS_GetType {
  HQOS_GET_SP = 1,
  HQOS_GET_FG = 2,
  HQOS_GET_FC = 3,
  HQOS_GET_DP = 4,
  HQOS_GET_FP = 5,
  HQOS_GET_APPLY_STAT = 6,
  HQOS_GET_APPLY_DIAG = 7
} HQOS_GetType;

typedef enum HQOS_GetNextType {
  HQOS_GETNEXT_FG = 1,
  HQOS_GETNEXT_SP = 2,
  HQOS_GETNEXT_IF_APPLY_STAT = 3,
  HQOS_GETNEXT_IF_APPLY_DIAG = 4
} HQOS_GetNextType;

typedef enum HQOS_BulkType {
  HQOS_BULK_ALL_FC = 1,
  HQOS_BULK_DP = 2,
  HQOS_BULK_FP = 3,
  HQOS_BULK_FG_SON = 4,
  HQOS_BULK_SP_SON = 5,
  HQOS_BULK_SP_SON_STAT = 6,
  HQOS_BULK_SP_SON_DIAG = 7
} HQOS_BulkType;

typedef enum HQOS_FPTlvType {  // the TLVs of an FP, see HQOS_msg_EncapFPInfo
  HQOS_FPTLV_NAME = 1,         // name and identifier; 36 bytes
  HQOS_FPTLV_DPREF = 2,        // name and identifier of its DP; 36 bytes
  HQOS_FPTLV_GTS = 3,          // four 32-bit values
  HQOS_FPTLV_QUEUE = 4,        // three 32-bit values
  HQOS_FPTLV_BANDWIDTH = 5     // one 32-bit value
} HQOS_FPTlvType;

typedef enum HQOS_TlvType {
  HQOS_TLV_SONPATH = 1,     // path of an SP child; 12 bytes
  HQOS_TLV_SONCFG = 2,      // configuration of an SP child; 104 bytes
  HQOS_TLV_SPBASE = 4,      // SP name, identifier and values; 44 bytes
  HQOS_TLV_SPNAME = 5,      // name of an SP; 36 bytes
  HQOS_TLV_WORDS = 6,       // two 32-bit values; 8 bytes
  HQOS_TLV_APPOBJ = 7,      // application object; 60 bytes
  HQOS_TLV_SONSTAT = 8,     // statistics of an SP child; 136 bytes
  HQOS_TLV_SONDIAG = 9,     // diagnosis of an SP child; 8 bytes
  HQOS_TLV_COUNT = 10,      // number of a bulk request; 4 bytes
  HQOS_TLV_RESULT = 0x7000  // status: 32-bit code, then a NUL-terminated text
} HQOS_TlvType;

// TLVs of database records: those around a record, and those inside it. The parts of an FP have
// numbers of their own, in both of its records.
typedef enum HQOS_DbTlvType {
  HQOS_DBTLV_SONCFG = 1,  // configuration of a child, and in it its fixed part; 72 bytes
  HQOS_DBTLV_FPCFG = 2,
  HQOS_DBTLV_FPRUN = 3,
  HQOS_DBTLV_LAYER1RUN = 4,
  HQOS_DBTLV_LAYER2RUN = 5,
  HQOS_DBTLV_PATH = 7,          // path of a node; 8 bytes
  HQOS_DBTLV_NODE = 8,          // 20 bytes
  HQOS_DBTLV_CHILD = 9,         // child of a layer-2 node; 16 bytes
  HQOS_DBTLV_RULE_RANGES = 10,  // 32 bytes
  HQOS_DBTLV_FP_NAME = 2,       // identifiers, in the configuration the name too; 36 or 4 bytes
  HQOS_DBTLV_FP_GTS = 3,        // 16 bytes
  HQOS_DBTLV_FP_QUEUE = 4,      // 12 bytes
  HQOS_DBTLV_FP_BANDWIDTH = 5,  // 4 bytes
  HQOS_DBTLV_FP_DPREF = 6       // name of the DP, 32 bytes, or its identifier, 4 bytes
} HQOS_DbTlvType;

// ---- Records ------------------------------------------------------------------------------------

// Message head; single-byte fields, 8 bytes, the same in memory and on the wire.
typedef struct HQOS_MsgHead {
  uint8_t headLen;      // length of the head in bytes; offset of the first TLV
  uint8_t format;       // 1
  uint8_t kind;         // requests of this library carry 1
  uint8_t opClass;      // HQOS_OpClass
  uint8_t flag;         // requests of this library carry 1
  uint8_t reserved[3];  // 0
} HQOS_MsgHead;

// The service's verdict on a command. 260 bytes.
typedef struct HQOS_Result {
  uint32_t code;                // 0 = done; any other value is the service's reason
  char text[HQOS_RESULT_TEXT];  // the service's message, cut to 255 characters; may be empty
} HQOS_Result;

// An SP as the service reports it. 52 bytes. value1, value2 and words are opaque.
typedef struct HQOS_SPInfo {
  char name[HQOS_NAME_SIZE];
  uint16_t id;
  uint32_t value1;
  uint32_t value2;
  uint32_t words[2];
} HQOS_SPInfo;

// An FG as the service reports it. 34 bytes.
typedef struct HQOS_FGInfo {
  char name[HQOS_NAME_SIZE];
  uint16_t id;
} HQOS_FGInfo;

// An FC as the service reports it. 34 bytes.
typedef struct HQOS_FCInfo {
  char name[HQOS_NAME_SIZE];
  uint16_t id;
} HQOS_FCInfo;

// An FP and its settings. 108 bytes. A setting is valid when its flag is set, and zero in a record
// read from a message when it is not. Units and ranges of the settings are opaque.
typedef struct HQOS_FPInfo {
  char name[HQOS_NAME_SIZE];
  uint16_t id;                  // HQOS_ID_NONE in a record read: the message held none
  uint32_t flags;               // HQOS_FPFlag bits; others are ignored
  char dpName[HQOS_NAME_SIZE];  // the DP that the FP refers to (HQOS_FPI_DPREF)
  uint16_t dpId;                // its identifier; HQOS_ID_NONE as above
  uint32_t gts[4];              // shaping (HQOS_FPI_GTS)
  uint32_t queue[3];            // which queue, and its two values (HQOS_FPI_QUEUE)
  uint32_t bandwidth;           // HQOS_FPI_BANDWIDTH
} HQOS_FPInfo;

// A threshold of a DP. 12 bytes. The values are opaque.
typedef struct HQOS_DPThreshold {
  uint16_t value1;
  uint16_t value2;
  uint32_t value3;
  uint32_t value4;
} HQOS_DPThreshold;

// A DP as the service reports it. 76 bytes. Which index of HQOS_lib_AddDPThreshold sets which
// threshold is the service's decision.
typedef struct HQOS_DPInfo {
  char name[HQOS_NAME_SIZE];
  uint16_t id;
  uint32_t weight;
  HQOS_DPThreshold thresholds[HQOS_DP_THRESHOLDS];
} HQOS_DPInfo;

// Values of an attribute, both ends included. 4 bytes. Empty when low is HQOS_RANGE_UNUSED.
typedef struct HQOS_ValueRange {
  uint16_t low;
  uint16_t high;
} HQOS_ValueRange;

// Which values of an attribute belong to a child. 36 bytes. The ranges in use come first; the first
// empty one ends the list. The empty rule has type HQOS_MATCH_NONE and 0xFFFF in all ranges; a rule
// of type HQOS_MATCH_GROUP or HQOS_MATCH_NONE carries no values.
typedef struct HQOS_MatchRule {
  uint32_t type;  // HQOS_MatchType
  HQOS_ValueRange ranges[HQOS_MATCHRULE_RANGES];
} HQOS_MatchRule;

// What an SP is applied to. 60 bytes.
typedef struct HQOS_AppObj {
  uint32_t type;                     // HQOS_AppObjType
  uint32_t value;                    // in the width that the type gives it
  uint32_t param;                    // a further value, carried unchanged
  char name[HQOS_APPOBJ_NAME_SIZE];  // empty: no name
} HQOS_AppObj;

// An SP where it is applied. 112 bytes. The values of sp are opaque.
typedef struct HQOS_ApplyInfo {
  HQOS_AppObj obj;
  HQOS_SPInfo sp;
} HQOS_ApplyInfo;

// Position of a child in an SP's hierarchy. 12 bytes. Field 0 belongs to the path's identity, not
// to its order; fields 1 to 5 are the child's position, one a level from the top down,
// HQOS_PATH_UNSET below it.
typedef struct HQOS_SPSonPath {
  uint16_t field[6];
} HQOS_SPSonPath;

// Configuration of one child. 104 bytes. What the values and names denote is opaque.
typedef struct HQOS_SonCfg {
  uint16_t value1;
  uint16_t value2;
  char name1[HQOS_NAME_SIZE];
  char name2[HQOS_NAME_SIZE];
  HQOS_MatchRule rule;
} HQOS_SonCfg;

// A child of an SP: an FG or FC nested below it at any depth. 124 bytes.
typedef struct HQOS_SPSon {
  uint32_t words[2];  // opaque
  HQOS_SPSonPath path;
  HQOS_SonCfg cfg;
} HQOS_SPSon;

// Statistics of a child, opaque. 136 bytes, aligned to 8 on every target.
typedef struct HQOS_SPSonCounters {
  uint32_t stat32[5];
  HQOS_ALIGNED_8 uint64_t stat64[14];
} HQOS_SPSonCounters;

// A child with its statistics. 264 bytes, aligned to 8 on every target.
typedef struct HQOS_SPSonStat {
  HQOS_SPSon son;
  HQOS_SPSonCounters counters;
} HQOS_SPSonStat;

// A child with its two diagnosis values, which are opaque. 132 bytes.
typedef struct HQOS_SPSonDiag {
  HQOS_SPSon son;
  uint32_t diag[2];
} HQOS_SPSonDiag;

// Position in a listing of FG children. 6 bytes.
typedef struct HQOS_FGSonKey {
  uint16_t field[3];
} HQOS_FGSonKey;

// A child of an FG. 112 bytes. What word and the names denote is opaque.
typedef struct HQOS_FGSon {
  HQOS_FGSonKey key;
  uint32_t word;  // the four bytes of the message, not converted to host order
  char name1[HQOS_NAME_SIZE];
  HQOS_MatchRule rule;
  char name2[HQOS_NAME_SIZE];
} HQOS_FGSon;

// Run-time state of a node of an SP's hierarchy. 64 bytes. The values are opaque.
typedef struct HQOS_LayerRun {
  HQOS_SPSonPath path;  // fields 1 to 4 are stored; of a layer-2 entry only field 5
  uint16_t value16;
  uint32_t value32;
  uint8_t hostData[8];  // stored unchanged
  HQOS_MatchRule rule;  // not stored for a layer-2 entry
} HQOS_LayerRun;

// Configuration of an FP as it is stored; fields as in HQOS_FPInfo. 104 bytes.
typedef struct HQOS_FPCfg {
  char name[HQOS_NAME_SIZE];
  uint16_t id;
  uint32_t flags;
  char dpName[HQOS_NAME_SIZE];  // stored whole, with the bytes after its NUL
  uint32_t gts[4];
  uint32_t queue[3];
  uint32_t bandwidth;
} HQOS_FPCfg;

// Run-time state of an FP; fields as in HQOS_FPInfo. 44 bytes. value16 is opaque.
typedef struct HQOS_FPRun {
  uint16_t id;
  uint32_t flags;
  uint16_t value16;
  uint16_t dpId;
  uint32_t gts[4];
  uint32_t queue[3];
  uint32_t bandwidth;
} HQOS_FPRun;

// A message that is built TLV by TLV, see HQOS_msg_InitBuf. 4124 bytes, 4128 on 64-bit targets. The
// functions set all of it; `flush` may read data, used and context.
typedef struct HQOS_MsgBuf HQOS_MsgBuf;

// Called with the message in data[0] to data[used - 1]; HQOS_msg_AppendTlv2Buf returns its return
// value. Must cope with an empty message (used = 0) and with one that is only a head: a TLV larger
// than the buffer leaves those. In mode HQOS_MSGBUF_WITH_HEAD without a call of
// HQOS_msg_AppendHead, the first eight bytes of the second and every later message are undefined.
typedef uint32_t (*HQOS_MsgBufFlush)(HQOS_MsgBuf* buf);

#define HQOS_MSGBUF_WITH_HEAD 1u  // mode: every message begins with the head appended first

struct HQOS_MsgBuf {
  uint8_t data[HQOS_MSGBUF_SIZE];
  uint16_t capacity;    // bytes of data that may be used
  uint16_t used;        // bytes in use
  uint16_t mode;        // HQOS_MSGBUF_WITH_HEAD, or any other value: no head
  uint32_t context[4];  // for the callback's own use
  HQOS_MsgBufFlush flush;
};

// A bitmap of the platform; its operations and its buffers are the platform's.
typedef struct Bitmap Bitmap;

// ---- Objects ------------------------------------------------------------------------------------
// Commands (see Conventions). `name` names the object. `id` is the new object's identifier; with
// HQOS_ID_NONE the service may choose one.

// Creates an SP, without children and not applied.
uint32_t HQOS_lib_AddSP(const char* name, uint16_t id, HQOS_Result* result);
// Deletes an SP.
uint32_t HQOS_lib_DelSP(const char* name, HQOS_Result* result);
// Creates an FG.
uint32_t HQOS_lib_AddFG(const char* name, uint16_t id, HQOS_Result* result);
// Deletes an FG.
uint32_t HQOS_lib_DelFG(const char* name, HQOS_Result* result);
// Creates an FP without settings.
uint32_t HQOS_lib_AddFP(const char* name, uint16_t id, HQOS_Result* result);
// Deletes an FP.
uint32_t HQOS_lib_DelFP(const char* name, HQOS_Result* result);
// Creates a DP.
uint32_t HQOS_lib_AddDP(const char* name, uint16_t id, HQOS_Result* result);
// Deletes a DP.
uint32_t HQOS_lib_DelDP(const char* name, HQOS_Result* result);
// Sets the unit of an SP, an HQOS_SPUnit.
uint32_t HQOS_lib_SetSPUnit(const char* name, uint32_t unit, HQOS_Result* result);
// Resets the unit of an SP to the service's default.
uint32_t HQOS_lib_ResetSPUnit(const char* name, HQOS_Result* result);

// Switches a debugging facility of the service on; `debug`, which selects it, is opaque. Return: 0
// whenever the service answered (its verdict is not returned), else HQOS_ERR_FAILED or
// HQOS_ERR_BADREPLY.
uint32_t HQOS_lib_SetDebug(uint32_t debug);
// Switches it off. Return: as above.
uint32_t HQOS_lib_ResetDebug(uint32_t debug);

// ---- FP settings --------------------------------------------------------------------------------
// Commands (see Conventions). `name` names the FP. The values are opaque.

// Gives the FP a queue: queue[0] selects it, queue[1] and queue[2] are its values.
uint32_t HQOS_lib_AddQueue(const char* name, const uint32_t queue[3], HQOS_Result* result);
// Removes the queue that `queueSel` selects.
uint32_t HQOS_lib_DelQueue(const char* name, uint32_t queueSel, HQOS_Result* result);
// Gives the FP its shaping.
uint32_t HQOS_lib_AddGTS(const char* name, const uint32_t gts[4], HQOS_Result* result);
// Removes the shaping.
uint32_t HQOS_lib_DelGTS(const char* name, HQOS_Result* result);
// Gives the FP its bandwidth, *bandwidth.
uint32_t HQOS_lib_AddBandwidth(const char* name, const uint32_t* bandwidth, HQOS_Result* result);
// Removes the bandwidth.
uint32_t HQOS_lib_DelBandwidth(const char* name, HQOS_Result* result);
// Makes the FP refer to the DP `dpName`.
uint32_t HQOS_lib_FPReferDP(const char* name, const char* dpName, HQOS_Result* result);
// Removes the reference to a DP.
uint32_t HQOS_lib_DelFPReferDP(const char* name, HQOS_Result* result);

// ---- DP settings --------------------------------------------------------------------------------
// Commands (see Conventions). `name` names the DP. Indexes and values are opaque.

// Sets the threshold `index`.
uint32_t HQOS_lib_AddDPThreshold(const char* name, uint32_t index, HQOS_DPThreshold thr,
                                 HQOS_Result* result);
// Removes the threshold `index`.
uint32_t HQOS_lib_DelDPThreshold(const char* name, uint32_t index, HQOS_Result* result);
// Sets the weight.
uint32_t HQOS_lib_AddDPWeight(const char* name, uint32_t weight, HQOS_Result* result);
// Removes the weight.
uint32_t HQOS_lib_DelDPWeight(const char* name, HQOS_Result* result);

// ---- Nesting ------------------------------------------------------------------------------------
// Commands (see Conventions). `rule` selects the child's traffic; it is read, not checked. It
// may be null where an FG is nested: a rule of zeros is sent. `extraName` is a third name that the
// service keeps with the child (hqosd: its FP); null sends none.

// Makes the FG `fgName` a child of the SP `spName`.
uint32_t HQOS_lib_AddSPNestFG(const char* spName, const HQOS_MatchRule* rule, const char* fgName,
                              const char* extraName, HQOS_Result* result);
// Removes that nesting.
uint32_t HQOS_lib_DelSPNestFG(const char* spName, const HQOS_MatchRule* rule, const char* fgName,
                              HQOS_Result* result);
// Makes the FG `childFg` a child of the FG `parentFg`.
uint32_t HQOS_lib_AddFGNestFG(const char* parentFg, const HQOS_MatchRule* rule, const char* childFg,
                              const char* extraName, HQOS_Result* result);
// Removes that nesting.
uint32_t HQOS_lib_DelFGNestFG(const char* parentFg, const HQOS_MatchRule* rule, const char* childFg,
                              HQOS_Result* result);
// Makes the FC `fcName` a child of the FG `fgName`.
uint32_t HQOS_lib_AddFGNestFC(const char* fgName, const char* fcName, const char* extraName,
                              HQOS_Result* result);
// Removes that nesting.
uint32_t HQOS_lib_DelFGNestFC(const char* fgName, const char* fcName, HQOS_Result* result);

// Removes a match rule from an SP. An empty name gives HQOS_ERR_FAILED: nothing is sent and *result
// is untouched. `rule` must not be null.
uint32_t HQOS_lib_DelSPMatch(const char* spName, const HQOS_MatchRule* rule, HQOS_Result* result);
// The same for an FG.
uint32_t HQOS_lib_DelFGMatch(const char* fgName, const HQOS_MatchRule* rule, HQOS_Result* result);

// ---- Applying an SP -----------------------------------------------------------------------------
// Commands (see Conventions). `obj` is read, not checked; an unknown type is sent with value 0.

// Applies the SP to the object: it takes effect there.
uint32_t HQOS_lib_ApplySP(const HQOS_AppObj* obj, const char* spName, HQOS_Result* result);
// Undoes that.
uint32_t HQOS_lib_UndoApplySP(const HQOS_AppObj* obj, const char* spName, HQOS_Result* result);

// ---- Apply queries ------------------------------------------------------------------------------
// Queries (see Conventions). They read an SP where it is applied. The Stat functions ask for its
// statistics, the Diag functions for its diagnosis: the service fills the values of info->sp
// accordingly. A part that the reply does not hold is zero in *info. An unknown object type has
// value 0, in requests and in records.

// Reads the SP applied to `target`, which is only read.
uint32_t HQOS_lib_GetApplyStat(const HQOS_AppObj* target, HQOS_ApplyInfo* info);
// The same for the diagnosis.
uint32_t HQOS_lib_GetApplyDiag(const HQOS_AppObj* target, HQOS_ApplyInfo* info);

// Reads the application that follows (`ifName`, `param`) in the service's order of interfaces.
// `ifName` is cut to 47 characters; null or empty sends none. To walk all interfaces, send back
// obj.name and obj.param of the last record. What `prefix` selects, which key begins a walk and
// which code ends it is the service's decision.
uint32_t HQOS_lib_GetNextIfApplyStat(uint32_t prefix, const char* ifName, uint32_t param,
                                     HQOS_ApplyInfo* info);
// The same for the diagnosis.
uint32_t HQOS_lib_GetNextIfApplyDiag(uint32_t prefix, const char* ifName, uint32_t param,
                                     HQOS_ApplyInfo* info);

// ---- SP queries ---------------------------------------------------------------------------------
// Queries (see Conventions). A part that the reply does not hold is zero in *info.

// Reads the SP named `name`.
uint32_t HQOS_lib_GetSP(const char* name, HQOS_SPInfo* info);
// Reads the SP that follows identifier `id` in the service's order. To walk all SPs, send back the
// id of the last record; which id begins a walk and which code ends it is the service's decision
// (hqosd: HQOS_ID_NONE, HQOSD_END).
uint32_t HQOS_lib_GetNextSP(uint16_t id, HQOS_SPInfo* info);

// ---- FG, FC, FP and DP queries ------------------------------------------------------------------
// Queries (see Conventions). A reply without a record, or with one shorter than its layout, gives
// HQOS_ERR_BADREPLY.

// Reads the FG named `name`.
uint32_t HQOS_lib_GetFG(const char* name, HQOS_FGInfo* info);
// Reads the FC named `name`.
uint32_t HQOS_lib_GetFC(const char* name, HQOS_FCInfo* info);
// Reads the DP named `name`.
uint32_t HQOS_lib_GetDP(const char* name, HQOS_DPInfo* info);
// Reads the FP named `name`. Its record is a sequence of parts: those that are missing or too short
// are left out, as described at HQOS_msg_DecapFPInfo. *info is all zero unless 0 is returned;
// `name` must not point into it.
uint32_t HQOS_lib_GetFP(const char* name, HQOS_FPInfo* info);
// Reads the FG that follows identifier `id`; a walk as with HQOS_lib_GetNextSP.
uint32_t HQOS_lib_GetNextFG(uint16_t id, HQOS_FGInfo* info);

// Lists (see Conventions), one reply each. An FC or DP record that is shorter than its layout ends
// the query with HQOS_ERR_BADREPLY; *outCount is then the number of records before it.

// Lists all FCs, as many as the service puts into its reply. Room for HQOS_BULK_FC_MAX records.
uint32_t HQOS_lib_GetAllFC(uint32_t* outCount, HQOS_FCInfo* infos);
// Lists FPs. Room for HQOS_BULK_FP_MAX records.
uint32_t HQOS_lib_GetBulkFP(uint16_t startId, uint32_t count, uint32_t* outCount,
                            HQOS_FPInfo* infos);
// Lists DPs. Room for HQOS_BULK_DP_MAX records.
uint32_t HQOS_lib_GetBulkDP(uint16_t startId, uint32_t count, uint32_t* outCount,
                            HQOS_DPInfo* infos);

// ---- Child queries ------------------------------------------------------------------------------
// Lists (see Conventions) of children. The key or path of a record can be sent back as `start`.

// Lists the children of FGs. Room for HQOS_BULK_FGSON_MAX records. A record that is shorter than
// its layout ends the query with HQOS_ERR_BADREPLY; *outCount is then the number of records before
// it.
uint32_t HQOS_lib_GetBulkFGSon(const HQOS_FGSonKey* start, uint32_t count, uint32_t* outCount,
                               HQOS_FGSon* infos);
// Lists the children of SPs, at every depth. Room for HQOS_BULK_SPSON_MAX records. What the reply
// does not hold of a child is zero in its record.
uint32_t HQOS_lib_GetBulkSPSon(const HQOS_SPSonPath* start, uint32_t count, uint32_t* outCount,
                               HQOS_SPSon* infos);
// The same with each child's statistics where the SP is applied to `obj`; null sends no object.
uint32_t HQOS_lib_GetBulkSPSonStat(const HQOS_AppObj* obj, const HQOS_SPSonPath* start,
                                   uint32_t count, uint32_t* outCount, HQOS_SPSonStat* infos);
// The same with each child's diagnosis.
uint32_t HQOS_lib_GetBulkSPSonDiag(const HQOS_AppObj* obj, const HQOS_SPSonPath* start,
                                   uint32_t count, uint32_t* outCount, HQOS_SPSonDiag* infos);

// The order of paths: 0 if a and b are equal, 2 if a comes before b, 1 if a comes after b. Fields 1
// to 5 decide, field 1 first; HQOS_PATH_UNSET comes before every other value, so a node comes
// before everything below it. Paths that differ only in field 0 are unordered: never 0.
uint32_t HQOS_util_SPSonPathCompare(const HQOS_SPSonPath* a, const HQOS_SPSonPath* b);

// ---- Messages -----------------------------------------------------------------------------------
// The parts of a round trip, for the service's side of the protocol.

// Writes a message head of 8 bytes (format 1) at buf, which must have room for it. Returns 8.
uint32_t HQOS_msg_EncapMsgHead(uint8_t kind, uint8_t opClass, uint8_t flag, uint8_t* buf);

// Copies the head of a message of msgLen bytes into head (8 bytes): as many bytes as its first byte
// says, at most 8; the rest of head is untouched. The first byte of msg must be readable, even if
// msgLen is 0. Nothing else is checked. Return: 0, or HQOS_ERR_FAILED with head untouched if the
// message is shorter than its head.
uint32_t HQOS_msg_DecapMsgHead(const uint8_t* msg, uint32_t msgLen, uint8_t* head);

// Sends one message of len bytes on the connected socket fd, and again after an interruption
// (EINTR) or a full queue (EAGAIN) until it is sent. Return: 0, or HQOS_ERR_FAILED (errno gives the
// reason; 0: only a part was sent).
uint32_t HQOS_msg_Send(int fd, const void* buf, uint16_t len);

// Receives one message of at most cap bytes from fd into buf and stores its length in *len. Waits
// for it, also after interruptions. The part of a longer message beyond cap is lost. Return: 0, or
// HQOS_ERR_FAILED with *len untouched if the peer has closed, the message is empty, cap is 0, or
// the receive failed.
uint32_t HQOS_msg_Recv(int fd, uint16_t cap, void* buf, uint16_t* len);

// Writes an FP as a sequence of TLVs (HQOS_FPTlvType), in the order of their types, into the `room`
// bytes at out: name and identifier always, each setting if its flag is set. Returns the bytes
// written. A TLV that does not fit is left out and the next one tried; 104 bytes and five TLV
// headers hold all.
uint32_t HQOS_msg_EncapFPInfo(const HQOS_FPInfo* info, uint16_t room, uint8_t* out);

// Reads the `len` bytes of such a sequence. All of *out is written: zero except for what the TLVs
// hold, missing identifiers HQOS_ID_NONE, flags those of the settings found. TLVs may come in any
// order; the last of a type counts; those shorter than their layout are skipped.
void HQOS_msg_DecapFPInfo(const uint8_t* tlvs, uint16_t len, HQOS_FPInfo* out);

// Writes the payload of a child query, the bulk request record, into the bufLen bytes at buf: obj
// (null: left out), start and count. Returns the bytes written; what does not fit is left out, 1500
// bytes hold all. An obj of unknown type is written with value 0.
uint32_t HQOS_msg_EncapBulkReq(const HQOS_AppObj* obj, const HQOS_SPSonPath* start, uint32_t count,
                               uint16_t bufLen, uint8_t* buf);

// Reads a bulk request record of len bytes. An output whose part is missing, or shorter than its
// layout, keeps its value; if a part occurs twice the last counts. Returns 0.
uint32_t HQOS_msg_DecapBulkReq(const uint8_t* buf, uint16_t len, HQOS_AppObj* obj,
                               HQOS_SPSonPath* start, uint32_t* count);

// ---- Database keys ------------------------------------------------------------------------------
// Keys under which the service keeps its records. The numbers are opaque.

// Writes the key of an interface's run-time record, "IFRUN-<firstNumber>-<secondNumber>-" and "SP"
// (layer 1), "L1" (2) or "L2" (any other), to key, which must have room for HQOS_DBKEY_SIZE bytes.
// Returns its length without the NUL.
uint32_t HQOS_dbmtype_EncapIfRunKey(uint32_t layer, uint32_t secondNumber, uint32_t firstNumber,
                                    char* key);

// Reads the two numbers of such a key; a number that the key does not supply is 0. The layer, and
// its name in the key, are ignored.
void HQOS_dbmtype_DecapIfRunKey(uint32_t layer, const char* key, uint32_t* secondNumber,
                                uint32_t* firstNumber);

// Reads "IFCFG-<number>-<name>": the name up to white space, at most 47 characters. `name` must
// have room for HQOS_APPOBJ_NAME_SIZE bytes. What the key does not supply is 0 or "".
void HQOS_dbmtype_DecapIfCfgKey(const char* key, char* name, uint32_t* number);

// Reads "SP-nest-<name>" (kind 1) or "FG-nest-<name>" (any other): the name up to the end of the
// line, at most 31 characters. `name` must have room for HQOS_NAME_SIZE bytes. Return: 1; otherwise
// `name` is untouched: 0 if the key begins otherwise or the line ends after the prefix, -1 if the
// key ends before the name.
int HQOS_dbmtype_DecapNestKey(uint32_t kind, const char* key, char* name);

// ---- Database records ---------------------------------------------------------------------------
// An Encap writes a record into the bufLen bytes at buf and returns the bytes written, or 0 with
// buf untouched if it does not fit. 1,024 bytes and a TLV header hold any record. *outLen, where
// there is one, is twice the length of a TLV's header, whatever the record holds. The caller's
// records are only read.
//
// A Decap reads a record of len bytes and writes all of its output, zero where the record holds
// nothing. Unknown parts, and parts shorter than their layout, are skipped. Parts are read in their
// order: if one occurs twice the later one counts. Return: 0, or HQOS_ERR_FAILED with the outputs
// untouched if the bytes do not begin with a whole TLV, of whatever type.

// A child. The ranges of a rule of type 1, HQOS_MATCH_GROUP or HQOS_MATCH_NONE are not stored; such
// a rule is read with all ranges empty. value1, value2 and the rule's type are stored in host
// order.
uint32_t HQOS_dbmtype_EncapSonCfg(const HQOS_SonCfg* rec, uint16_t bufLen, uint32_t* outLen,
                                  uint8_t* buf);
// Reads a child. The fixed part empties the ranges: ranges before it are lost.
uint32_t HQOS_dbmtype_DecapSonCfg(const uint8_t* buf, uint16_t len, HQOS_SonCfg* rec);

// A layer-1 node. Its ranges are stored or left out as those of a child. All numbers are stored
// big-endian, the rule's type too; hostData is stored unchanged.
uint32_t HQOS_dbmtype_EncapLayer1Run(const HQOS_LayerRun* rec, uint16_t bufLen, uint32_t* outLen,
                                     uint8_t* buf);
// Reads a layer-1 node. The path is read with fields 0 and 5 HQOS_PATH_UNSET; without a whole path
// part it is all zero. The node part empties the rule's ranges: ranges before it are lost.
uint32_t HQOS_dbmtype_DecapLayer1Run(const uint8_t* buf, uint16_t len, HQOS_LayerRun* rec);

// A layer-2 node and its `count` entries. Of a node whose path.field[3] is HQOS_PATH_UNSET only the
// path is stored; otherwise its ranges are stored too, for every type of rule. Entries beyond 1,024
// bytes are left out and nothing reports that: 47 fit, 50 without the node part.
uint32_t HQOS_dbmtype_EncapLayer2Run(const HQOS_LayerRun* parent, const HQOS_LayerRun* entries,
                                     uint32_t count, uint16_t bufLen, uint32_t* outLen,
                                     uint8_t* buf);
// Reads a layer-2 node as above and at most maxEntries entries; their number goes to *count. All
// maxEntries elements of `entries` are written. An entry is read with the node's path as read so
// far, its own field 5, and the empty rule: an entry before the path part gets a path of zeros.
uint32_t HQOS_dbmtype_DecapLayer2Run(const uint8_t* buf, uint16_t len, uint32_t maxEntries,
                                     HQOS_LayerRun* parent, HQOS_LayerRun* entries,
                                     uint32_t* count);

// An FP's configuration, which the library does not read back.
uint32_t HQOS_dbmtype_EncapFPCfg(const HQOS_FPCfg* cfg, uint16_t bufLen, uint8_t* buf);
// An FP's run-time state.
uint32_t HQOS_dbmtype_EncapFPRun(const HQOS_FPRun* run, uint16_t bufLen, uint8_t* buf);
// Reads an FP's run-time state.
uint32_t HQOS_dbmtype_DecapFPRun(const uint8_t* buf, uint16_t len, HQOS_FPRun* run);

// ---- Message buffer -----------------------------------------------------------------------------
// Builds messages TLV by TLV: initialise, append the head if messages carry one, append each TLV,
// and at the end pass on what remains with a call of your own. A buffer belongs to one writer at a
// time.

// `capacity` is how many bytes of the area may be used, at most HQOS_MSGBUF_SIZE (more is taken as
// that). A head takes its 8 bytes even if that is smaller. `mode` is HQOS_MSGBUF_WITH_HEAD or any
// other value; `context` is copied. The area is not cleared.
void HQOS_msg_InitBuf(uint16_t capacity, const uint32_t context[4], uint16_t mode,
                      HQOS_MsgBufFlush flush, HQOS_MsgBuf* buf);

// Begins the message with a head; what the buffer held is lost. Does nothing if buf is null.
void HQOS_msg_AppendHead(uint8_t kind, uint8_t opClass, uint8_t flag, HQOS_MsgBuf* buf);

// Appends a TLV; `value` may be null if length is 0. If it does not fit, the message is flushed and
// the TLV begins the next one, after the same head in mode HQOS_MSGBUF_WITH_HEAD; if it does not
// fit there either it is lost. Returns 0, or after a flush the callback's result, which has no
// other effect.
uint32_t HQOS_msg_AppendTlv2Buf(uint16_t type, uint16_t length, const void* value,
                                HQOS_MsgBuf* buf);

// ---- Enumerations and application objects -------------------------------------------------------

// The keyword of an HQOS_Dir, as a command line prints and parses it: a constant string, or a null
// pointer for a value without a keyword.
const char* HQOS_util_GetDirStr(uint32_t dir);
// The same for an HQOS_MatchType; 0, 1 and HQOS_MATCH_NONE have no keyword.
const char* HQOS_util_GetMatchTypeStr(uint32_t type);
// The same for an HQOS_SPUnit.
const char* HQOS_util_GetSPUnitStr(uint32_t unit);

// Packs the value of an application object of the given HQOS_AppObjType for a message: its low 16
// bits for a slot or an identifier, 0 for the system, the whole value for an interface index;
// *field is in host order. Return: 0, or HQOS_ERR_FAILED with *field untouched for another type.
uint32_t HQOS_util_GetAppObjByType(uint32_t type, uint32_t value, uint32_t* field);

// Unpacks such a value into the 32-bit field of a record. For a slot and an identifier only the
// first two bytes at field are written, so clear the field beforehand; for the other types all
// four. Return: 0, or HQOS_ERR_FAILED with the field untouched for another type.
uint32_t HQOS_util_GetAppObjByTypeEx(uint32_t type, uint32_t value, void* field);

// Finds the slot of an application object: the low 16 bits of a slot's value, the slot of an
// interface, HQOS_SLOT_NONE for an identifier and for the system. Return: 0, HQOS_ERR_FAILED for
// another type, or the platform's code if it does not know the interface; *slot is untouched unless
// 0 is returned.
uint32_t HQOS_util_GetAppSlotByType(uint32_t type, uint32_t value, uint16_t* slot);

// ---- Match rules --------------------------------------------------------------------------------

// Writes the text form of a rule, its type in decimal and its eight ranges, to str, which must have
// room for HQOS_MATCHRULE_STR_SIZE bytes. The text has HQOS_MATCHRULE_STR_LEN characters; a type
// above 9999, which no match type has, makes it longer and unreadable for HQOS_util_StrToMatchRule.
void HQOS_util_MatchRuleToStr(const HQOS_MatchRule* rule, char* str);

// Reads the text form. Only the length of the text is checked: characters outside the text form
// give arbitrary values, a missing number leaves rule->type as it was. Return: 0, or
// HQOS_ERR_FAILED with *rule untouched unless the text has HQOS_util_CalcMatchRuleStrLen()
// characters.
uint32_t HQOS_util_StrToMatchRule(const char* str, HQOS_MatchRule* rule);

// The length of the text form: HQOS_MATCHRULE_STR_LEN.
uint32_t HQOS_util_CalcMatchRuleStrLen(void);

// Sets the bits of the rule's values in the bitmap; the other bits are untouched.
void HQOS_util_MatchRule2Bitmap(const HQOS_MatchRule* rule, Bitmap* bitmap);
// The same under a second name: rules appended to one bitmap make their union.
void HQOS_util_AppendMatchRule(const HQOS_MatchRule* rule, Bitmap* bitmap);

// Makes a rule of the given type from the bits that are set, from the type's lowest value to the
// end of the bitmap: ascending ranges that neither overlap nor touch. Their ends are cut to 16
// bits, so that beyond 65534 they need not ascend: a run that begins at 65535, or a multiple of
// 65536 above that, has low HQOS_RANGE_UNUSED, which readers take as the end of the list. Return:
// 0, or HQOS_ERR_FAILED with *rule untouched for a type without values, or if more than eight
// ranges are needed.
uint32_t HQOS_util_Bitmap2MatchRule(const Bitmap* bitmap, uint32_t type, HQOS_MatchRule* rule);

// How the first bitmap, of at most HQOS_RULE_BITMAP_BITS bits, relates to the second: an
// HQOS_RuleRelation up to HQOS_REL_DISJOINT.
uint32_t HQOS_util_RuleBitmapCompare(const Bitmap* bitmapA, const Bitmap* bitmapB);

// How the first rule relates to the second: an HQOS_RuleRelation. A group contains every rule of
// another type; two groups are equal whatever their ranges. The ranges of each rule must be in
// ascending order. A rule without values must have HQOS_RANGE_UNUSED in all of its ranges: such
// rules are equal to each other and disjoint from all others. Values above 4095 are ignored unless
// the spans of the rules are apart: {5000} and {5000-6000} compare as equal.
uint32_t HQOS_util_MatchRuleCompare(const HQOS_MatchRule* ruleA, const HQOS_MatchRule* ruleB);

// The lowest and highest value of a match type. Return: 0, or HQOS_ERR_FAILED with both untouched
// for a type without values.
uint32_t HQOS_util_GetValueRangeByType(uint32_t type, uint16_t* min, uint16_t* max);

// ---- Command view names -------------------------------------------------------------------------
// Names of the form <first>-<object kind>-<name>, up to the end of the text or line. <first> and
// <object kind> hold no "-"; <name> may. Return: 0, or HQOS_ERR_FAILED for another form or a null
// argument; the outputs then hold what had been read.

// Reads the name: at most 31 characters, the rest is cut. `name` must have room for HQOS_NAME_SIZE
// bytes.
uint32_t HQOS_util_GetNameByCmdView(const char* view, char* name);

// Reads the object kind, at most 7 characters (more: HQOS_ERR_FAILED), and the name as above. `obj`
// must have room for HQOS_VIEW_OBJ_SIZE bytes, `name` for HQOS_NAME_SIZE.
uint32_t HQOS_util_GetObjByCmdView(const char* view, char* obj, char* name);

// The same for a sub view, <first>-<object kind>-<name>-<rule in its text form>. `name` must have
// room for HQOS_SUBVIEW_NAME_SIZE bytes. Only 264 characters after the object kind are read: a name
// of more than 210 characters gives 0, a wrong name and a wrong rule.
uint32_t HQOS_util_GetInfoBySubCmdView(const char* view, char* obj, char* name,
                                       HQOS_MatchRule* rule);

// ---- Slots, interfaces, random numbers ----------------------------------------------------------

// The node address of a slot, in the low 16 bits. For a slot that does not exist it is the
// platform's decision; 0xFFFF on a host.
uint32_t HQOS_util_GetLipBySlotId(uint16_t slot);

// 1 if the service runs on the slot, else 0, also if that cannot be determined.
uint32_t HQOS_util_IsServiceStarted(uint16_t slot);

// Starts the service on the slot unless it is running. Returns the service's status, not 0, if it
// is running, else the platform's result of starting it (0 on a host: it is running now).
uint32_t HQOS_util_StartService(uint16_t slot);

// Starts the service on every other slot that is up and does not run it. Reports nothing; if memory
// for the list of slots is short, nothing is started. This is the only function that allocates.
void HQOS_util_StartServiceOnAllSlot(void);

// Prepares `select`, a selection record of the platform, so that it offers the kinds of interface
// whose bits are set in `mask`. The bits stand for interface types of the platform, whose meaning
// is the platform's: 0x01 for 18, 19, 21, 68, 69, 88; 0x02 for 22, 23, 25, 70, 71, 89; 0x04 for 31;
// 0x08 for 4; 0x10 for 9; 0x20 for 35; 0x40 for 29; 0x80 for 27. Returns the sum of the platform's
// results, except that of the property which bit 0x10 adds: 0 if all succeeded.
int32_t HQOS_util_InitIfSelect(uint8_t mask, void* select);

// A random number from 1 to 65535, from the libcrypto of the process; 1 if its generator fails,
// which is not reported.
uint32_t HQOS_util_GetRandom(void);

#undef HQOS_ALIGNED_8

#ifdef __cplusplus
}
#endif

#endif
