// The wire format: every layout of a message, in the order of the protocol. A message is a head and
// TLVs. A request has one TLV, whose type is a command or query and whose value is a payload; a
// reply has a status, or one TLV for each record of a query.
#pragma once

#include "hqos.h"
#include "msg/optional_parts.h"

// ---- Payloads of requests that are not records of the public interface --------------------------

// An object, with its identifier (HQOS_ID_NONE: none given).
struct HQOS_ObjPayload {
  char name[HQOS_NAME_SIZE];
  uint16_t id;
};

// An object, with a value for it.
struct HQOS_ObjValuePayload {
  char name[HQOS_NAME_SIZE];
  uint32_t value;
};

struct HQOS_DebugPayload {
  uint32_t debug;
};

// A threshold of the DP; zero where it is to be removed.
struct HQOS_DPThresholdPayload {
  char name[HQOS_NAME_SIZE];
  uint32_t index;
  HQOS_DPThreshold threshold;
};

// A child in its parent. What is not given is zero.
struct HQOS_NestPayload {
  char parentName[HQOS_NAME_SIZE];
  char childName[HQOS_NAME_SIZE];
  char extraName[HQOS_NAME_SIZE];
  HQOS_MatchRule rule;
};

// A rule of an SP or FG.
struct HQOS_MatchPayload {
  char name[HQOS_NAME_SIZE];
  HQOS_MatchRule rule;
};

// The key of an interface walk. The object is an interface that is named, and has no value.
struct HQOS_IfApplyKey {
  uint32_t prefix;
  HQOS_AppObj obj;
};

// The identifier after which a get-next goes on.
struct HQOS_NextKey {
  uint32_t id;
};

// The identifier after which a list goes on, and how many records are wanted.
struct HQOS_BulkKey {
  uint16_t startId;
  uint32_t count;
};

// The payload of a list of FG children.
struct HQOS_FGSonRequest {
  HQOS_FGSonKey start;
  uint32_t count;
};

namespace hqos {

// ---- Head and status ----------------------------------------------------------------------------

inline constexpr auto kMsgHead = Table<8>(Field{0, 1, kBigEndian, &HQOS_MsgHead::headLen},  //
                                          Field{1, 1, kBigEndian, &HQOS_MsgHead::format},   //
                                          Field{2, 1, kBigEndian, &HQOS_MsgHead::kind},     //
                                          Field{3, 1, kBigEndian, &HQOS_MsgHead::opClass},  //
                                          Field{4, 1, kBigEndian, &HQOS_MsgHead::flag});
static_assert(kMsgHead.size == HQOS_MSGHEAD_LEN);

// The status text, NUL-terminated, follows these bytes.
inline constexpr auto kResultCode = Table<4>(Field{0, 4, kBigEndian, &HQOS_Result::code});

// ---- Objects: create, delete, unit, weight; get one ---------------------------------------------

// Bytes 34-35 are zero.
inline constexpr auto kObjPayload = Table<36>(Field{0, 32, kText, &HQOS_ObjPayload::name},
                                              Field{32, 2, kBigEndian, &HQOS_ObjPayload::id});

inline constexpr auto kObjValuePayload =
    Table<36>(Field{0, 32, kText, &HQOS_ObjValuePayload::name},
              Field{32, 4, kBigEndian, &HQOS_ObjValuePayload::value});

inline constexpr auto kDebugPayload = Table<4>(Field{0, 4, kBigEndian, &HQOS_DebugPayload::debug});

// ---- FPs: one TLV a setting ---------------------------------------------------------------------

// The settings, alike in every record that has them.
template <class Record>
inline constexpr auto kGTS = Table<16>(Field{0, 16, kBigEndian, &Record::gts});

template <class Record>
inline constexpr auto kQueue = Table<12>(Field{0, 12, kBigEndian, &Record::queue});

template <class Record>
inline constexpr auto kBandwidth = Table<4>(Field{0, 4, kBigEndian, &Record::bandwidth});

// Bytes 34-35 of both are zero.
inline constexpr auto kFPName = Table<36>(Field{0, 32, kText, &HQOS_FPInfo::name},  //
                                          Field{32, 2, kBigEndian, &HQOS_FPInfo::id});

inline constexpr auto kFPDPRef = Table<36>(Field{0, 32, kText, &HQOS_FPInfo::dpName},
                                           Field{32, 2, kBigEndian, &HQOS_FPInfo::dpId});

inline constexpr std::tuple kFPParts{
    Part{HQOS_FPTLV_NAME, 0, kFPName}, Part{HQOS_FPTLV_DPREF, HQOS_FPI_DPREF, kFPDPRef},
    Part{HQOS_FPTLV_GTS, HQOS_FPI_GTS, kGTS<HQOS_FPInfo>},
    Part{HQOS_FPTLV_QUEUE, HQOS_FPI_QUEUE, kQueue<HQOS_FPInfo>},
    Part{HQOS_FPTLV_BANDWIDTH, HQOS_FPI_BANDWIDTH, kBandwidth<HQOS_FPInfo>}};

// ---- DPs: thresholds ----------------------------------------------------------------------------

inline constexpr auto kDPThreshold =
    Table<12>(Field{0, 2, kBigEndian, &HQOS_DPThreshold::value1},  //
              Field{2, 2, kBigEndian, &HQOS_DPThreshold::value2},  //
              Field{4, 4, kBigEndian, &HQOS_DPThreshold::value3},  //
              Field{8, 4, kBigEndian, &HQOS_DPThreshold::value4});

inline constexpr auto kDPThresholdPayload =
    Table<48>(Field{0, 32, kText, &HQOS_DPThresholdPayload::name},  //
              Field{32, 4, kBigEndian, &HQOS_DPThresholdPayload::index},
              Field{36, 12, kDPThreshold, &HQOS_DPThresholdPayload::threshold});

// ---- Nesting and match rules --------------------------------------------------------------------

inline constexpr auto kValueRange = Table<4>(Field{0, 2, kBigEndian, &HQOS_ValueRange::low},  //
                                             Field{2, 2, kBigEndian, &HQOS_ValueRange::high});

inline constexpr auto kMatchRule = Table<36>(Field{0, 4, kBigEndian, &HQOS_MatchRule::type},
                                             Field{4, 32, kValueRange, &HQOS_MatchRule::ranges});

inline constexpr auto kNestPayload = Table<132>(Field{0, 32, kText, &HQOS_NestPayload::parentName},
                                                Field{32, 32, kText, &HQOS_NestPayload::childName},
                                                Field{64, 32, kText, &HQOS_NestPayload::extraName},
                                                Field{96, 36, kMatchRule, &HQOS_NestPayload::rule});

inline constexpr auto kMatchPayload =
    Table<68>(Field{0, 32, kText, &HQOS_MatchPayload::name},
              Field{32, 36, kMatchRule, &HQOS_MatchPayload::rule});

// ---- Applying: an application object, and the SP as HQOS_TLV_SPNAME in kObjPayload --------------

// TLV HQOS_TLV_APPOBJ. The value is packed by HQOS_util_GetAppObjByType.
inline constexpr auto kAppObj = Table<60>(Field{0, 4, kBigEndian, &HQOS_AppObj::type},   //
                                          Field{4, 4, kBigEndian, &HQOS_AppObj::value},  //
                                          Field{8, 4, kBigEndian, &HQOS_AppObj::param},  //
                                          Field{12, 48, kText, &HQOS_AppObj::name});

// Writes an application object in its layout, its value packed; a type without a value gives 0.
inline void EncodeAppObj(const HQOS_AppObj& obj, uint8_t (&out)[kAppObj.size]) {
  HQOS_AppObj packed = obj;
  packed.value = 0;
  HQOS_util_GetAppObjByType(obj.type, obj.value, &packed.value);
  Encode(kAppObj, packed, out);
}

// Reads one; false, with *obj untouched, when the value is too short for it.
inline bool DecodeAppObj(const uint8_t* value, uint16_t length, HQOS_AppObj* obj) {
  HQOS_AppObj packed{};
  if (!Decode(kAppObj, value, length, packed)) return false;
  *obj = packed;
  obj->value = 0;
  HQOS_util_GetAppObjByTypeEx(packed.type, packed.value, &obj->value);
  return true;
}

inline constexpr auto kIfApplyKey = Table<64>(Field{0, 4, kBigEndian, &HQOS_IfApplyKey::prefix},
                                              Field{4, 60, kAppObj, &HQOS_IfApplyKey::obj});

// ---- Walks and lists: where to go on ------------------------------------------------------------

inline constexpr auto kNextKey = Table<4>(Field{0, 4, kBigEndian, &HQOS_NextKey::id});

// Bytes 2-3 are zero.
inline constexpr auto kBulkKey = Table<8>(Field{0, 2, kBigEndian, &HQOS_BulkKey::startId},
                                          Field{4, 4, kBigEndian, &HQOS_BulkKey::count});

inline constexpr auto kFGSonKey = Table<6>(Field{0, 6, kBigEndian, &HQOS_FGSonKey::field});

// Bytes 6-7 are zero.
inline constexpr auto kFGSonRequest =
    Table<12>(Field{0, 6, kFGSonKey, &HQOS_FGSonRequest::start},  //
              Field{8, 4, kBigEndian, &HQOS_FGSonRequest::count});

// TLV HQOS_TLV_SONPATH.
inline constexpr auto kSonPath = Table<12>(Field{0, 12, kBigEndian, &HQOS_SPSonPath::field});

// TLV HQOS_TLV_COUNT.
struct BulkCount {
  uint32_t value;
};
inline constexpr auto kBulkCount = Table<4>(Field{0, 4, kBigEndian, &BulkCount::value});

// ---- Records of FGs, FCs, DPs, and of SPs as a sequence of TLVs ---------------------------------

template <class Record>
inline constexpr auto kNamedInfo = Table<34>(Field{0, 32, kText, &Record::name},  //
                                             Field{32, 2, kBigEndian, &Record::id});

// Bytes 34-35 are padding.
inline constexpr auto kDPInfo = Table<76>(Field{0, 32, kText, &HQOS_DPInfo::name},  //
                                          Field{32, 2, kBigEndian, &HQOS_DPInfo::id},
                                          Field{36, 4, kBigEndian, &HQOS_DPInfo::weight},
                                          Field{40, 36, kDPThreshold, &HQOS_DPInfo::thresholds});

// TLV HQOS_TLV_SPBASE. Bytes 34-35 are padding.
inline constexpr auto kSPBase = Table<44>(Field{0, 32, kText, &HQOS_SPInfo::name},         //
                                          Field{32, 2, kBigEndian, &HQOS_SPInfo::id},      //
                                          Field{36, 4, kBigEndian, &HQOS_SPInfo::value1},  //
                                          Field{40, 4, kBigEndian, &HQOS_SPInfo::value2});

template <class Record>
inline constexpr auto kWords = Table<8>(Field{0, 8, kBigEndian, &Record::words});

// Reads a TLV of the record; one of another type, or too short, is skipped.
inline void DecodeSPPart(const Tlv& tlv, HQOS_SPInfo& sp) {
  if (tlv.type == HQOS_TLV_SPBASE) Decode(kSPBase, tlv.value, tlv.length, sp);
  if (tlv.type == HQOS_TLV_WORDS) Decode(kWords<HQOS_SPInfo>, tlv.value, tlv.length, sp);
}

// ---- Children: of an FG one record, of an SP a sequence of TLVs ---------------------------------

// A child. Bytes 42-43 are padding.
inline constexpr auto kFGSon = Table<112>(Field{0, 4, kRaw, &HQOS_FGSon::word},      //
                                          Field{4, 6, kFGSonKey, &HQOS_FGSon::key},  //
                                          Field{10, 32, kText, &HQOS_FGSon::name1},  //
                                          Field{44, 36, kMatchRule, &HQOS_FGSon::rule},
                                          Field{80, 32, kText, &HQOS_FGSon::name2});

// TLV HQOS_TLV_SONCFG. The order of the fields differs from the record's.
inline constexpr auto kSonCfg = Table<104>(Field{0, 2, kBigEndian, &HQOS_SonCfg::value1},  //
                                           Field{2, 32, kText, &HQOS_SonCfg::name1},       //
                                           Field{34, 32, kText, &HQOS_SonCfg::name2},
                                           Field{66, 2, kBigEndian, &HQOS_SonCfg::value2},
                                           Field{68, 36, kMatchRule, &HQOS_SonCfg::rule});

// ---- Statistics and diagnosis of a child of an SP -----------------------------------------------

// TLV HQOS_TLV_SONSTAT. Bytes 20-23 are padding.
inline constexpr auto kSonStat =
    Table<136>(Field{0, 20, kBigEndian, &HQOS_SPSonCounters::stat32},
               Field{24, 112, kBigEndian, &HQOS_SPSonCounters::stat64});

// TLV HQOS_TLV_SONDIAG.
inline constexpr auto kSonDiag = Table<8>(Field{0, 8, kBigEndian, &HQOS_SPSonDiag::diag});

}  // namespace hqos
