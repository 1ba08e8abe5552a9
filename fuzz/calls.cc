// Every command and query of the library, with the service on a live model behind it. The input
// chooses the calls and their arguments.
#include "fuzz/arguments.h"
#include "fuzz/live.h"
#include "fuzz/require.h"
#include "fuzz/seam.h"

namespace {

using namespace fuzz;

// ---- Commands -----------------------------------------------------------------------------------

// `command` gets the record for the verdict.
template <class Command>
void Do(Command command) {
  HQOS_Result result;
  std::memset(&result, 0x5A, sizeof result);
  const uint32_t status = command(&result);
  Require(status == 0, "a command is answered");
  Require((result.code == 0) == (result.text[0] == '\0'), "a refusal says why");
}

template <uint32_t (*command)(const char*, uint16_t, HQOS_Result*)>
void Add(Input& in) {
  const char* const name = Name(in);
  const uint16_t id = Id(in);
  Do([&](HQOS_Result* r) { return command(name, id, r); });
}

template <uint32_t (*command)(const char*, HQOS_Result*)>
void ByName(Input& in) {
  const char* const name = Name(in);
  Do([&](HQOS_Result* r) { return command(name, r); });
}

template <uint32_t (*command)(const char*, uint32_t, HQOS_Result*)>
void WithNumber(Input& in) {
  const char* const name = Name(in);
  const uint32_t number = Number(in);
  Do([&](HQOS_Result* r) { return command(name, number, r); });
}

template <size_t N, uint32_t (*command)(const char*, const uint32_t*, HQOS_Result*)>
void WithNumbers(Input& in) {
  const char* const name = Name(in);
  uint32_t numbers[N];
  Fill(in, numbers);
  Do([&](HQOS_Result* r) { return command(name, numbers, r); });
}

void ReferDP(Input& in) {
  const char *const name = Name(in), *const dp = Name(in);
  Do([&](HQOS_Result* r) { return HQOS_lib_FPReferDP(name, dp, r); });
}

void AddThreshold(Input& in) {
  const char* const name = Name(in);
  const uint32_t index = Number(in);
  const HQOS_DPThreshold threshold{Id(in), Id(in), Number(in), Number(in)};
  Do([&](HQOS_Result* r) { return HQOS_lib_AddDPThreshold(name, index, threshold, r); });
}

template <uint32_t (*command)(const char*, const HQOS_MatchRule*, const char*, const char*,
                              HQOS_Result*)>
void NestFG(Input& in) {
  const char *const parent = Name(in), *const child = Name(in);
  const HQOS_MatchRule rule = Rule(in);
  const char* const fp = in.ConsumeBool() ? Name(in) : nullptr;
  Do([&](HQOS_Result* r) { return command(parent, &rule, child, fp, r); });
}

template <uint32_t (*command)(const char*, const HQOS_MatchRule*, const char*, HQOS_Result*)>
void UnnestFG(Input& in) {
  const char *const parent = Name(in), *const child = Name(in);
  const bool hasRule = in.ConsumeBool();
  const HQOS_MatchRule rule = hasRule ? Rule(in) : HQOS_MatchRule{};
  Do([&](HQOS_Result* r) { return command(parent, hasRule ? &rule : nullptr, child, r); });
}

void NestFC(Input& in) {
  const char *const parent = Name(in), *const child = Name(in);
  const char* const fp = in.ConsumeBool() ? Name(in) : nullptr;
  Do([&](HQOS_Result* r) { return HQOS_lib_AddFGNestFC(parent, child, fp, r); });
}

void UnnestFC(Input& in) {
  const char *const parent = Name(in), *const child = Name(in);
  Do([&](HQOS_Result* r) { return HQOS_lib_DelFGNestFC(parent, child, r); });
}

template <uint32_t (*command)(const char*, const HQOS_MatchRule*, HQOS_Result*)>
void DelMatch(Input& in) {
  const char* const name = Name(in);
  const HQOS_MatchRule rule = Rule(in);
  if (name[0] != '\0') return Do([&](HQOS_Result* r) { return command(name, &rule, r); });
  HQOS_Result result{7, {}};
  Require(command(name, &rule, &result) == HQOS_ERR_FAILED && result.code == 7,
          "no name is refused");
}

template <uint32_t (*command)(const HQOS_AppObj*, const char*, HQOS_Result*)>
void Apply(Input& in) {
  const HQOS_AppObj obj = Object(in);
  const char* const sp = Name(in);
  Do([&](HQOS_Result* r) { return command(&obj, sp, r); });
}

void Debug(Input& in) {
  const auto command = in.ConsumeBool() ? HQOS_lib_SetDebug : HQOS_lib_ResetDebug;
  Require(command(Number(in)) == 0, "a debug command is answered");
}

// ---- Queries ------------------------------------------------------------------------------------

void Answered(uint32_t status) {
  Require(status != HQOS_ERR_FAILED && status != HQOS_ERR_BADREPLY, "a query is answered");
}

template <class Info, uint32_t (*query)(const char*, Info*)>
void Get(Input& in) {
  const char* const name = Name(in);
  Info info;
  const uint32_t status = query(name, &info);
  Answered(status);
  if (status == 0) Require(std::strcmp(info.name, name) == 0, "a query finds the object");
}

template <class Info, uint32_t (*query)(uint16_t, Info*)>
void GetNext(Input& in) {
  const uint16_t id = Id(in);
  Info info;
  const uint32_t status = query(id, &info);
  Answered(status);
  Require(status != 0 || id == HQOS_ID_NONE || info.id > id, "a walk goes on");
}

void GetFCs(Input&) {
  uint32_t count = 0;
  HQOS_FCInfo infos[HQOS_BULK_FC_MAX];
  Answered(HQOS_lib_GetAllFC(&count, infos));
}

// A listing of blocks of at most `most` records.
template <class Info, size_t most, class Key, uint32_t (*query)(Key, uint32_t, uint32_t*, Info*)>
void List(Key start, uint32_t count) {
  static Info infos[most];
  uint32_t found = 0;
  Answered(query(start, count, &found, infos));
  Require(found <= most && (count == 0 || found <= count), "a block is as large as asked for");
}

void GetFPs(Input& in) {
  const uint16_t start = Id(in);
  List<HQOS_FPInfo, HQOS_BULK_FP_MAX, uint16_t, HQOS_lib_GetBulkFP>(start, Number(in));
}

void GetDPs(Input& in) {
  const uint16_t start = Id(in);
  List<HQOS_DPInfo, HQOS_BULK_DP_MAX, uint16_t, HQOS_lib_GetBulkDP>(start, Number(in));
}

void GetFGSons(Input& in) {
  const HQOS_FGSonKey start{{Id(in), Id(in), Id(in)}};
  List<HQOS_FGSon, HQOS_BULK_FGSON_MAX, const HQOS_FGSonKey*, HQOS_lib_GetBulkFGSon>(&start,
                                                                                     Number(in));
}

const HQOS_SPSon& SonOf(const HQOS_SPSon& son) { return son; }
template <class Record>
const HQOS_SPSon& SonOf(const Record& record) {
  return record.son;
}

// The children of an SP come in the order of their paths, behind the start.
template <class Info, class Query>
void GetSons(Input& in, Query query) {
  static Info infos[HQOS_BULK_SPSON_MAX];
  HQOS_SPSonPath path = Path(in);
  const HQOS_AppObj obj = Object(in);
  uint32_t found = 0;
  const uint32_t count = Number(in);
  Answered(query(&obj, &path, count, &found, infos));
  Require(found <= HQOS_BULK_SPSON_MAX && (count == 0 || found <= count), "a block has its size");
  for (uint32_t i = 0; i < found; ++i) {
    const HQOS_SPSonPath& next = SonOf(infos[i]).path;
    Require(next.field[0] != path.field[0] || HQOS_util_SPSonPathCompare(&path, &next) == 2,
            "children are in order");
    path = next;
  }
}

template <uint32_t (*query)(const HQOS_AppObj*, HQOS_ApplyInfo*)>
void GetApply(Input& in) {
  const HQOS_AppObj obj = Object(in);
  HQOS_ApplyInfo info;
  const uint32_t status = query(&obj, &info);
  Answered(status);
  Require(status != 0 || (info.obj.type == obj.type && info.obj.param == obj.param), "it is there");
}

template <uint32_t (*query)(uint32_t, const char*, uint32_t, HQOS_ApplyInfo*)>
void GetNextApply(Input& in) {
  const HQOS_AppObj obj = Object(in);
  HQOS_ApplyInfo info;
  const uint32_t status = query(0, obj.name, obj.param, &info);
  Answered(status);
  Require(status != 0 || std::strcmp(info.obj.name, obj.name) >= 0, "a walk goes on");
}

// ---- All of them --------------------------------------------------------------------------------

using Fn = void (*)(Input&);
constexpr Fn kCalls[] = {
    Add<HQOS_lib_AddSP>,
    Add<HQOS_lib_AddFG>,
    Add<HQOS_lib_AddFP>,
    Add<HQOS_lib_AddDP>,
    ByName<HQOS_lib_DelSP>,
    ByName<HQOS_lib_DelFG>,
    ByName<HQOS_lib_DelFP>,
    ByName<HQOS_lib_DelDP>,
    WithNumber<HQOS_lib_SetSPUnit>,
    ByName<HQOS_lib_ResetSPUnit>,
    WithNumbers<3, HQOS_lib_AddQueue>,
    WithNumber<HQOS_lib_DelQueue>,
    WithNumbers<4, HQOS_lib_AddGTS>,
    ByName<HQOS_lib_DelGTS>,
    WithNumbers<1, HQOS_lib_AddBandwidth>,
    ByName<HQOS_lib_DelBandwidth>,
    ReferDP,
    ByName<HQOS_lib_DelFPReferDP>,
    AddThreshold,
    WithNumber<HQOS_lib_DelDPThreshold>,
    WithNumber<HQOS_lib_AddDPWeight>,
    ByName<HQOS_lib_DelDPWeight>,
    NestFG<HQOS_lib_AddSPNestFG>,
    NestFG<HQOS_lib_AddFGNestFG>,
    UnnestFG<HQOS_lib_DelSPNestFG>,
    UnnestFG<HQOS_lib_DelFGNestFG>,
    NestFC,
    UnnestFC,
    DelMatch<HQOS_lib_DelSPMatch>,
    DelMatch<HQOS_lib_DelFGMatch>,
    Apply<HQOS_lib_ApplySP>,
    Apply<HQOS_lib_UndoApplySP>,
    Debug,
    Get<HQOS_SPInfo, HQOS_lib_GetSP>,
    Get<HQOS_FGInfo, HQOS_lib_GetFG>,
    Get<HQOS_FCInfo, HQOS_lib_GetFC>,
    Get<HQOS_FPInfo, HQOS_lib_GetFP>,
    Get<HQOS_DPInfo, HQOS_lib_GetDP>,
    GetNext<HQOS_SPInfo, HQOS_lib_GetNextSP>,
    GetNext<HQOS_FGInfo, HQOS_lib_GetNextFG>,
    GetFCs,
    GetFPs,
    GetDPs,
    GetFGSons,
    [](Input& in) {
      GetSons<HQOS_SPSon>(
          in, [](const HQOS_AppObj*, auto... rest) { return HQOS_lib_GetBulkSPSon(rest...); });
    },
    [](Input& in) { GetSons<HQOS_SPSonStat>(in, HQOS_lib_GetBulkSPSonStat); },
    [](Input& in) { GetSons<HQOS_SPSonDiag>(in, HQOS_lib_GetBulkSPSonDiag); },
    GetApply<HQOS_lib_GetApplyStat>,
    GetApply<HQOS_lib_GetApplyDiag>,
    GetNextApply<HQOS_lib_GetNextIfApplyStat>,
    GetNextApply<HQOS_lib_GetNextIfApplyDiag>,
};

// An interface goes, or comes with an index that is another's no longer.
void ChangeInterfaces(Input& in, fuzz::Live& live) {
  static constexpr const char* kInterfaces[] = {"eth0", "eth1", "lo0"};
  const std::string name = in.PickValueInArray(kInterfaces);
  live.interfaces.all.erase(name);
  const auto index = in.ConsumeIntegralInRange<uint32_t>(0, 4);
  if (index != 0 && !live.interfaces.Find(index))
    live.interfaces.Add(name, index, in.ConsumeBool());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Live live;
  seam::peer.answer = [&live](const seam::Bytes& request) {
    return live.Ask(request.data(), request.size());
  };
  Input in(data, size);
  while (in.remaining_bytes() > 0) {
    const auto which = in.ConsumeIntegralInRange<size_t>(0, std::size(kCalls));
    if (which < std::size(kCalls)) {
      kCalls[which](in);
    } else {
      ChangeInterfaces(in, live);
    }
  }
  live.Finish();
  return 0;
}
