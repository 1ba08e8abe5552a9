// A reply of any bytes, to a command and to every query. The first byte chooses the call, the rest
// is the reply.
#include <algorithm>
#include <cstring>

#include "fuzz/require.h"
#include "fuzz/seam.h"
#include "hqos.h"

namespace {

using fuzz::Require;

constexpr uint8_t kOld = 0x5A;  // in outputs before the call
constexpr uint32_t kOldCount = 0x5A5A5A5A;

// What a call has done.
struct Outcome {
  uint32_t status = 0;
  uint32_t count = kOldCount;
  seam::Bytes records;  // just as large as the header says
  bool operator==(const Outcome& other) const {
    return status == other.status && count == other.count && records == other.records;
  }
};

// ---- Records obey the header: characters behind the NUL of a name are zero ----------------------

template <size_t N>
void CheckName(const char (&name)[N]) {
  const char* const end = std::find(name, name + N, '\0');
  Require(end != name + N, "a name ends");
  Require(std::all_of(end, name + N, [](char c) { return c == '\0'; }), "zeros follow a name");
}

void Check(const HQOS_SPInfo& sp) { CheckName(sp.name); }
void Check(const HQOS_FGInfo& fg) { CheckName(fg.name); }
void Check(const HQOS_FCInfo& fc) { CheckName(fc.name); }
void Check(const HQOS_DPInfo& dp) { CheckName(dp.name); }
void Check(const HQOS_FPInfo& fp) {
  CheckName(fp.name);
  CheckName(fp.dpName);
  constexpr uint32_t kKnown = HQOS_FPI_GTS | HQOS_FPI_DPREF | HQOS_FPI_QUEUE | HQOS_FPI_BANDWIDTH;
  Require((fp.flags & ~kKnown) == 0, "the flags of an FP are known");
  Require((fp.flags & HQOS_FPI_DPREF) != 0 || fp.dpId == HQOS_ID_NONE, "no DP has no identifier");
  Require((fp.flags & HQOS_FPI_BANDWIDTH) != 0 || fp.bandwidth == 0, "no bandwidth is zero");
}
void Check(const HQOS_ApplyInfo& info) {
  CheckName(info.obj.name);
  Check(info.sp);
}
void Check(const HQOS_FGSon& son) {
  CheckName(son.name1);
  CheckName(son.name2);
}
void Check(const HQOS_SPSon& son) {
  CheckName(son.cfg.name1);
  CheckName(son.cfg.name2);
}
void Check(const HQOS_SPSonStat& stat) { Check(stat.son); }
void Check(const HQOS_SPSonDiag& diag) { Check(diag.son); }

// Whether all bytes from that one on have the value.
bool IsAll(const seam::Bytes& bytes, size_t from, uint8_t value) {
  const size_t size = bytes.size() - from;
  return size == 0 ||
         (bytes[from] == value && std::memcmp(&bytes[from], &bytes[from] + 1, size - 1) == 0);
}

// ---- Calls --------------------------------------------------------------------------------------

// A query for one record.
template <class Info, class Query>
Outcome One(uint8_t afterFailure, Query query) {
  Outcome outcome;
  outcome.records.assign(sizeof(Info), kOld);
  auto* const info = reinterpret_cast<Info*>(outcome.records.data());
  outcome.status = seam::Watched([&] { return query(info); });
  if (outcome.status == 0) {
    Check(*info);
  } else {
    Require(IsAll(outcome.records, 0, afterFailure), "a query that fails leaves its output");
  }
  return outcome;
}

template <class Info, class Query>
Outcome One(Query query) {
  return One<Info>(kOld, query);
}

// A listing into room for `most` records. One that `breaksOff` at a record that is too short leaves
// those before it.
template <class Info, class Query>
Outcome Many(size_t most, bool breaksOff, Query query) {
  Outcome outcome;
  outcome.records.assign(most * sizeof(Info), kOld);
  auto* const infos = reinterpret_cast<Info*>(outcome.records.data());
  outcome.status = seam::Watched([&] { return query(&outcome.count, infos); });
  const bool isFilled = outcome.status == 0 || (outcome.status == HQOS_ERR_BADREPLY && breaksOff &&
                                                outcome.count != kOldCount);
  const size_t count = isFilled ? outcome.count : 0;
  Require(isFilled || outcome.count == kOldCount, "a listing that fails leaves its count");
  Require(count <= most, "a listing fits the room that the header tells");
  for (size_t i = 0; i < count; ++i) Check(infos[i]);
  Require(IsAll(outcome.records, count * sizeof(Info), kOld), "nothing is written behind the last");
  return outcome;
}

Outcome Command() {
  Outcome outcome;
  outcome.records.assign(sizeof(HQOS_Result), kOld);
  auto* const result = reinterpret_cast<HQOS_Result*>(outcome.records.data());
  outcome.status = seam::Watched([&] { return HQOS_lib_AddSP("gold", 1, result); });
  if (outcome.status == 0) CheckName(result->text);
  if (outcome.status == HQOS_ERR_FAILED) Require(IsAll(outcome.records, 0, kOld), "untouched");
  if (outcome.status == HQOS_ERR_BADREPLY) Require(IsAll(outcome.records, 0, 0), "all zero");
  return outcome;
}

Outcome DebugCommand() {
  Outcome outcome;
  outcome.status = seam::Watched([] { return HQOS_lib_SetDebug(1); });
  return outcome;
}

constexpr HQOS_AppObj kObj{HQOS_APPOBJ_SLOT, 3, HQOS_DIR_BOTH, {}};
constexpr HQOS_SPSonPath kPath{{1, 2, 3, HQOS_PATH_UNSET, HQOS_PATH_UNSET, HQOS_PATH_UNSET}};
constexpr HQOS_FGSonKey kKey{{1, 2, 0xFFFF}};

using Fn = Outcome (*)();
constexpr Fn kCalls[] = {
    Command,
    DebugCommand,
    [] { return One<HQOS_SPInfo>([](auto* i) { return HQOS_lib_GetSP("a", i); }); },
    [] { return One<HQOS_SPInfo>([](auto* i) { return HQOS_lib_GetNextSP(1, i); }); },
    [] { return One<HQOS_FGInfo>([](auto* i) { return HQOS_lib_GetFG("a", i); }); },
    [] { return One<HQOS_FGInfo>([](auto* i) { return HQOS_lib_GetNextFG(1, i); }); },
    [] { return One<HQOS_FCInfo>([](auto* i) { return HQOS_lib_GetFC("a", i); }); },
    [] { return One<HQOS_DPInfo>([](auto* i) { return HQOS_lib_GetDP("a", i); }); },
    [] { return One<HQOS_FPInfo>(0, [](auto* i) { return HQOS_lib_GetFP("a", i); }); },
    [] { return One<HQOS_ApplyInfo>([](auto* i) { return HQOS_lib_GetApplyStat(&kObj, i); }); },
    [] { return One<HQOS_ApplyInfo>([](auto* i) { return HQOS_lib_GetApplyDiag(&kObj, i); }); },
    [] {
      return One<HQOS_ApplyInfo>(
          [](auto* i) { return HQOS_lib_GetNextIfApplyStat(0, "eth0", 1, i); });
    },
    [] {
      return One<HQOS_ApplyInfo>(
          [](auto* i) { return HQOS_lib_GetNextIfApplyDiag(0, nullptr, 1, i); });
    },
    [] { return Many<HQOS_FCInfo>(HQOS_BULK_FC_MAX, true, HQOS_lib_GetAllFC); },
    [] {
      return Many<HQOS_DPInfo>(HQOS_BULK_DP_MAX, true, [](auto* count, auto* infos) {
        return HQOS_lib_GetBulkDP(1, 2, count, infos);
      });
    },
    [] {
      return Many<HQOS_FPInfo>(HQOS_BULK_FP_MAX, false, [](auto* count, auto* infos) {
        return HQOS_lib_GetBulkFP(1, 2, count, infos);
      });
    },
    [] {
      return Many<HQOS_FGSon>(HQOS_BULK_FGSON_MAX, true, [](auto* count, auto* infos) {
        return HQOS_lib_GetBulkFGSon(&kKey, 2, count, infos);
      });
    },
    [] {
      return Many<HQOS_SPSon>(HQOS_BULK_SPSON_MAX, false, [](auto* count, auto* infos) {
        return HQOS_lib_GetBulkSPSon(&kPath, 2, count, infos);
      });
    },
    [] {
      return Many<HQOS_SPSonStat>(HQOS_BULK_SPSON_MAX, false, [](auto* count, auto* infos) {
        return HQOS_lib_GetBulkSPSonStat(&kObj, &kPath, 2, count, infos);
      });
    },
    [] {
      return Many<HQOS_SPSonDiag>(HQOS_BULK_SPSON_MAX, false, [](auto* count, auto* infos) {
        return HQOS_lib_GetBulkSPSonDiag(nullptr, &kPath, 2, count, infos);
      });
    },
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const Fn call = kCalls[data[0] % std::size(kCalls)];
  const seam::Bytes reply(data + 1, data + size);
  seam::peer.answer = [&reply](const seam::Bytes&) { return reply; };
  seam::peer.fill = 0;
  const Outcome first = call();
  seam::peer.fill = 0xA5;
  Require(call() == first, "what stands behind a reply has no say");
  return 0;
}
