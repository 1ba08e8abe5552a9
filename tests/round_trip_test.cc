// The round trip against a scripted peer: what goes out, what comes back, what can go wrong.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "hqos.h"
#include "tests/fake_peer.h"
#include "tests/records.h"

namespace {

using namespace wire;

const HQOS_Result kOwn{77, "untouched"};

struct Answer {
  uint32_t status;
  HQOS_Result result;
  Seen seen;
};

Answer Command(const Script& script) {
  Answer answer{0, kOwn, {}};
  answer.status = Play(script, answer.seen, [&] {
    errno = EINTR;  // of an earlier interruption
    return HQOS_lib_AddFG("fg1", 5, &answer.result);
  });
  return answer;
}

TEST(RoundTrip, SendsOneRequestToTheService) {
  const Answer answer = Command({});
  EXPECT_EQ(answer.status, 0u);
  EXPECT_EQ(answer.seen.address, Hex("10 25 04 96 80 00 00 00 00 00 00 00 00 00 00 00"));
  ASSERT_EQ(answer.seen.requests.size(), 1u);
  EXPECT_EQ(answer.seen.requests[0], Hex("08 01 01 01 01 00 00 00  00 0a 00 24  66 67 31 00") +
                                         Bytes(28) + Hex("0005 0000"));
  EXPECT_EQ(answer.seen.sendFlags, 0);
  EXPECT_EQ(answer.seen.recvFlags, 0x100);
  EXPECT_TRUE(answer.seen.closed);
}

// What is interrupted goes on, what fails leaves the result alone.
TEST(RoundTrip, MeetsErrors) {
  constexpr uint32_t kFailed = HQOS_ERR_FAILED;
  struct {
    const char* what;
    Script script;
    uint32_t status;
    int connects, sends, recvs;
  } const cases[] = {
      {"connect", {.connectErrors = {EINTR, EINTR, 0}}, 0, 3, 1, 1},
      {"connected", {.connectErrors = {EINTR, EISCONN}}, 0, 2, 1, 1},
      {"send", {.sendErrors = {EAGAIN, EINTR, EAGAIN}}, 0, 1, 4, 1},
      {"recv", {.recvErrors = {EINTR, EINTR}}, 0, 1, 1, 3},
      {"no socket", {.socketErrors = {EMFILE}}, kFailed, 0, 0, 0},
      {"no connection", {.connectErrors = {EINTR, ECONNREFUSED}}, kFailed, 2, 0, 0},
      {"nothing sent", {.sendErrors = {EAGAIN, EPIPE}}, kFailed, 1, 2, 0},
      {"short send", {.shortSend = true}, kFailed, 1, 1, 0},
      {"nothing received", {.recvErrors = {EINTR, ECONNRESET}}, kFailed, 1, 1, 2},
      {"no second recv", {.recvErrors = {EAGAIN}}, kFailed, 1, 1, 1},
      {"gone before the request", {.peerGone = true}, kFailed, 1, 1, 0},
      {"gone before the reply", {.reply = {}}, kFailed, 1, 1, 1},
  };
  for (const auto& c : cases) {
    const Answer answer = Command(c.script);
    EXPECT_EQ(answer.status, c.status) << c.what;
    EXPECT_TRUE(Same(answer.result, c.status == 0 ? HQOS_Result{} : kOwn)) << c.what;
    EXPECT_EQ(answer.seen.connects, c.connects) << c.what;
    EXPECT_EQ(answer.seen.sends, c.sends) << c.what;
    EXPECT_EQ(answer.seen.recvs, c.recvs) << c.what;
    EXPECT_TRUE(answer.seen.sockets == 1 && answer.seen.closed) << c.what;
    for (const Bytes& request : answer.seen.requests) {
      EXPECT_EQ(request, answer.seen.requests[0]) << c.what;
    }
  }
}

TEST(MsgHead, IsWrittenAsEightBytes) {
  Bytes out(10, 0xEE);
  EXPECT_EQ(HQOS_msg_EncapMsgHead(2, 3, 4, out.data()), 8u);
  EXPECT_EQ(out, Hex("08 01 02 03 04 00 00 00 ee ee"));
}

TEST(MsgHead, IsReadAsFarAsItSays) {
  struct {
    uint8_t headLen;
    uint32_t msgLen, status;
    size_t copied;
  } const cases[] = {
      {12, 20, 0, 8},
      {8, 8, 0, 8},
      {5, 20, 0, 5},
      {0, 20, 0, 0},
      {1, 1, 0, 1},
      {21, 20, HQOS_ERR_FAILED, 0},
      {8, 7, HQOS_ERR_FAILED, 0},
      {1, 0, HQOS_ERR_FAILED, 0},
      {0, 0, 0, 0},
  };
  for (const auto& c : cases) {
    Bytes msg(std::max<size_t>(c.msgLen, 1));
    for (size_t i = 1; i < msg.size(); ++i) msg[i] = static_cast<uint8_t>(i);
    msg[0] = c.headLen;
    Bytes head(8, 0xEE), expected(8, 0xEE);
    std::copy_n(msg.begin(), c.copied, expected.begin());
    EXPECT_EQ(HQOS_msg_DecapMsgHead(msg.data(), c.msgLen, head.data()), c.status);
    EXPECT_EQ(head, expected);
  }
}

}  // namespace
