// Layouts of the records of an FP's configuration and run-time state.
#pragma once

#include "msg/fp_info.h"

namespace hqos {

// Bytes 34-35 are zero.
inline constexpr auto kFPCfgName = Table<36>(Row{0, 32, kText, &HQOS_FPCfg::name},  //
                                             Row{32, 2, kBig, &HQOS_FPCfg::id});
// The whole field, with what stands behind its NUL.
inline constexpr auto kFPCfgDP = Table<32>(Row{0, 32, kHost, &HQOS_FPCfg::dpName});

inline constexpr std::tuple kFPCfgParts{
    Part{HQOS_DBTLV_FP_NAME, 0, kFPCfgName},
    Part{HQOS_DBTLV_FP_GTS, HQOS_FPI_GTS, kGTS<HQOS_FPCfg>},
    Part{HQOS_DBTLV_FP_QUEUE, HQOS_FPI_QUEUE, kQueue<HQOS_FPCfg>},
    Part{HQOS_DBTLV_FP_BANDWIDTH, HQOS_FPI_BANDWIDTH, kBandwidth<HQOS_FPCfg>},
    Part{HQOS_DBTLV_FP_DPREF, HQOS_FPI_DPREF, kFPCfgDP}};

inline constexpr auto kFPRunId = Table<4>(Row{0, 2, kBig, &HQOS_FPRun::id},  //
                                          Row{2, 2, kBig, &HQOS_FPRun::value16});
// The low half of a 32-bit number.
inline constexpr auto kFPRunDP = Table<4>(Row{2, 2, kBig, &HQOS_FPRun::dpId});

inline constexpr std::tuple kFPRunParts{
    Part{HQOS_DBTLV_FP_NAME, 0, kFPRunId}, Part{HQOS_DBTLV_FP_GTS, HQOS_FPI_GTS, kGTS<HQOS_FPRun>},
    Part{HQOS_DBTLV_FP_QUEUE, HQOS_FPI_QUEUE, kQueue<HQOS_FPRun>},
    Part{HQOS_DBTLV_FP_BANDWIDTH, HQOS_FPI_BANDWIDTH, kBandwidth<HQOS_FPRun>},
    Part{HQOS_DBTLV_FP_DPREF, HQOS_FPI_DPREF, kFPRunDP}};

}  // namespace hqos
