// Layouts of the records of an FP's configuration and run-time state.
#pragma once

#include "msg/records.h"

namespace hqos {

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

}  // namespace hqos
