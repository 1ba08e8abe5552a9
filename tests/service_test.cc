// The library, a real socket and a real service.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "hqos.h"
#include "hqosd.h"
#include "tests/bytes.h"
#include "tests/client.h"
#include "tests/process.h"

namespace {

using process::Client;
using process::Service;
using wire::Bytes;
using wire::Hex;
using wire::operator+;

// The verdict on a command.
template <class Command, class... Id>
uint32_t Do(Command command, const char* name, Id... id) {
  HQOS_Result result{};
  EXPECT_EQ(command(name, static_cast<uint16_t>(id)..., &result), 0u);
  return result.code;
}

Bytes Ask(const Bytes& request) {
  const Client client;
  client.Send(request);
  return client.Receive();
}

TEST(Service, AnswersMalformedRequestsAndChangesNothing) {
  Service service;
  const Bytes addSP = wire::Tlv(3, wire::Field("gold", 32) + Hex("0001 0000"));
  const Bytes good = wire::Message(1, 1, addSP);
  std::vector<Bytes> requests = {
      wire::Message(1, 1, addSP) + Bytes(1500),       // too long
      wire::Message(1, 1, addSP + addSP),             // two TLVs
      wire::Message(1, 1, addSP + Hex("00")),         // a byte too many
      Hex("09 01 01 01 01 00 00 00") + addSP,         // head beyond
      Hex("00 01 01 01 01 00 00 00") + addSP,         // no head
      Hex("08 02 01 01 01 00 00 00") + addSP,         // another format
      wire::Message(1, 0, addSP),                     // no such class
      wire::Message(1, 2, wire::Tlv(8, Bytes(60))),   // no such query
      wire::Message(1, 1, wire::Tlv(99, Bytes(36))),  // no such command
      wire::Message(1, 1, wire::Tlv(3, wire::Field("gold", 35))),
      wire::Message(1, 1, wire::Tlv(19, wire::Tlv(1, wire::Field("fp", 36)))),  // no queue
      wire::Message(1, 1, wire::Tlv(20, wire::Tlv(4, Bytes(11)))),
      wire::Message(1, 1, wire::Tlv(29, Bytes(47))),
      wire::Message(1, 4, wire::Tlv(3, Bytes(7))),
      wire::Message(1, 4, wire::Tlv(5, {})),  // no path
      wire::Message(1, 4, wire::Tlv(5, wire::Tlv(1, Bytes(11)))),
  };
  for (size_t length = 1; length < good.size(); ++length) {
    requests.emplace_back(good.begin(), good.begin() + static_cast<ptrdiff_t>(length));
  }
  for (const Bytes& request : requests) {
    const Bytes reply = Ask(request);
    ASSERT_GT(reply.size(), 16u) << testing::PrintToString(request);
    EXPECT_EQ(Bytes(reply.begin() + 8, reply.begin() + 10), Hex("7000"));
    const uint32_t code = reply[15];
    EXPECT_TRUE(code == (HQOSD_MALFORMED & 0xFF) || code == (HQOSD_UNKNOWN & 0xFF)) << code;
  }
  EXPECT_NE(service.Log().find("refused a request of 1501 bytes: the request is too long"),
            std::string::npos);
  HQOS_SPInfo info;
  EXPECT_EQ(HQOS_lib_GetNextSP(HQOS_ID_NONE, &info), uint32_t{HQOSD_END});
  EXPECT_EQ(Ask(good), wire::Message(2, 1, wire::Tlv(0x7000, Bytes(5))));
}

// Numbers that the library cannot send.
TEST(Service, ChecksNumbers) {
  Service service;
  EXPECT_EQ(Do(HQOS_lib_AddSP, "gold", 5), 0u);
  const auto code = [](uint8_t opClass, uint16_t type, const Bytes& payload) {
    const Bytes reply = Ask(wire::Message(1, opClass, wire::Tlv(type, payload)));
    return reply.size() > 15 && reply[8] == 0x70 ? 0x40020000u | reply[15] : 0;
  };
  EXPECT_EQ(code(1, 4, wire::Field("gold", 32) + Hex("0006 0000")), uint32_t{HQOSD_BAD_VALUE});
  EXPECT_EQ(code(3, 2, Hex("00010000")), uint32_t{HQOSD_BAD_VALUE});
  EXPECT_EQ(code(2, 1, wire::Field("gold", 32) + Hex("0005 0000")), 0u);
}

TEST(Service, LeavesTheClosingToTheClient) {
  Service service;
  const Client answered, again, silent;
  for (const Client* client : {&answered, &again}) {
    client->Send(Hex("08"));
    EXPECT_FALSE(client->Receive().empty());
  }
  again.Send(Hex("08"));
  EXPECT_TRUE(again.Receive().empty());  // one request a connection
  const auto begin = std::chrono::steady_clock::now();
  const auto passed = [begin] { return std::chrono::steady_clock::now() - begin; };
  for (const Client* client : {&answered, &silent}) {
    while (!client->IsClosed() && passed() < std::chrono::seconds(10)) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }
  EXPECT_GT(passed(), std::chrono::seconds(4));
  EXPECT_LT(passed(), std::chrono::seconds(8));
}

TEST(Service, DropsTheOldestWhenDescriptorsRunOut) {
  Service service;
  service.LimitDescriptors(40);
  const std::vector<Client> silent(200);
  HQOS_SPInfo info;
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(HQOS_lib_GetNextSP(HQOS_ID_NONE, &info), uint32_t{HQOSD_END});
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
  EXPECT_TRUE(silent.front().IsClosed());
  EXPECT_FALSE(silent.back().IsClosed());
}

TEST(Service, EndsAWaitWhenItDies) {
  Service service;
  service.Signal(SIGSTOP);
  std::vector<std::thread> callers;
  for (int i = 0; i < 4; ++i) {
    callers.emplace_back([] {
      HQOS_Result result{};
      EXPECT_EQ(HQOS_lib_AddSP("gold", 1, &result), uint32_t{HQOS_ERR_FAILED});
    });
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  service.Signal(SIGKILL);
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(service.Wait(), 128 + SIGKILL);
  // The next one replaces the endpoint that it left.
  EXPECT_TRUE(std::filesystem::exists(service.endpoint()));
  service.Start();
}

TEST(Service, EndsCleanlyAndLeavesAnothersEndpoint) {
  for (const auto& [signal, another] :
       {std::pair(SIGTERM, false), {SIGINT, false}, {SIGTERM, true}}) {
    Service service;
    if (another) {
      std::filesystem::remove(service.endpoint());
      std::ofstream(service.endpoint()) << "another";
    }
    service.Signal(signal);
    EXPECT_EQ(service.Wait(), 0);
    EXPECT_EQ(std::filesystem::exists(service.endpoint()), another);
  }
}

TEST(Service, LeavesALiveOneAlone) {
  Service service;
  const process::Outcome second = process::Run({HQOSD});
  EXPECT_EQ(second.status, 1);
  EXPECT_EQ(second.err, "hqosd: cannot listen at " + service.endpoint() +
                            ": it is taken, by a service or a file\n");
  EXPECT_EQ(Do(HQOS_lib_AddSP, "gold", 1), 0u);
}

TEST(Service, LogsWhatItIsAsked) {
  Service service;
  EXPECT_EQ(HQOS_lib_SetDebug(HQOSD_DEBUG_REQUESTS | HQOSD_DEBUG_BYTES), 0u);
  EXPECT_EQ(HQOS_lib_SetDebug(4), 0u);  // refused, unseen
  EXPECT_EQ(Do(HQOS_lib_DelSP, "tin"), uint32_t{HQOSD_NOT_FOUND});
  EXPECT_EQ(HQOS_lib_ResetDebug(HQOSD_DEBUG_BYTES), 0u);
  EXPECT_EQ(Do(HQOS_lib_DelSP, "lead"), uint32_t{HQOSD_NOT_FOUND});
  EXPECT_EQ(HQOS_lib_ResetDebug(HQOSD_DEBUG_REQUESTS), 0u);
  EXPECT_EQ(Do(HQOS_lib_DelSP, "iron"), uint32_t{HQOSD_NOT_FOUND});
  const std::string text = service.Log();
  EXPECT_NE(text.find("SetDebug: 0x40020004 debug selector 4 is unknown"), text.npos);
  EXPECT_NE(text.find("DelSP: 0x40020007 SP tin does not exist"), text.npos);
  EXPECT_NE(text.find("request 08010101 01000000 00040024 74696e00"), text.npos);
  EXPECT_NE(text.find("SP lead does not exist"), text.npos);
  EXPECT_EQ(text.find("00040024 6c656164"), text.npos);
  EXPECT_EQ(text.find("iron"), text.npos);
}

}  // namespace
