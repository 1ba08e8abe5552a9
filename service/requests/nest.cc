// Commands that nest FGs and FCs, and remove match rules.
#include "service/model/nesting.h"
#include "service/requests/request.h"

namespace hqosd {

namespace {

using FindParent = Parent (*)(Model&, const std::string&);

template <FindParent find>
void AddFG(Model& model, const HQOS_NestPayload& request) {
  NestFG(model, find(model, request.parentName), request.childName, request.rule,
         request.extraName);
}

void AddFC(Model& model, const HQOS_NestPayload& request) {
  NestFC(model, GetFGParent(model, request.parentName), request.childName, request.extraName);
}

template <FindParent find>
void DelFG(Model& model, const HQOS_NestPayload& request) {
  UnnestFG(model, find(model, request.parentName), request.childName, request.rule);
}

void DelFC(Model& model, const HQOS_NestPayload& request) {
  UnnestFC(model, GetFGParent(model, request.parentName), request.childName, request.rule);
}

template <FindParent find>
void DelMatch(Model& model, const HQOS_MatchPayload& request) {
  UnnestByRule(model, find(model, request.name), request.rule);
}

using hqos::kMatchPayload;
using hqos::kNestPayload;

constexpr Request kRows[] = {
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_SP_NEST_FG, "AddSPNestFG",
     With<AddFG<GetSPParent>, kNestPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_SP_NEST_FG, "DelSPNestFG",
     With<DelFG<GetSPParent>, kNestPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_FG_NEST_FG, "AddFGNestFG",
     With<AddFG<GetFGParent>, kNestPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_FG_NEST_FG, "DelFGNestFG",
     With<DelFG<GetFGParent>, kNestPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_FG_NEST_FC, "AddFGNestFC", With<AddFC, kNestPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_FG_NEST_FC, "DelFGNestFC", With<DelFC, kNestPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_SP_MATCH, "DelSPMatch",
     With<DelMatch<GetSPParent>, kMatchPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_FG_MATCH, "DelFGMatch",
     With<DelMatch<GetFGParent>, kMatchPayload>},
};

}  // namespace

const std::span<const Request> kNestRequests = kRows;

}  // namespace hqosd
