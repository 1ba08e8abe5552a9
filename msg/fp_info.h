// Layouts of an FP and its settings, one a TLV.
#pragma once

#include "hqos.h"
#include "msg/parts.h"

namespace hqos {

// The settings, alike in every record that has them.
template <class Record>
inline constexpr auto kGTS = Table<16>(Row{0, 16, kBig, &Record::gts});
template <class Record>
inline constexpr auto kQueue = Table<12>(Row{0, 12, kBig, &Record::queue});
template <class Record>
inline constexpr auto kBandwidth = Table<4>(Row{0, 4, kBig, &Record::bandwidth});

// Bytes 34-35 of both are zero.
inline constexpr auto kFPName = Table<36>(Row{0, 32, kText, &HQOS_FPInfo::name},  //
                                          Row{32, 2, kBig, &HQOS_FPInfo::id});
inline constexpr auto kFPDPRef =
    Table<36>(Row{0, 32, kText, &HQOS_FPInfo::dpName}, Row{32, 2, kBig, &HQOS_FPInfo::dpId});

inline constexpr std::tuple kFPParts{
    Part{HQOS_FPTLV_NAME, 0, kFPName}, Part{HQOS_FPTLV_DPREF, HQOS_FPI_DPREF, kFPDPRef},
    Part{HQOS_FPTLV_GTS, HQOS_FPI_GTS, kGTS<HQOS_FPInfo>},
    Part{HQOS_FPTLV_QUEUE, HQOS_FPI_QUEUE, kQueue<HQOS_FPInfo>},
    Part{HQOS_FPTLV_BANDWIDTH, HQOS_FPI_BANDWIDTH, kBandwidth<HQOS_FPInfo>}};

}  // namespace hqos
