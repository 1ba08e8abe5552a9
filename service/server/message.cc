#include "service/server/message.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "msg/sealed_file.h"
#include "msg/state_file.h"

namespace hqosd {

RequestFile::~RequestFile() {
  if (fd_ >= 0) close(fd_);
}

Bytes RequestFile::Read(uint64_t size) const {
  const int seals = fcntl(fd_, F_GET_SEALS);
  const bool isFinal = seals >= 0 && (seals & hqos::kSeals) == hqos::kSeals;
  Bytes bytes;
  if (!isFinal || hqos::SizeOf(fd_) > hqos::kMaxStateFile || !hqos::ReadFile(fd_, size, bytes)) {
    return {};
  }
  return bytes;
}

ssize_t ReceiveRequest(int fd, Bytes& request, RequestFile& file) {
  request.resize(HQOS_MSG_MAX + 1);
  hqos::MessageWithFile message(request.data(), request.size());
  message.Expect();
  const ssize_t length = recvmsg(fd, &message.head, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
  request.resize(length > 0 ? static_cast<size_t>(length) : 0);
  if (length < 0) return length;
  const cmsghdr* const head = CMSG_FIRSTHDR(&message.head);
  if (head == nullptr || head->cmsg_type != SCM_RIGHTS) return length;
  // More than one fits where the room is aligned.
  int passed[2] = {-1, -1};
  const size_t count = (head->cmsg_len - CMSG_LEN(0)) / sizeof(int);
  std::memcpy(passed, CMSG_DATA(head), std::min(count, std::size(passed)) * sizeof(int));
  const bool isState = request.size() > 3 && request[3] == HQOSD_OP_STATE;
  if (isState && count == 1) file = RequestFile(std::exchange(passed[0], -1));
  for (const int one : passed) {
    if (one >= 0) close(one);
  }
  return length;
}

bool SendReply(int fd, const Bytes& reply, const Bytes& file) {
  hqos::MessageWithFile message(reply.data(), reply.size());
  std::optional<hqos::SealedFile> passed;
  if (!file.empty()) {
    if (passed.emplace(file).fd() < 0) return false;
    message.Attach(passed->fd());
  }
  return sendmsg(fd, &message.head, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

}  // namespace hqosd
