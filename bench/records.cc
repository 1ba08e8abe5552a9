// What encoding and decoding cost: an FP with all its settings, and a full reply of child
// statistics. Two floors: a copy-and-swap of the same bytes written by hand without any check, and
// the same with one call of the platform's codec for each TLV, which is what the platform asks for.
// Neither ends names at their NUL.
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

// Median nanoseconds a call of each, their rounds in turn: the library, and the two floors.
template <class... Calls>
void Compare(const char* what, Calls... calls) {
  constexpr size_t kNumber = sizeof...(Calls);
  double ns[kNumber][kRounds];
  const auto time = [](auto& call) {
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < kCalls; ++i) call();
    const auto end = std::chrono::steady_clock::now();
    return std::chrono::duration<double, std::nano>(end - begin).count() / kCalls;
  };
  for (int round = 0; round < kRounds; ++round) {
    size_t which = 0;
    ((ns[which++][round] = time(calls)), ...);
  }
  for (auto& samples : ns) std::nth_element(samples, samples + kRounds / 2, samples + kRounds);
  const double library = ns[0][kRounds / 2], hand = ns[1][kRounds / 2], codec = ns[2][kRounds / 2];
  std::printf("%-28s %6.1f ns, by hand %6.1f ns: ratio %.2f, with the codec %6.1f ns: ratio %.2f\n",
              what, library, hand, library / hand, codec, library / codec);
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

void EncodeByHand(const HQOS_FPInfo& fp, Cursor<uint8_t> to) {
  to.Put16(1), to.Put16(36), to.PutName(fp.name), to.Put16(fp.id), to.Put16(0);
  to.Put16(2), to.Put16(36), to.PutName(fp.dpName), to.Put16(fp.dpId), to.Put16(0);
  to.Put16(3), to.Put16(16);
  for (const uint32_t v : fp.gts) to.Put32(v);
  to.Put16(4), to.Put16(12);
  for (const uint32_t v : fp.queue) to.Put32(v);
  to.Put16(5), to.Put16(4), to.Put32(fp.bandwidth);
}

void DecodeByHand(const uint8_t* bytes, HQOS_FPInfo& fp) {
  Cursor<const uint8_t> from{bytes + 4};
  from.GetName(fp.name), fp.id = from.Get16(), from.at += 2 + 4;
  from.GetName(fp.dpName), fp.dpId = from.Get16(), from.at += 2 + 4;
  for (uint32_t& v : fp.gts) v = from.Get32();
  from.at += 4;
  for (uint32_t& v : fp.queue) v = from.Get32();
  from.at += 4;
  fp.bandwidth = from.Get32();
  fp.flags = 15;
}

// One call of the platform's codec for each TLV.
class Writer {
 public:
  explicit Writer(uint8_t* out) : out_(out) {}
  void Add(uint16_t type, const uint8_t* value, uint16_t length) {
    used_ +=
        STLV_Set(out_ + used_, static_cast<uint16_t>(HQOS_MSG_MAX - used_), type, length, value);
  }

 private:
  uint8_t* out_;
  uint32_t used_ = 0;
};

void EncodeWithCodec(const HQOS_FPInfo& fp, uint8_t* out) {
  Writer writer(out);
  uint8_t value[36];
  Cursor<uint8_t> to{value};
  to.PutName(fp.name), to.Put16(fp.id), to.Put16(0), writer.Add(1, value, 36);
  to = {value};
  to.PutName(fp.dpName), to.Put16(fp.dpId), to.Put16(0), writer.Add(2, value, 36);
  to = {value};
  for (const uint32_t v : fp.gts) to.Put32(v);
  writer.Add(3, value, 16), to = {value};
  for (const uint32_t v : fp.queue) to.Put32(v);
  writer.Add(4, value, 12), to = {value};
  to.Put32(fp.bandwidth), writer.Add(5, value, 4);
}

// Calls `take` with the type and the value of each TLV.
template <class Take>
void Walk(const uint8_t* bytes, uint16_t room, Take take) {
  uint16_t type, length;
  const uint8_t* value;
  for (uint32_t taken; (taken = STLV_Get(bytes, room, &type, &length, &value)) != 0;) {
    take(type, Cursor<const uint8_t>{value}, length);
    bytes += taken;
    room = static_cast<uint16_t>(room - taken);
  }
}

void DecodeWithCodec(const uint8_t* bytes, uint16_t length, HQOS_FPInfo& fp) {
  Walk(bytes, length, [&fp](uint16_t type, Cursor<const uint8_t> from, uint16_t) {
    switch (type) {
      case 1:
        from.GetName(fp.name), fp.id = from.Get16();
        break;
      case 2:
        from.GetName(fp.dpName), fp.dpId = from.Get16(), fp.flags |= HQOS_FPI_DPREF;
        break;
      case 3:
        for (uint32_t& v : fp.gts) v = from.Get32();
        fp.flags |= HQOS_FPI_GTS;
        break;
      case 4:
        for (uint32_t& v : fp.queue) v = from.Get32();
        fp.flags |= HQOS_FPI_QUEUE;
        break;
      case 5:
        fp.bandwidth = from.Get32(), fp.flags |= HQOS_FPI_BANDWIDTH;
        break;
      default:
        break;
    }
  });
}

void CompareFP() {
  HQOS_FPInfo fp{"fp-voice-customer-a",   7,           15,  "dp-gold", 9,
                 {10000, 20000, 4000, 0}, {7, 1, 100}, 5000};
  uint8_t bytes[HQOS_MSG_MAX], byHand[HQOS_MSG_MAX];
  const auto length = static_cast<uint16_t>(HQOS_msg_EncapFPInfo(&fp, sizeof bytes, bytes));
  EncodeByHand(fp, {byHand});
  HQOS_FPInfo read{}, readByHand{};
  HQOS_msg_DecapFPInfo(bytes, length, &read);
  DecodeByHand(bytes, readByHand);
  if (!Same(bytes, byHand, length) || !Same(&read, &readByHand, sizeof read)) exit(1);
  EncodeWithCodec(fp, byHand);
  readByHand = {};
  DecodeWithCodec(bytes, length, readByHand);
  if (!Same(bytes, byHand, length) || !Same(&read, &readByHand, sizeof read)) exit(1);
  Compare(
      "encode an FP", [&] { Use(&fp), HQOS_msg_EncapFPInfo(&fp, sizeof bytes, bytes), Use(bytes); },
      [&] { Use(&fp), EncodeByHand(fp, {bytes}), Use(bytes); },
      [&] { Use(&fp), EncodeWithCodec(fp, bytes), Use(bytes); });
  Compare(
      "decode an FP", [&] { Use(bytes), HQOS_msg_DecapFPInfo(bytes, length, &read), Use(&read); },
      [&] { Use(bytes), DecodeByHand(bytes, read), Use(&read); },
      [&] { Use(bytes), read = {}, DecodeWithCodec(bytes, length, read), Use(&read); });
}

// ---- Child statistics ---------------------------------------------------------------------------

constexpr uint32_t kChildren = 5;  // of 280 bytes each, in a reply
uint8_t g_reply[HQOS_MSG_MAX];
uint16_t g_replyLen;

// A reply whose bytes are all different from their neighbours, but for the names.
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

[[gnu::always_inline]] inline void GetPath(Cursor<const uint8_t>& from, HQOS_SPSonStat& info) {
  for (uint16_t& v : info.son.path.field) v = from.Get16();
}
[[gnu::always_inline]] inline void GetCfg(Cursor<const uint8_t>& from, HQOS_SPSonStat& info) {
  HQOS_SonCfg& cfg = info.son.cfg;
  cfg.value1 = from.Get16();
  from.GetName(cfg.name1), from.GetName(cfg.name2);
  cfg.value2 = from.Get16();
  cfg.rule.type = from.Get32();
  for (HQOS_ValueRange& range : cfg.rule.ranges)
    range.low = from.Get16(), range.high = from.Get16();
}
[[gnu::always_inline]] inline void GetWords(Cursor<const uint8_t>& from, HQOS_SPSonStat& info) {
  for (uint32_t& v : info.son.words) v = from.Get32();
}
[[gnu::always_inline]] inline void GetCounters(Cursor<const uint8_t>& from, HQOS_SPSonStat& info) {
  for (uint32_t& v : info.counters.stat32) v = from.Get32();
  from.at += 4;
  for (uint64_t& v : info.counters.stat64) v = from.Get64();
}

void DecodeByHand(const uint8_t* reply, HQOS_SPSonStat* infos) {
  Cursor<const uint8_t> from{reply + 8};
  for (uint32_t child = 0; child < kChildren; ++child, ++infos) {
    from.at += 4 + 4, GetPath(from, *infos);
    from.at += 4, GetCfg(from, *infos);
    from.at += 4, GetWords(from, *infos);
    from.at += 4, GetCounters(from, *infos);
  }
}

void DecodeWithCodec(const uint8_t* reply, uint16_t length, HQOS_SPSonStat* infos) {
  const auto rest = static_cast<uint16_t>(length - 8);
  Walk(reply + 8, rest, [&infos](uint16_t, Cursor<const uint8_t> child, uint16_t childLength) {
    HQOS_SPSonStat& info = *infos++;
    info = {};
    Walk(child.at, childLength, [&info](uint16_t type, Cursor<const uint8_t> from, uint16_t) {
      if (type == HQOS_TLV_SONPATH) GetPath(from, info);
      if (type == HQOS_TLV_SONCFG) GetCfg(from, info);
      if (type == HQOS_TLV_WORDS) GetWords(from, info);
      if (type == HQOS_TLV_SONSTAT) GetCounters(from, info);
    });
  });
}

void CompareStatistics() {
  MakeReply();
  static HQOS_SPSonStat infos[HQOS_BULK_SPSON_MAX], byHand[kChildren];
  const HQOS_SPSonPath start{};
  uint32_t count = 0;
  const auto library = [&] { HQOS_lib_GetBulkSPSonStat(nullptr, &start, 0, &count, infos); };
  // Receives into a buffer of its own too.
  const auto hand = [&] {
    uint8_t reply[HQOS_MSG_MAX];
    recv(0, reply, sizeof reply, 0);
    DecodeByHand(reply, byHand);
    Use(byHand);
  };
  const auto codec = [&] {
    uint8_t reply[HQOS_MSG_MAX];
    const auto length = static_cast<uint16_t>(recv(0, reply, sizeof reply, 0));
    DecodeWithCodec(reply, length, byHand);
    Use(byHand);
  };
  library();
  codec();
  if (count != kChildren || !Same(infos, byHand, sizeof byHand)) exit(1);
  hand();
  if (count != kChildren || !Same(infos, byHand, sizeof byHand)) exit(1);
  char what[64];
  snprintf(what, sizeof what, "%u bytes of statistics", g_replyLen);
  Compare(what, library, hand, codec);
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
