// The round trip against a scripted peer: what goes out, what comes back, what can go wrong.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "hqos.h"
#include "tests/wire.h"

namespace {

using wire::operator+;
using wire::Bytes;
using wire::Hex;
using wire::Play;
using wire::Script;
using wire::Seen;

const HQOS_Result kUntouched{77, "untouched"};

struct Answer {
  uint32_t status;
  HQOS_Result result;
  Seen seen;
};

Answer Command(const Script& script) {
  Answer answer{0, kUntouched, {}};
  answer.status =
      Play(script, answer.seen, [&] { return HQOS_lib_AddFG("fg1", 5, &answer.result); });
  return answer;
}

Answer Reply(const Bytes& reply) {
  Script script;
  script.reply = reply;
  return Command(script);
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
    const Answer answer = Reply(wire::Status(c.code, c.text));
    EXPECT_EQ(answer.status, 0u);
    EXPECT_EQ(answer.result.code, c.code);
    EXPECT_EQ(std::string(answer.result.text), c.kept);
    const size_t length = c.kept.size();
    EXPECT_EQ(Bytes(answer.result.text + length, answer.result.text + 256), Bytes(256 - length));
  }
}

TEST(RoundTrip, FindsTheStatusBehindALongerHead) {
  const Answer answer = Reply(Hex("0a 01 02 01 01 00 00 00 ff ff 70 00 00 05 00 00 00 09 00"));
  EXPECT_EQ(answer.status, 0u);
  EXPECT_EQ(answer.result.code, 9u);
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
    wire::Message(2, 1, {}),
    Hex("08 01 02 01 01 00 00 00 70 00 00 06 00 00 00 07 61"),  // TLV longer than the reply
    Hex("08 01 02 01 01 00 00 00 70 00 ff ff 00 00 00 07 61"),
    wire::Message(2, 1, wire::Tlv(1, {}) + wire::Tlv(0x7000, Hex("00 00 00 00 00"))),
};

TEST(RoundTrip, RejectsAReplyWithoutAStatus) {
  const auto expectBad = [](const Bytes& reply) {
    const Answer answer = Reply(reply);
    EXPECT_EQ(answer.status, uint32_t{HQOS_ERR_BADREPLY}) << testing::PrintToString(reply);
    const HQOS_Result cleared{};
    EXPECT_EQ(memcmp(&answer.result, &cleared, sizeof cleared), 0);
    EXPECT_TRUE(answer.seen.closed);
  };
  for (const Bytes& reply : kBadStatusReplies) expectBad(reply);
  for (const Bytes& reply : kOtherReplies) expectBad(reply);
}

TEST(RoundTrip, TellsAQuerysDataFromAStatus) {
  const auto query = [](const Bytes& reply, HQOS_SPInfo* info) {
    Script script;
    script.reply = reply;
    Seen seen;
    memset(info, 0xEE, sizeof *info);
    return Play(script, seen, [&] { return HQOS_lib_GetSP("gold", info); });
  };
  HQOS_SPInfo info, untouched, cleared{};
  memset(&untouched, 0xEE, sizeof untouched);

  EXPECT_EQ(query(wire::Status(5, "text"), &info), 5u);
  EXPECT_EQ(memcmp(&info, &untouched, sizeof info), 0);
  for (const Bytes& reply : kBadStatusReplies) {
    EXPECT_EQ(query(reply, &info), uint32_t{HQOS_ERR_BADREPLY}) << testing::PrintToString(reply);
    EXPECT_EQ(memcmp(&info, &untouched, sizeof info), 0);
  }
  for (const Bytes& reply : kOtherReplies) {
    EXPECT_EQ(query(reply, &info), 0u) << testing::PrintToString(reply);
    EXPECT_EQ(memcmp(&info, &cleared, sizeof info), 0);
  }
}

TEST(RoundTrip, GoesOnAfterInterruptions) {
  struct {
    const char* what;
    Script script;
    int connects, sends, recvs;
  } const cases[] = {
      {"connect", {.connectErrors = {EINTR, EINTR, 0}}, 3, 1, 1},
      {"connected", {.connectErrors = {EINTR, EISCONN}}, 2, 1, 1},
      {"send", {.sendErrors = {EAGAIN, EINTR, EAGAIN}}, 1, 4, 1},
      {"recv", {.recvErrors = {EINTR, EINTR}}, 1, 1, 3},
  };
  for (const auto& c : cases) {
    Script script = c.script;
    script.reply = wire::Status(3, "done");
    const Answer answer = Command(script);
    EXPECT_EQ(answer.status, 0u) << c.what;
    EXPECT_EQ(answer.result.code, 3u) << c.what;
    EXPECT_EQ(answer.seen.connects, c.connects) << c.what;
    EXPECT_EQ(answer.seen.sends, c.sends) << c.what;
    EXPECT_EQ(answer.seen.recvs, c.recvs) << c.what;
    for (const Bytes& request : answer.seen.requests) {
      EXPECT_EQ(request, answer.seen.requests[0]) << c.what;
    }
  }
}

TEST(RoundTrip, FailsWithoutTouchingTheResult) {
  struct {
    const char* what;
    Script script;
    int connects, sends, recvs;
  } const cases[] = {
      {"socket", {.socketErrors = {EMFILE}}, 0, 0, 0},
      {"connect", {.connectErrors = {EINTR, ECONNREFUSED}}, 2, 0, 0},
      {"send", {.sendErrors = {EAGAIN, EPIPE}}, 1, 2, 0},
      {"short send", {.shortSend = true}, 1, 1, 0},
      {"recv", {.recvErrors = {EINTR, ECONNRESET}}, 1, 1, 2},
      {"recv again", {.recvErrors = {EAGAIN}}, 1, 1, 1},
      {"gone before the request", {.peerGone = true}, 1, 1, 0},
      {"gone before the reply", {.reply = {}}, 1, 1, 1},
  };
  for (const auto& c : cases) {
    const Answer answer = Command(c.script);
    EXPECT_EQ(answer.status, uint32_t{HQOS_ERR_FAILED}) << c.what;
    EXPECT_EQ(memcmp(&answer.result, &kUntouched, sizeof kUntouched), 0) << c.what;
    EXPECT_EQ(answer.seen.connects, c.connects) << c.what;
    EXPECT_EQ(answer.seen.sends, c.sends) << c.what;
    EXPECT_EQ(answer.seen.recvs, c.recvs) << c.what;
    EXPECT_TRUE(answer.seen.closed) << c.what;
  }
}

// A part of a request sent is a failure, also when errno still tells of an earlier interruption.
TEST(RoundTrip, DoesNotMistakeAnOldErrno) {
  Script script;
  script.shortSend = true;
  HQOS_Result result = kUntouched;
  Seen seen;
  const uint32_t status = Play(script, seen, [&] {
    errno = EINTR;
    return HQOS_lib_AddFG("fg1", 5, &result);
  });
  EXPECT_EQ(status, uint32_t{HQOS_ERR_FAILED});
  EXPECT_EQ(seen.sends, 1);
}

TEST(RoundTrip, TakesTheLargestReplies) {
  Script script;
  Seen seen;
  // The last TLV reaches to byte 1500, so one byte less and it would be lost.
  const Bytes text = wire::Status(7, std::string(HQOS_MSG_MAX - 17, 'x'));
  ASSERT_EQ(text.size(), size_t{HQOS_MSG_MAX});
  EXPECT_EQ(Reply(text).result.code, 7u);
  const Bytes unknown = wire::Tlv(5, Bytes(HQOS_MSG_MAX - 12 - 12 - 4));
  script.reply =
      wire::Message(2, 2, wire::Tlv(1, unknown + wire::Tlv(6, Hex("00000001 00000002"))));
  ASSERT_EQ(script.reply.size(), size_t{HQOS_MSG_MAX});
  HQOS_SPInfo info{};
  EXPECT_EQ(Play(script, seen, [&] { return HQOS_lib_GetSP("gold", &info); }), 0u);
  EXPECT_EQ(info.words[1], 2u);
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
      {0, 0, HQOS_ERR_FAILED, 0},
  };
  for (const auto& c : cases) {
    Bytes msg(c.msgLen);
    for (size_t i = 1; i < msg.size(); ++i) msg[i] = static_cast<uint8_t>(i);
    if (!msg.empty()) msg[0] = c.headLen;
    Bytes head(8, 0xEE), expected(8, 0xEE);
    std::copy_n(msg.begin(), c.copied, expected.begin());
    EXPECT_EQ(HQOS_msg_DecapMsgHead(msg.data(), c.msgLen, head.data()), c.status);
    EXPECT_EQ(head, expected);
  }
}

}  // namespace
