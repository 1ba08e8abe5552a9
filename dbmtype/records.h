// The stored format: every layout of a database record, and the record around them: one TLV whose
// value is a sequence of TLVs.
#pragma once

#include "msg/records.h"
#include "util/match_rule.h"

namespace hqos {

// ---- Match rules: the type is in another TLV than the ranges ------------------------------------

// The type, in the one byte order or the other.
template <class Form>
inline constexpr auto kRuleType = Table<4>(Field{0, 4, Form{}, &HQOS_MatchRule::type});

// TLV HQOS_DBTLV_RULE_RANGES.
inline constexpr auto kRuleRanges = Table<32>(Field{0, 32, kValueRange, &HQOS_MatchRule::ranges});

// Types whose ranges are not stored. Type 1 is one of them though no match type has that number.
constexpr bool HasStoredRanges(uint32_t type) {
  return type != 1 && type != HQOS_MATCH_GROUP && type != HQOS_MATCH_NONE;
}

// ---- Children: the fixed part is stored in host order -------------------------------------------

// TLV HQOS_DBTLV_SONCFG.
inline constexpr auto kStoredSonCfg =
    Table<72>(Field{0, 2, kRaw, &HQOS_SonCfg::value1}, Field{2, 2, kRaw, &HQOS_SonCfg::value2},
              Field{4, 32, kText, &HQOS_SonCfg::name1}, Field{36, 32, kText, &HQOS_SonCfg::name2},
              Field{68, 4, kRuleType<Raw>, &HQOS_SonCfg::rule});

// ---- Run-time state of an SP's nodes ------------------------------------------------------------

// TLV HQOS_DBTLV_PATH: the path without its first and last field.
struct StoredPath {
  uint16_t field[4];
};
inline constexpr auto kStoredPath = Table<8>(Field{0, 8, kBigEndian, &StoredPath::field});

// TLV HQOS_DBTLV_NODE. Bytes 2-3 are padding.
inline constexpr auto kStoredNode = Table<20>(
    Field{0, 2, kBigEndian, &HQOS_LayerRun::value16},
    Field{4, 4, kBigEndian, &HQOS_LayerRun::value32}, Field{8, 8, kRaw, &HQOS_LayerRun::hostData},
    Field{16, 4, kRuleType<BigEndian>, &HQOS_LayerRun::rule});

// TLV HQOS_DBTLV_CHILD; the last field of its path comes first.
struct StoredChild {
  uint16_t field5;
  HQOS_LayerRun run;
};
inline constexpr auto kStoredChildRun = Table<14>(Field{0, 2, kBigEndian, &HQOS_LayerRun::value16},
                                                  Field{2, 4, kBigEndian, &HQOS_LayerRun::value32},
                                                  Field{6, 8, kRaw, &HQOS_LayerRun::hostData});
inline constexpr auto kStoredChild = Table<16>(Field{0, 2, kBigEndian, &StoredChild::field5},
                                               Field{2, 14, kStoredChildRun, &StoredChild::run});

// ---- FPs ----------------------------------------------------------------------------------------

// Bytes 34-35 are zero.
inline constexpr auto kFPCfgName = Table<36>(Field{0, 32, kText, &HQOS_FPCfg::name},  //
                                             Field{32, 2, kBigEndian, &HQOS_FPCfg::id});
// The whole field, with the bytes after its NUL.
inline constexpr auto kFPCfgDP = Table<32>(Field{0, 32, kRaw, &HQOS_FPCfg::dpName});

inline constexpr std::tuple kFPCfgParts{
    Part{HQOS_DBTLV_FP_NAME, 0, kFPCfgName},
    Part{HQOS_DBTLV_FP_GTS, HQOS_FPI_GTS, kGTS<HQOS_FPCfg>},
    Part{HQOS_DBTLV_FP_QUEUE, HQOS_FPI_QUEUE, kQueue<HQOS_FPCfg>},
    Part{HQOS_DBTLV_FP_BANDWIDTH, HQOS_FPI_BANDWIDTH, kBandwidth<HQOS_FPCfg>},
    Part{HQOS_DBTLV_FP_DPREF, HQOS_FPI_DPREF, kFPCfgDP}};

inline constexpr auto kFPRunId = Table<4>(Field{0, 2, kBigEndian, &HQOS_FPRun::id},  //
                                          Field{2, 2, kBigEndian, &HQOS_FPRun::value16});
// The low half of a 32-bit number.
inline constexpr auto kFPRunDP = Table<4>(Field{2, 2, kBigEndian, &HQOS_FPRun::dpId});

inline constexpr std::tuple kFPRunParts{
    Part{HQOS_DBTLV_FP_NAME, 0, kFPRunId}, Part{HQOS_DBTLV_FP_GTS, HQOS_FPI_GTS, kGTS<HQOS_FPRun>},
    Part{HQOS_DBTLV_FP_QUEUE, HQOS_FPI_QUEUE, kQueue<HQOS_FPRun>},
    Part{HQOS_DBTLV_FP_BANDWIDTH, HQOS_FPI_BANDWIDTH, kBandwidth<HQOS_FPRun>},
    Part{HQOS_DBTLV_FP_DPREF, HQOS_FPI_DPREF, kFPRunDP}};

// ---- The record ---------------------------------------------------------------------------------

// The sequence while it is written. A TLV that no longer fits is left out.
class RecordWriter {
 public:
  // Returns the length of the TLV's header.
  template <class Layout, class Record>
  uint32_t Add(uint16_t type, const Layout& layout, const Record& record) {
    uint8_t value[Layout::size];
    Encode(layout, record, value);
    const uint32_t written = STLV_Set(bytes_ + used_, static_cast<uint16_t>(sizeof bytes_ - used_),
                                      type, Layout::size, value);
    used_ = static_cast<uint16_t>(used_ + written);
    return written - static_cast<uint32_t>(Layout::size);
  }

  template <class... Layouts, class Record>
  void AddParts(const std::tuple<Part<Layouts>...>& parts, const Record& record) {
    used_ = static_cast<uint16_t>(EncodeParts(parts, record, sizeof bytes_, bytes_));
  }

  // Writes the record around it; the bytes written, 0 when it does not fit.
  uint32_t Finish(uint16_t type, uint16_t bufLen, uint8_t* buf) const {
    return STLV_Set(buf, bufLen, type, used_, bytes_);
  }

 private:
  uint8_t bytes_[1024];
  uint16_t used_ = 0;
};

// Takes the record's TLV, of any type; false when there is no whole one.
inline bool OpenRecord(const uint8_t* buf, uint16_t len, Tlv& record) {
  return TlvWalk(buf, len).Next(record);
}

}  // namespace hqos
