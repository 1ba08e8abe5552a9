// Every command and query of the library, calling the service on a model in memory. The input
// chooses the calls and their arguments.
#include "tests/calls.h"

#include "fuzz/arguments.h"
#include "fuzz/fake_peer.h"
#include "fuzz/require.h"
#include "fuzz/service_harness.h"

namespace {

using namespace fuzz;

// ---- What every answer obeys --------------------------------------------------------------------

template <class Call>
void CheckCommand(Call& call) {
  const HQOS_Result& result = call.Output().records[0];
  using DelMatch = calls::Call<const char*, const HQOS_MatchRule*, HQOS_Result*>;
  if constexpr (std::is_same_v<Call, DelMatch>) {
    if (std::get<0>(call.arguments).value[0] == '\0') {
      Require(call.status == HQOS_ERR_FAILED && call.Output().IsAll(calls::kBlank), "no name");
      return;
    }
  }
  Require(call.status == 0, "a command is answered");
  Require((result.code == 0) == (result.text[0] == '\0'), "a refusal says why");
}

const HQOS_SPSon& SonOf(const HQOS_SPSon& son) { return son; }
template <class Record>
const HQOS_SPSon& SonOf(const Record& record) {
  return record.son;
}

// A block has its size; the children of an SP come in the order of their paths, after the start.
template <class Call>
void CheckList(Call& call) {
  const auto& infos = call.Output().records;
  const uint32_t found = call.template Get<uint32_t*>().records[0];
  Require(found <= infos.size(), "a block fits");
  if constexpr (Call::template kHas<uint32_t>) {
    const uint32_t count = call.template Get<uint32_t>().value;
    Require(count == 0 || found <= count, "a block is as large as asked for");
  }
  if constexpr (Call::template kHas<const HQOS_SPSonPath*>) {
    HQOS_SPSonPath path = call.template Get<const HQOS_SPSonPath*>().value[0];
    for (uint32_t i = 0; i < found; ++i) {
      const HQOS_SPSonPath& next = SonOf(infos[i]).path;
      Require(next.field[0] != path.field[0] || HQOS_util_SPSonPathCompare(&path, &next) == 2,
              "children are in order");
      path = next;
    }
  }
}

template <class Call>
void CheckRecord(Call& call) {
  const auto& info = call.Output().records[0];
  if constexpr (Call::template kHas<const HQOS_AppObj*>) {
    const HQOS_AppObj& obj = call.template Get<const HQOS_AppObj*>().value[0];
    Require(info.obj.type == obj.type && info.obj.param == obj.param, "it is there");
  } else if constexpr (Call::template kHas<HQOS_ApplyInfo*>) {
    Require(std::strcmp(info.obj.name, call.template Get<const char*>().value) >= 0,
            "a walk goes on");
  } else if constexpr (Call::template kHas<const char*>) {
    Require(std::strcmp(info.name, call.template Get<const char*>().value) == 0, "it is found");
  } else {
    const uint16_t id = call.template Get<uint16_t>().value;
    Require(id == HQOS_ID_NONE || info.id > id, "a walk goes on");
  }
}

template <class... Parameters>
void Do(uint32_t (*function)(Parameters...), Source& source) {
  calls::Call<Parameters...> call(function, source, [](auto run) { return run(); });
  using Call = decltype(call);
  if constexpr (Call::kIsCommand) {
    CheckCommand(call);
  } else {
    Require(call.status != HQOS_ERR_FAILED && call.status != HQOS_ERR_BADREPLY, "it is answered");
    if constexpr (sizeof...(Parameters) > 1) {
      if (call.status == 0) {
        if constexpr (Call::kIsList) {
          CheckList(call);
        } else {
          CheckRecord(call);
        }
      }
    }
  }
}

// An interface goes, or comes with an index that is another's no longer.
void ChangeInterfaces(Input& in, fuzz::ServiceHarness& service) {
  static constexpr const char* kInterfaces[] = {"eth0", "eth1", "lo0"};
  const std::string name = in.PickValueInArray(kInterfaces);
  service.interfaces.all.erase(name);
  const auto index = in.ConsumeIntegralInRange<uint32_t>(0, 4);
  if (index != 0 && !service.interfaces.Find(index))
    service.interfaces.Add(name, index, in.ConsumeBool());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::ServiceHarness service;
  fake_peer::peer.answer = [&service](const fake_peer::Bytes& request) {
    return service.Ask(request.data(), request.size());
  };
  Input in(data, size);
  Source source{in};
  while (in.remaining_bytes() > 0) {
    const auto which = in.ConsumeIntegralInRange<size_t>(0, calls::kCount);
    if (which == calls::kCount) ChangeInterfaces(in, service);
    calls::With(which, [&](auto* function) { Do(function, source); });
  }
  service.Finish();
  return 0;
}
