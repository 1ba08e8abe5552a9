#include "cli/exchange.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "cli/failure.h"
#include "client/commands.h"
#include "hqosd.h"
#include "msg/sealed_file.h"
#include "msg/state_file.h"
#include "platform/lip.h"
#include "platform/text.h"

namespace hqosctl {

namespace {

using Bytes = std::vector<uint8_t>;

// A descriptor that is closed with it.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

[[noreturn]] void FailRoundTrip(uint32_t status) {
  CheckQuery(status, "");
  throw Failure(kNoService, "");  // not reached
}

[[noreturn]] void FailFile(const char* what) {
  throw Failure(kNoService, std::string("cannot ") + what + ": " + std::strerror(errno));
}

void Connect(int fd) {
  const sockaddr_lip address{
      sizeof address, LIP_FAMILY, htons(HQOS_SERVICE_PORT), htonl(HQOS_SERVICE_NODE), {}};
  while (LIP_Connect(fd, &address, sizeof address) != 0) {
    if (errno == EISCONN) return;
    if (errno != EINTR) FailRoundTrip(HQOS_ERR_FAILED);
  }
}

// Sends a request, with a file unless `file` is empty.
void SendRequest(int fd, const Bytes& request, const Bytes& file) {
  hqos::MessageWithFile message(request.data(), request.size());
  std::optional<hqos::SealedFile> passed;
  if (!file.empty()) {
    if (passed.emplace(file).fd() < 0) FailFile("write a memory file");
    message.Attach(passed->fd());
  }
  while (sendmsg(fd, &message.head, MSG_NOSIGNAL) < 0) {
    if (errno != EINTR) FailRoundTrip(HQOS_ERR_FAILED);
  }
}

struct Reply {
  Bytes message;
  Bytes file;
};

Reply Receive(int fd) {
  Reply reply;
  reply.message.resize(HQOS_MSG_MAX);
  hqos::MessageWithFile message(reply.message.data(), reply.message.size());
  message.Expect();
  ssize_t length = 0;
  while ((length = recvmsg(fd, &message.head, MSG_CMSG_CLOEXEC)) < 0 && errno == EINTR) {
  }
  if (length <= 0) FailRoundTrip(HQOS_ERR_FAILED);
  reply.message.resize(static_cast<size_t>(length));
  const cmsghdr* const head = CMSG_FIRSTHDR(&message.head);
  if (head == nullptr || head->cmsg_type != SCM_RIGHTS) return reply;
  int number = -1;
  std::memcpy(&number, CMSG_DATA(head), sizeof number);
  const Descriptor passed(number);
  if (!hqos::ReadFile(number, UINT64_MAX, reply.file)) FailFile("read the service's file");
  return reply;
}

Reply Exchange(uint16_t type, const void* value, uint16_t length, const Bytes& file) {
  Bytes request(HQOS_MSG_MAX);
  uint32_t used = HQOS_msg_EncapMsgHead(1, HQOSD_OP_STATE, 1, request.data());
  used += STLV_Set(request.data() + used, static_cast<uint16_t>(HQOS_MSG_MAX - used), type, length,
                   value);
  request.resize(used);
  const Descriptor socket(LIP_Socket(LIP_FAMILY, SOCK_DGRAM, LIP_PROTOCOL));
  if (socket.get() < 0) FailRoundTrip(HQOS_ERR_FAILED);
  Connect(socket.get());
  SendRequest(socket.get(), request, file);
  return Receive(socket.get());
}

// The contents of a reply's message.
struct Answer {
  HQOS_Result result{};
  uint64_t revision = 0;
  std::vector<RefusedCommand> refusals;
  std::optional<hqos::ServiceStatus> status;
};

Answer ReadAnswer(const Bytes& message) {
  Answer answer;
  bool hasResult = false;
  const auto text = [](const hqos::Tlv& tlv, size_t at) {
    if (tlv.length < at) return std::string();
    const auto* const begin = reinterpret_cast<const char*>(tlv.value) + at;
    return std::string(begin, strnlen(begin, tlv.length - at));
  };
  hqos::TlvWalk walk = hqos::WalkMessage(message.data(), static_cast<uint16_t>(message.size()));
  for (hqos::Tlv tlv; walk.Next(tlv);) {
    hqos::Revision revision{};
    hqos::StateRefusal refusal{};
    hqos::ServiceStatus status{};
    if (tlv.type == HQOS_TLV_RESULT) {
      hasResult = Decode(hqos::kResultCode, tlv.value, tlv.length, answer.result);
      strlcpy(answer.result.text, text(tlv, hqos::kResultCode.size).c_str(),
              sizeof answer.result.text);
    } else if (tlv.type == HQOSD_TLV_REVISION &&
               Decode(hqos::kRevision, tlv.value, tlv.length, revision)) {
      answer.revision = revision.value;
    } else if (tlv.type == HQOSD_TLV_REFUSAL &&
               Decode(hqos::kStateRefusal, tlv.value, tlv.length, refusal)) {
      answer.refusals.push_back(
          {refusal.position, refusal.code, text(tlv, hqos::kStateRefusal.size)});
    } else if (tlv.type == HQOSD_TLV_STATUS &&
               Decode(hqos::kServiceStatus, tlv.value, tlv.length, status)) {
      answer.status = status;
    }
  }
  if (!hasResult) FailRoundTrip(HQOS_ERR_BADREPLY);
  return answer;
}

struct Exported {
  uint64_t revision;
  Bytes file;
};

Exported Export(uint32_t what, uint64_t revision) {
  uint8_t key[hqos::kExportKey.size];
  hqos::Encode(hqos::kExportKey, hqos::ExportKey{what, revision}, key);
  Reply reply = Exchange(HQOSD_STATE_EXPORT, key, sizeof key, {});
  const Answer answer = ReadAnswer(reply.message);
  CheckCommand(0, answer.result);
  return {answer.revision, std::move(reply.file)};
}

Verdict Transact(const Bytes& file) {
  if (file.size() > hqos::kMaxStateFile) {
    throw Failure(kRefused, "the transaction is larger than 64 MB");
  }
  Answer answer = ReadAnswer(Exchange(HQOSD_STATE_TRANSACT, nullptr, 0, file).message);
  Verdict verdict;
  verdict.revision = answer.revision;
  verdict.code = answer.result.code;
  verdict.isStale = answer.result.code == HQOSD_STALE;
  if (answer.result.code == 0) return verdict;
  verdict.refusal = answer.result.text;
  for (size_t i = 1; i < answer.refusals.size(); ++i) {
    verdict.refusal += "\nhqosctl: " + answer.refusals[i].text;
  }
  verdict.commands = std::move(answer.refusals);
  return verdict;
}

// Puts the head before the commands.
Bytes FileOf(hqos::StateHead head, const std::string& comment, const Bytes& commands) {
  head.format = hqos::kStateFormat;
  head.length = hqos::kStateHead.size + commands.size();
  comment.copy(head.comment, sizeof head.comment - 1);
  Bytes file(head.length);
  hqos::Encode(hqos::kStateHead, head, file.data());
  if (!commands.empty()) {
    std::memcpy(file.data() + hqos::kStateHead.size, commands.data(), commands.size());
  }
  return file;
}

Verdict Decide(uint32_t mode) {
  hqos::StateHead head{};
  head.mode = mode;
  return Transact(FileOf(head, "", {}));
}

}  // namespace

State ReadState(std::optional<uint64_t> revision) {
  State state;
  Exported exported =
      Export(revision ? HQOSD_EXPORT_KEPT : HQOSD_EXPORT_RUNNING, revision.value_or(0));
  state.file = std::move(exported.file);
  hqos::StateHead head{};
  const size_t begin = hqos::kStateHead.size;
  if (!Decode(hqos::kStateHead, state.file.data(), state.file.size(), head) ||
      head.fcs > (state.file.size() - begin) / hqos::kObjPayload.size) {
    FailRoundTrip(HQOS_ERR_BADREPLY);
  }
  const std::span<const uint8_t> rest(state.file);
  if (!client::Decode(rest.subspan(begin + head.fcs * hqos::kObjPayload.size), state.model)) {
    FailRoundTrip(HQOS_ERR_BADREPLY);
  }
  state.revision = head.revision;
  return state;
}

Verdict Send(const Transaction& transaction) {
  hqos::StateHead head{};
  head.mode = transaction.isReplace ? HQOSD_MODE_REPLACE : HQOSD_MODE_CHANGE;
  head.check = transaction.isCheck ? 1 : 0;
  head.confirm = transaction.confirmSeconds;
  head.revision = transaction.expected.value_or(hqos::kAnyRevision);
  head.commands = transaction.count;
  return Transact(FileOf(head, transaction.comment, transaction.commands));
}

Verdict SendBack(const State& state, uint64_t expected, const std::string& comment) {
  hqos::StateHead head{};
  Decode(hqos::kStateHead, state.file.data(), state.file.size(), head);
  head.mode = HQOSD_MODE_RESTORE;
  head.revision = expected;
  const Bytes rest(state.file.begin() + hqos::kStateHead.size, state.file.end());
  return Transact(FileOf(head, comment, rest));
}

std::vector<HistoryEntry> ReadHistory() {
  const Bytes list = Export(HQOSD_EXPORT_HISTORY, 0).file;
  std::vector<HistoryEntry> history;
  for (size_t at = 0; at < list.size(); at += hqos::kKeptState.size) {
    hqos::KeptState kept{};
    if (!Decode(hqos::kKeptState, list.data() + at, list.size() - at, kept)) break;
    history.push_back({kept.revision, static_cast<int64_t>(kept.time), kept.user, kept.comment});
  }
  return history;
}

Status ReadStatus() {
  const Answer answer = ReadAnswer(Exchange(HQOSD_STATE_STATUS, nullptr, 0, {}).message);
  CheckCommand(0, answer.result);
  if (!answer.status) FailRoundTrip(HQOS_ERR_BADREPLY);
  return {answer.revision, *answer.status};
}

uint64_t Confirm() {
  const Verdict verdict = Decide(HQOSD_MODE_CONFIRM);
  if (verdict.code != 0) throw Failure(kRefused, verdict.refusal, verdict.code);
  return verdict.revision;
}

std::optional<uint64_t> Revert() {
  const Verdict verdict = Decide(HQOSD_MODE_REVERT);
  if (verdict.code == HQOSD_NOT_FOUND) return std::nullopt;
  if (verdict.code != 0) throw Failure(kRefused, verdict.refusal, verdict.code);
  return verdict.revision;
}

}  // namespace hqosctl
