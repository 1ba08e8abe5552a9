// The round trip against a scripted peer: what goes out, what comes back, what can go wrong.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "hqos.h"
#include "tests/query.h"

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

Answer Reply(const Bytes& reply) {
  Script script;
  script.reply = reply;
  return Command(script);
}

Asked<HQOS_SPInfo> AskSP(const Bytes& reply) {
  return {reply, 1, [](uint32_t*, HQOS_SPInfo* info) { return HQOS_lib_GetSP("gold", info); }};
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

TEST(RoundTrip, HandsOverTheVerdict) {
  struct {
    uint32_t code;
    std::string text, kept;
  } const cases[] = {
      {0, "", ""},
      {7, "FG fg1 already exists", "FG fg1 already exists"},
      {0x40010001, "x", "x"},
      {1, std::string(255, 'a'), std::string(255, 'a')},
      {1, std::string(300, 'b'), std::string(255, 'b')},
  };
  for (const auto& c : cases) {
    const Answer answer = Reply(Status(c.code, c.text));
    EXPECT_EQ(answer.status, 0u);
    EXPECT_EQ(answer.result.code, c.code);
    EXPECT_EQ(std::string(answer.result.text), c.kept);
    const size_t length = c.kept.size();
    EXPECT_EQ(Bytes(answer.result.text + length, answer.result.text + 256), Bytes(256 - length));
  }
  const Bytes longerHead = Hex("0a 01 02 01 01 00 00 00 ff ff 70 00 00 05 00 00 00 09 00");
  EXPECT_EQ(Reply(longerHead).result.code, 9u);
}

// Replies without a usable status: the command says so and leaves a cleared record.
const Bytes kBadStatusReplies[] = {
    Hex("08"),  // head longer than the reply
    Hex("ff 01 02 01 01 00 00 00 70 00 00 05 00 00 00 00 00"),
    Hex("08 01 02 01 01 00 00 00 70 00 00 00"),                          // no code
    Hex("08 01 02 01 01 00 00 00 70 00 00 03 00 00 00"),                 // half a code
    Hex("08 01 02 01 01 00 00 00 70 00 00 04 00 00 00 07"),              // no text
    Hex("08 01 02 01 01 00 00 00 70 00 00 06 00 00 00 07 61 62"),        // text without NUL...
    Hex("08 01 02 01 01 00 00 00 70 00 00 06 00 00 00 07 61 62 00 00"),  // ...inside the TLV
};
// Replies that do not begin with a status at all.
const Bytes kOtherReplies[] = {
    Message(2, 1, {}),
    Hex("08 01 02 01 01 00 00 00 70 00 00 06 00 00 00 07 61"),  // TLV longer than the reply
    Hex("08 01 02 01 01 00 00 00 70 00 ff ff 00 00 00 07 61"),
    Message(2, 1, Tlv(1, {}) + Tlv(0x7000, Hex("00 00 00 00 00"))),
};

TEST(RoundTrip, TellsAQuerysDataFromAStatus) {
  const auto expect = [](const Bytes& reply, uint32_t ofQuery, uint8_t queryLeaves) {
    const Answer answer = Reply(reply);
    EXPECT_EQ(answer.status, uint32_t{HQOS_ERR_BADREPLY}) << testing::PrintToString(reply);
    EXPECT_TRUE(Same(answer.result, HQOS_Result{}));
    EXPECT_TRUE(answer.seen.closed);
    const auto asked = AskSP(reply);
    EXPECT_EQ(asked.status, ofQuery) << testing::PrintToString(reply);
    EXPECT_TRUE(Same(asked.infos[0], Filled<HQOS_SPInfo>(queryLeaves)));
  };
  for (const Bytes& reply : kBadStatusReplies) expect(reply, HQOS_ERR_BADREPLY, kBefore);
  for (const Bytes& reply : kOtherReplies) expect(reply, 0, 0);
  const auto refused = AskSP(Status(5, "text"));
  EXPECT_EQ(refused.status, 5u);
  EXPECT_TRUE(IsUntouched(refused.infos[0]));
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

TEST(RoundTrip, TakesTheLargestReplies) {
  // The last TLV reaches to byte 1500, so one byte less and it would be lost.
  const Bytes text = Status(7, std::string(HQOS_MSG_MAX - 17, 'x'));
  ASSERT_EQ(text.size(), size_t{HQOS_MSG_MAX});
  EXPECT_EQ(Reply(text).result.code, 7u);
  const Bytes unknown = Tlv(5, Bytes(HQOS_MSG_MAX - 12 - 12 - 4));
  const Bytes data = Message(2, 2, Tlv(1, unknown + Tlv(6, Hex("00000001 00000002"))));
  ASSERT_EQ(data.size(), size_t{HQOS_MSG_MAX});
  EXPECT_EQ(AskSP(data).infos[0].words[1], 2u);
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
