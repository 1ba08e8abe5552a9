#include "service/dispatch.h"

#include <algorithm>

#include "msg/records.h"
#include "service/log.h"
#include "service/requests.h"
#include "service/tlvs.h"

namespace hqosd {

namespace {

struct Request {
  uint8_t opClass;
  uint16_t type;
  const char* name;
  Answer (*handle)(Model&, const Payload&);
};

constexpr Request kRequests[] = {
    {HQOS_OP_CONFIG, HQOS_CMD_APPLY_SP, "ApplySP", ApplySP},
    {HQOS_OP_CONFIG, HQOS_CMD_UNDO_APPLY_SP, "UndoApplySP", UndoApplySP},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_SP, "AddSP", AddSP},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_SP, "DelSP", DelSP},
    {HQOS_OP_CONFIG, HQOS_CMD_SET_SP_UNIT, "SetSPUnit", SetSPUnit},
    {HQOS_OP_CONFIG, HQOS_CMD_RESET_SP_UNIT, "ResetSPUnit", ResetSPUnit},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_FG, "AddFG", AddFG},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_FG, "DelFG", DelFG},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_FP, "AddFP", AddFP},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_FP, "DelFP", DelFP},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_DP, "AddDP", AddDP},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_DP, "DelDP", DelDP},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_SP_MATCH, "DelSPMatch", DelSPMatch},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_SP_NEST_FG, "AddSPNestFG", AddSPNestFG},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_SP_NEST_FG, "DelSPNestFG", DelSPNestFG},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_FG_MATCH, "DelFGMatch", DelFGMatch},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_FG_NEST_FG, "AddFGNestFG", AddFGNestFG},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_FG_NEST_FG, "DelFGNestFG", DelFGNestFG},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_FG_NEST_FC, "AddFGNestFC", AddFGNestFC},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_FG_NEST_FC, "DelFGNestFC", DelFGNestFC},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_QUEUE, "AddQueue", AddQueue},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_QUEUE, "DelQueue", DelQueue},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_GTS, "AddGTS", AddGTS},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_GTS, "DelGTS", DelGTS},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_BANDWIDTH, "AddBandwidth", AddBandwidth},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_BANDWIDTH, "DelBandwidth", DelBandwidth},
    {HQOS_OP_CONFIG, HQOS_CMD_FP_REFER_DP, "FPReferDP", FPReferDP},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_FP_REFER_DP, "DelFPReferDP", DelFPReferDP},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_DP_THRESHOLD, "AddDPThreshold", AddDPThreshold},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_DP_THRESHOLD, "DelDPThreshold", DelDPThreshold},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_DP_WEIGHT, "AddDPWeight", AddDPWeight},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_DP_WEIGHT, "DelDPWeight", DelDPWeight},
    {HQOS_OP_CONFIG, HQOS_CMD_SET_DEBUG, "SetDebug", SetDebug},
    {HQOS_OP_CONFIG, HQOS_CMD_RESET_DEBUG, "ResetDebug", ResetDebug},
    {HQOS_OP_GET, HQOS_GET_SP, "GetSP", GetSP},
    {HQOS_OP_GET, HQOS_GET_FG, "GetFG", GetFG},
    {HQOS_OP_GET, HQOS_GET_FC, "GetFC", GetFC},
    {HQOS_OP_GET, HQOS_GET_DP, "GetDP", GetDP},
    {HQOS_OP_GET, HQOS_GET_FP, "GetFP", GetFP},
    {HQOS_OP_GET, HQOS_GET_APPLY_STAT, "GetApplyStat", GetApplyStat},
    {HQOS_OP_GET, HQOS_GET_APPLY_DIAG, "GetApplyDiag", GetApplyDiag},
    {HQOS_OP_GETNEXT, HQOS_GETNEXT_IF_APPLY_STAT, "GetNextIfApplyStat", GetNextIfApplyStat},
    {HQOS_OP_GETNEXT, HQOS_GETNEXT_IF_APPLY_DIAG, "GetNextIfApplyDiag", GetNextIfApplyDiag},
    {HQOS_OP_GETNEXT, HQOS_GETNEXT_FG, "GetNextFG", GetNextFG},
    {HQOS_OP_GETNEXT, HQOS_GETNEXT_SP, "GetNextSP", GetNextSP},
    {HQOS_OP_BULK, HQOS_BULK_ALL_FC, "GetAllFC", GetAllFC},
    {HQOS_OP_BULK, HQOS_BULK_DP, "GetBulkDP", GetBulkDP},
    {HQOS_OP_BULK, HQOS_BULK_FP, "GetBulkFP", GetBulkFP},
    {HQOS_OP_BULK, HQOS_BULK_FG_SON, "GetBulkFGSon", GetBulkFGSon},
    {HQOS_OP_BULK, HQOS_BULK_SP_SON, "GetBulkSPSon", GetBulkSPSon},
    {HQOS_OP_BULK, HQOS_BULK_SP_SON_STAT, "GetBulkSPSonStat", GetBulkSPSonStat},
    {HQOS_OP_BULK, HQOS_BULK_SP_SON_DIAG, "GetBulkSPSonDiag", GetBulkSPSonDiag},
};

// Finds the request's head and its one TLV. The answer is a refusal when they cannot be read.
Answer Parse(const uint8_t* request, size_t length, HQOS_MsgHead& head, hqos::Tlv& tlv) {
  if (length > HQOS_MSG_MAX) return Refuse(HQOSD_MALFORMED, "the request is too long");
  const auto size = static_cast<uint16_t>(length);
  if (!Decode(hqos::kMsgHead, request, size, head) || head.headLen < HQOS_MSGHEAD_LEN ||
      head.headLen > size || head.format != 1) {
    return Refuse(HQOSD_MALFORMED, "the request's head cannot be read");
  }
  hqos::TlvWalk walk = hqos::WalkMessage(request, size);
  if (!walk.Next(tlv) || tlv.value + tlv.length != request + length) {
    return Refuse(HQOSD_MALFORMED, "the request is not made of one TLV");
  }
  return {};
}

void LogBytes(const char* what, const uint8_t* bytes, size_t length) {
  std::string line(what);
  for (size_t i = 0; i < length; ++i) {
    constexpr char kDigits[] = "0123456789abcdef";
    line += i % 4 == 0 ? " " : "";
    line += kDigits[bytes[i] >> 4];
    line += kDigits[bytes[i] & 15];
  }
  Log("%s", line.c_str());
}

Answer Handle(Model& model, uint8_t opClass, const hqos::Tlv& tlv) {
  const auto* const known =
      std::find_if(std::begin(kRequests), std::end(kRequests), [&](const Request& request) {
        return request.opClass == opClass && request.type == tlv.type;
      });
  if (known == std::end(kRequests)) {
    return Refuse(HQOSD_UNKNOWN, "request " + std::to_string(tlv.type) + " of class " +
                                     std::to_string(opClass) + " is not known");
  }
  const uint32_t debug = model.debug;
  Answer answer = known->handle(model, {tlv.value, tlv.length});
  if ((debug & HQOSD_DEBUG_REQUESTS) != 0) {
    Log("%s: 0x%08x %s", known->name, answer.code, answer.text.c_str());
  }
  return answer;
}

Bytes Pack(uint8_t opClass, const Answer& answer) {
  Bytes reply(HQOS_MSGHEAD_LEN);
  HQOS_msg_EncapMsgHead(2, opClass, 1, reply.data());
  if (opClass != HQOS_OP_CONFIG && answer.code == 0) {
    reply.insert(reply.end(), answer.data.begin(), answer.data.end());
    return reply;
  }
  HQOS_Result status{answer.code, {}};
  Bytes value(hqos::kResultCode.size);
  Encode(hqos::kResultCode, status, value.data());
  value.insert(value.end(), answer.text.begin(), answer.text.end());
  value.push_back(0);
  AppendTlv(reply, HQOS_TLV_RESULT, value.data(), value.size());
  return reply;
}

}  // namespace

Bytes Respond(Model& model, const uint8_t* request, size_t length) {
  const bool logBytes = (model.debug & HQOSD_DEBUG_BYTES) != 0;
  HQOS_MsgHead head{};
  hqos::Tlv tlv{};
  Answer answer = Parse(request, length, head, tlv);
  if (answer.code == 0) answer = Handle(model, head.opClass, tlv);
  if (answer.code == HQOSD_MALFORMED || answer.code == HQOSD_UNKNOWN) {
    LogBounded("refused a request of %zu bytes: %s", length, answer.text.c_str());
  }
  Bytes reply = Pack(head.opClass, answer);
  if (logBytes) {
    LogBytes("request", request, length);
    LogBytes("reply", reply.data(), reply.size());
  }
  return reply;
}

Bytes RefuseRequest(const Bytes& request, uint32_t code, const std::string& text) {
  HQOS_MsgHead head{};
  hqos::Tlv tlv{};
  Parse(request.data(), request.size(), head, tlv);
  return Pack(head.opClass, Refuse(code, text));
}

}  // namespace hqosd
