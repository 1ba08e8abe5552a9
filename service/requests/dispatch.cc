#include "service/requests/dispatch.h"

#include "service/model/log.h"
#include "service/requests/request.h"

namespace hqosd {

namespace {

const Request& FindRequest(uint8_t opClass, uint16_t type) {
  for (const auto* rows : {&kObjectRequests, &kFPRequests, &kDPRequests, &kNestRequests,
                           &kApplyRequests, &kSonRequests}) {
    for (const Request& row : *rows) {
      if (row.opClass == opClass && row.type == type) return row;
    }
  }
  Refuse(HQOSD_UNKNOWN, "request {} of class {} is not known", type, opClass);
}

void LogBytes(const char* what, const uint8_t* bytes, size_t length) {
  std::string line(what);
  for (size_t i = 0; i < length; ++i) {
    line += fmt::format("{}{:02x}", i % 4 == 0 ? " " : "", bytes[i]);
  }
  LogDebug("%s", line.c_str());
}

Bytes NewReply(uint8_t opClass) {
  Bytes reply(HQOS_MSGHEAD_LEN);
  HQOS_msg_EncapMsgHead(2, opClass, 1, reply.data());
  return reply;
}

// Carries the request out and logs its verdict if wanted.
Response Handle(Model& model, const Request& request, const Payload& payload) {
  const bool isLogged = (model.debug & HQOSD_DEBUG_REQUESTS) != 0;
  Response response;
  response.isCommand = request.opClass == HQOS_OP_CONFIG;
  try {
    const Bytes data = request.handle(model, payload);
    response.reply =
        response.isCommand ? StatusReply(request.opClass, 0, "") : NewReply(request.opClass);
    response.reply.insert(response.reply.end(), data.begin(), data.end());
    response.isAcceptedChange = response.isCommand && request.type != HQOS_CMD_SET_DEBUG &&
                                request.type != HQOS_CMD_RESET_DEBUG;
    if (isLogged) LogDebug("%s: 0x%08x ", request.name, 0u);
  } catch (const Refusal& refusal) {
    if (isLogged) LogDebug("%s: 0x%08x %s", request.name, refusal.code, refusal.text.c_str());
    throw;
  }
  return response;
}

}  // namespace

void Parse(const uint8_t* request, size_t length, HQOS_MsgHead& head, hqos::Tlv& tlv) {
  if (length > HQOS_MSG_MAX) Refuse(HQOSD_MALFORMED, "the request is too long");
  const auto size = static_cast<uint16_t>(length);
  if (!Decode(hqos::kMsgHead, request, size, head) || head.headLen < HQOS_MSGHEAD_LEN ||
      head.headLen > size || head.format != 1) {
    Refuse(HQOSD_MALFORMED, "the request's head cannot be read");
  }
  hqos::TlvWalk walk = hqos::WalkMessage(request, size);
  if (!walk.Next(tlv) || tlv.value + tlv.length != request + length) {
    Refuse(HQOSD_MALFORMED, "the request is not made of one TLV");
  }
}

Bytes StatusReply(uint8_t opClass, uint32_t code, const std::string& text) {
  Bytes reply = NewReply(opClass);
  Bytes value = Encoded(hqos::kResultCode, HQOS_Result{code, {}});
  value.insert(value.end(), text.begin(), text.end());
  value.push_back(0);
  AppendTlv(reply, HQOS_TLV_RESULT, value.data(), value.size());
  return reply;
}

void CarryOut(Model& model, std::span<const uint8_t> message, const hqos::Tlv& tlv) {
  HQOS_MsgHead head{};
  Decode(hqos::kMsgHead, message.data(), message.size(), head);
  const bool isDebug = tlv.type == HQOS_CMD_SET_DEBUG || tlv.type == HQOS_CMD_RESET_DEBUG;
  if (head.format != 1 || head.opClass != HQOS_OP_CONFIG || isDebug) {
    Refuse(HQOSD_MALFORMED, "a transaction has commands that configure");
  }
  FindRequest(head.opClass, tlv.type).handle(model, {tlv.value, tlv.length});
}

Response Respond(Model& model, const uint8_t* request, size_t length) {
  const bool logBytes = (model.debug & HQOSD_DEBUG_BYTES) != 0;
  HQOS_MsgHead head{};
  Response response;
  try {
    hqos::Tlv tlv{};
    Parse(request, length, head, tlv);
    response = Handle(model, FindRequest(head.opClass, tlv.type), {tlv.value, tlv.length});
  } catch (const Refusal& refusal) {
    if (refusal.code == HQOSD_MALFORMED || refusal.code == HQOSD_UNKNOWN) {
      LogBounded("refused a request of %zu bytes: %s", length, refusal.text.c_str());
    }
    response.reply = StatusReply(head.opClass, refusal.code, refusal.text);
    response.isCommand = head.opClass == HQOS_OP_CONFIG;
  }
  if (logBytes) {
    LogBytes("request", request, length);
    LogBytes("reply", response.reply.data(), response.reply.size());
  }
  return response;
}

bool IsCommand(const Bytes& request) { return request.size() > 3 && request[3] == HQOS_OP_CONFIG; }

Response RefuseRequest(const Bytes& request, const Refusal& refusal) {
  HQOS_MsgHead head{};
  Decode(hqos::kMsgHead, request.data(), request.size(), head);
  return {StatusReply(head.opClass, refusal.code, refusal.text), head.opClass == HQOS_OP_CONFIG,
          false};
}

}  // namespace hqosd
