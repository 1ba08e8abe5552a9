#include "service/server/tally.h"

#include <algorithm>

#include "msg/tlv.h"

namespace hqosd {

namespace {

bool IsChange(const Bytes& request) {
  HQOS_MsgHead head{};
  hqos::Tlv tlv{};
  if (IsCommand(request)) return true;
  if (!Decode(hqos::kMsgHead, request.data(), request.size(), head)) return false;
  hqos::TlvWalk walk = hqos::WalkMessage(
      request.data(), static_cast<uint16_t>(std::min<size_t>(request.size(), HQOS_MSG_MAX)));
  return head.opClass == HQOSD_OP_STATE && walk.Next(tlv) && tlv.type == HQOSD_STATE_TRANSACT;
}

// The status that a reply begins with; 0 without one.
uint32_t CodeOf(const Bytes& reply) {
  hqos::Tlv tlv{};
  HQOS_Result result{};
  hqos::TlvWalk walk = hqos::WalkMessage(reply.data(), static_cast<uint16_t>(reply.size()));
  if (walk.Next(tlv) && tlv.type == HQOS_TLV_RESULT) {
    Decode(hqos::kResultCode, tlv.value, tlv.length, result);
  }
  return result.code;
}

}  // namespace

void Tally::Answered(const Bytes& request, const Bytes& reply) {
  if (reply.empty()) return;
  if (!IsChange(request)) {
    ++status_.queries;
    return;
  }
  ++status_.commands;
  if (CodeOf(reply) != 0) ++status_.refusals;
}

void Tally::Committed(std::chrono::nanoseconds time, bool isDone) {
  if (!isDone) {
    ++status_.failures;
    return;
  }
  const auto length = static_cast<uint64_t>(time.count());
  const auto* const bound =
      std::lower_bound(std::begin(hqos::kCommitBounds), std::end(hqos::kCommitBounds), length);
  ++status_.commits[bound - std::begin(hqos::kCommitBounds)];
  status_.commitTime += length;
}

hqos::ServiceStatus Tally::Status(const Model& model) const {
  hqos::ServiceStatus status = status_;
  status.startTime = startTime_;
  const size_t objects[] = {model.sps.All().size(), model.fgs.All().size(), model.fcs.All().size(),
                            model.fps.All().size(), model.dps.All().size()};
  std::copy(std::begin(objects), std::end(objects), std::begin(status.objects));
  status.applications = static_cast<uint32_t>(model.applications.size());
  return status;
}

}  // namespace hqosd
