// What encoding and decoding cost: an FP with all its settings, and a full reply of child
// statistics. Two floors, both written out by hand without any check of types, lengths or texts: a
// copy-and-swap of the same bytes, and one that calls the platform's codec once for each TLV.
#include <arpa/inet.h>
#include <stdlib.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "hqos.h"
#include "platform/lip.h"
#include "platform/stlv.h"

namespace {

constexpr int kRounds = 41, kCalls = 20'000;

// Takes a value away from the optimiser, so that it must be there.
void Use(const void* p) { asm volatile("" : : "r"(p) : "memory"); }

bool Same(const void* a, const void* b, size_t length) { return memcmp(a, b, length) == 0; }

// Median nanoseconds a call of all three, their rounds in turn.
template <class Library, class Copy, class Codec>
void Compare(const char* what, Library library, Copy copy, Codec codec) {
  double ns[3][kRounds];
  const auto time = [](auto& call) {
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < kCalls; ++i) call();
    const auto end = std::chrono::steady_clock::now();
    return std::chrono::duration<double, std::nano>(end - begin).count() / kCalls;
  };
  for (int round = 0; round < kRounds; ++round) {
    ns[0][round] = time(library);
    ns[1][round] = time(copy);
    ns[2][round] = time(codec);
  }
  for (auto& samples : ns) std::nth_element(samples, samples + kRounds / 2, samples + kRounds);
  const double lib = ns[0][kRounds / 2];
  const double floors[] = {ns[1][kRounds / 2], ns[2][kRounds / 2]};
  std::printf("%-24s %6.1f ns, copied by hand %6.1f ns (%.2f), with the codec %6.1f ns (%.2f)\n",
              what, lib, floors[0], lib / floors[0], floors[1], lib / floors[1]);
}

// Reads and writes numbers at a place that moves on.
template <class Byte>
struct Cursor {
  Byte* at;

  void Put16(uint16_t v) { v = htons(v), memcpy(at, &v, 2), at += 2; }
  void Put32(uint32_t v) { v = htonl(v), memcpy(at, &v, 4), at += 4; }
  void PutName(const char* name) { memcpy(at, name, 32), at += 32; }
  uint16_t Get16() {
    uint16_t v;
    memcpy(&v, at, 2), at += 2;
    return ntohs(v);
  }
  uint32_t Get32() {
    uint32_t v;
    memcpy(&v, at, 4), at += 4;
    return ntohl(v);
  }
  uint64_t Get64() {
    uint64_t v;
    memcpy(&v, at, 8), at += 8;
    return __builtin_bswap64(v);
  }
  void GetName(char* name) { memcpy(name, at, 32), at += 32; }
};

// ---- FP -----------------------------------------------------------------------------------------

void PutName(const HQOS_FPInfo& fp, Cursor<uint8_t> to) {
  to.PutName(fp.name), to.Put16(fp.id), to.Put16(0);
}
void PutDPRef(const HQOS_FPInfo& fp, Cursor<uint8_t> to) {
  to.PutName(fp.dpName), to.Put16(fp.dpId), to.Put16(0);
}
template <size_t N>
void PutAll(const uint32_t (&numbers)[N], Cursor<uint8_t> to) {
  for (const uint32_t v : numbers) to.Put32(v);
}

uint32_t CopyIn(const HQOS_FPInfo& fp, uint8_t* out) {
  Cursor<uint8_t> to{out};
  to.Put16(1), to.Put16(36), PutName(fp, to), to.at += 36;
  to.Put16(2), to.Put16(36), PutDPRef(fp, to), to.at += 36;
  to.Put16(3), to.Put16(16), PutAll(fp.gts, to), to.at += 16;
  to.Put16(4), to.Put16(12), PutAll(fp.queue, to), to.at += 12;
  to.Put16(5), to.Put16(4), to.Put32(fp.bandwidth);
  return static_cast<uint32_t>(to.at - out);
}

// Fills a value and has the codec write it, for one TLV after the other.
uint32_t EncodeWithCodec(const HQOS_FPInfo& fp, uint32_t room, uint8_t* out) {
  uint8_t value[36];
  uint32_t used = 0;
  const auto set = [&](uint16_t type, uint16_t length) {
    used += STLV_Set(out + used, static_cast<uint16_t>(room - used), type, length, value);
  };
  PutName(fp, {value}), set(1, 36);
  PutDPRef(fp, {value}), set(2, 36);
  PutAll(fp.gts, {value}), set(3, 16);
  PutAll(fp.queue, {value}), set(4, 12);
  Cursor<uint8_t>{value}.Put32(fp.bandwidth), set(5, 4);
  return used;
}

void GetName(Cursor<const uint8_t> from, HQOS_FPInfo& fp) {
  from.GetName(fp.name), fp.id = from.Get16();
}
void GetDPRef(Cursor<const uint8_t> from, HQOS_FPInfo& fp) {
  from.GetName(fp.dpName), fp.dpId = from.Get16();
}
template <size_t N>
void GetAll(Cursor<const uint8_t> from, uint32_t (&numbers)[N]) {
  for (uint32_t& v : numbers) v = from.Get32();
}

void CopyOut(const uint8_t* bytes, HQOS_FPInfo& fp) {
  GetName({bytes + 4}, fp), GetDPRef({bytes + 44}, fp);
  GetAll({bytes + 84}, fp.gts), GetAll({bytes + 104}, fp.queue);
  fp.bandwidth = Cursor<const uint8_t>{bytes + 120}.Get32();
  fp.flags = 15;
}

// Where the codec says that the value of the next TLV is, for TLVs of a known order.
struct CodecCursor {
  const uint8_t* at;
  uint16_t room;

  Cursor<const uint8_t> Next() {
    uint16_t type, length;
    const uint8_t* value;
    const uint32_t taken = STLV_Get(at, room, &type, &length, &value);
    at += taken, room = static_cast<uint16_t>(room - taken);
    return {value};
  }
};

void DecodeWithCodec(const uint8_t* bytes, uint16_t length, HQOS_FPInfo& fp) {
  CodecCursor tlvs{bytes, length};
  GetName(tlvs.Next(), fp), GetDPRef(tlvs.Next(), fp);
  GetAll(tlvs.Next(), fp.gts), GetAll(tlvs.Next(), fp.queue);
  fp.bandwidth = tlvs.Next().Get32();
  fp.flags = 15;
}

void CompareFP() {
  const HQOS_FPInfo fp{"fp-voice-customer-a",   7,           15,  "dp-gold", 9,
                       {10000, 20000, 4000, 0}, {7, 1, 100}, 5000};
  uint8_t bytes[HQOS_MSG_MAX], copied[HQOS_MSG_MAX], withCodec[HQOS_MSG_MAX];
  const auto length = static_cast<uint16_t>(HQOS_msg_EncapFPInfo(&fp, sizeof bytes, bytes));
  if (CopyIn(fp, copied) != length || EncodeWithCodec(fp, sizeof withCodec, withCodec) != length ||
      !Same(bytes, copied, length) || !Same(bytes, withCodec, length)) {
    exit(1);
  }
  HQOS_FPInfo read{}, readCopied{}, readWithCodec{};
  HQOS_msg_DecapFPInfo(bytes, length, &read);
  CopyOut(bytes, readCopied);
  DecodeWithCodec(bytes, length, readWithCodec);
  if (!Same(&read, &readCopied, sizeof read) || !Same(&read, &readWithCodec, sizeof read)) exit(1);
  Compare(
      "encode an FP", [&] { Use(&fp), HQOS_msg_EncapFPInfo(&fp, sizeof bytes, bytes), Use(bytes); },
      [&] { Use(&fp), CopyIn(fp, bytes), Use(bytes); },
      [&] { Use(&fp), EncodeWithCodec(fp, sizeof bytes, bytes), Use(bytes); });
  Compare(
      "decode an FP", [&] { Use(bytes), HQOS_msg_DecapFPInfo(bytes, length, &read), Use(&read); },
      [&] { Use(bytes), CopyOut(bytes, read), Use(&read); },
      [&] { Use(bytes), DecodeWithCodec(bytes, length, read), Use(&read); });
}

// ---- Child statistics ---------------------------------------------------------------------------

constexpr uint32_t kChildren = 5;  // of 280 bytes each, in a reply
uint8_t g_reply[HQOS_MSG_MAX];
uint16_t g_replyLen;

// A reply in which all neighbouring bytes differ, except in the names.
void MakeReply() {
  g_replyLen = static_cast<uint16_t>(HQOS_msg_EncapMsgHead(2, HQOS_OP_BULK, 1, g_reply));
  for (uint32_t child = 0; child < kChildren; ++child) {
    uint8_t parts[HQOS_MSG_MAX];
    uint16_t used = 0;
    for (const auto& [type, size] : {std::pair<uint16_t, uint16_t>(HQOS_TLV_SONPATH, 12),
                                     {HQOS_TLV_SONCFG, 104},
                                     {HQOS_TLV_WORDS, 8},
                                     {HQOS_TLV_SONSTAT, 136}}) {
      uint8_t value[136];
      for (uint16_t i = 0; i < size; ++i) value[i] = static_cast<uint8_t>(i + child + 1);
      if (type == HQOS_TLV_SONCFG) memset(value + 20, 0, 14), memset(value + 50, 0, 16);
      used = static_cast<uint16_t>(used + STLV_Set(parts + used,
                                                   static_cast<uint16_t>(sizeof parts - used), type,
                                                   size, value));
    }
    g_replyLen = static_cast<uint16_t>(g_replyLen +
                                       STLV_Set(g_reply + g_replyLen,
                                                static_cast<uint16_t>(sizeof g_reply - g_replyLen),
                                                HQOS_BULK_SP_SON_STAT, used, parts));
  }
}

// The parts of a child.
void GetPath(Cursor<const uint8_t> from, HQOS_SPSon& son) {
  for (uint16_t& v : son.path.field) v = from.Get16();
}
void GetCfg(Cursor<const uint8_t> from, HQOS_SonCfg& cfg) {
  cfg.value1 = from.Get16();
  from.GetName(cfg.name1), from.GetName(cfg.name2);
  cfg.value2 = from.Get16();
  cfg.rule.type = from.Get32();
  for (HQOS_ValueRange& range : cfg.rule.ranges)
    range.low = from.Get16(), range.high = from.Get16();
}
void GetCounters(Cursor<const uint8_t> from, HQOS_SPSonCounters& counters) {
  for (uint32_t& v : counters.stat32) v = from.Get32();
  from.at += 4;
  for (uint64_t& v : counters.stat64) v = from.Get64();
}

void CopyOut(const uint8_t* reply, HQOS_SPSonStat* infos) {
  const uint8_t* at = reply + 8;
  for (uint32_t child = 0; child < kChildren; ++child, ++infos, at += 280) {
    GetPath({at + 8}, infos->son), GetCfg({at + 24}, infos->son.cfg);
    GetAll({at + 132}, infos->son.words), GetCounters({at + 144}, infos->counters);
  }
}

void DecodeWithCodec(const uint8_t* reply, uint16_t length, HQOS_SPSonStat* infos) {
  CodecCursor children{reply + 8, static_cast<uint16_t>(length - 8)};
  for (uint32_t child = 0; child < kChildren; ++child, ++infos) {
    CodecCursor tlvs{children.Next().at, 276};
    GetPath(tlvs.Next(), infos->son), GetCfg(tlvs.Next(), infos->son.cfg);
    GetAll(tlvs.Next(), infos->son.words), GetCounters(tlvs.Next(), infos->counters);
  }
}

void CompareStatistics() {
  MakeReply();
  static HQOS_SPSonStat infos[HQOS_BULK_SPSON_MAX], copied[kChildren], withCodec[kChildren];
  const HQOS_SPSonPath start{};
  uint32_t count = 0;
  const auto library = [&] { HQOS_lib_GetBulkSPSonStat(nullptr, &start, 0, &count, infos); };
  // Both receive into a buffer of their own too.
  const auto copy = [&] {
    uint8_t reply[HQOS_MSG_MAX];
    recv(0, reply, sizeof reply, 0);
    CopyOut(reply, copied);
    Use(copied);
  };
  const auto codec = [&] {
    uint8_t reply[HQOS_MSG_MAX];
    const auto length = static_cast<uint16_t>(recv(0, reply, sizeof reply, 0));
    DecodeWithCodec(reply, length, withCodec);
    Use(withCodec);
  };
  library();
  copy();
  codec();
  if (count != kChildren || !Same(infos, copied, sizeof copied) ||
      !Same(infos, withCodec, sizeof withCodec)) {
    exit(1);
  }
  char what[64];
  snprintf(what, sizeof what, "%u bytes of statistics", g_replyLen);
  Compare(what, library, copy, codec);
}

}  // namespace

// In place of the platform's sockets: every request is answered with the same reply.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
int LIP_Socket(int, int, int) { return 1000; }
int LIP_Connect(int, const sockaddr_lip*, socklen_t) { return 0; }
extern "C" {
ssize_t send(int, const void* buf, size_t length, int) {
  Use(buf);
  return static_cast<ssize_t>(length);
}
ssize_t recv(int, void* buf, size_t, int) {
  memcpy(buf, g_reply, g_replyLen);
  return g_replyLen;
}
int close(int) { return 0; }
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

int main() {
  CompareFP();
  CompareStatistics();
  return 0;
}
