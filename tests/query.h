// Queries of the library against the scripted peer.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "hqos.h"
#include "tests/records.h"
#include "tests/wire.h"

namespace wire {

constexpr uint32_t kUntouched = 0xEEEE;

// One query, `call(&count, infos)`, that was answered with `reply`.
template <class Record>
struct Asked {
  std::vector<Record> infos;
  uint32_t status, count = kUntouched;
  Seen seen;

  template <class Call>
  Asked(const Bytes& reply, uint32_t most, Call call) : infos(most) {
    memset(static_cast<void*>(infos.data()), kBefore, most * sizeof(Record));
    Script script;
    script.reply = reply;
    status = Play(script, seen, [&] { return call(&count, infos.data()); });
  }
};

// Whatever comes instead of a reply with three of those TLVs, nothing is written behind the records
// counted; of a reply that is cut the whole TLVs count.
template <class Record, class Call>
void ExpectListSurvivesDamage(const Bytes& tlv, uint32_t most, Call call) {
  const Bytes whole = Message(2, 4, tlv + tlv + tlv);
  for (const Bytes& reply : Damaged(whole)) {
    const Asked<Record> asked(reply, most, call);
    const uint32_t count = asked.count == kUntouched ? 0 : asked.count;
    ASSERT_LE(count, most);
    if (count < most) {
      ASSERT_TRUE(IsUntouched(asked.infos[count]));
    }
    if (reply.size() == whole.size()) continue;
    const bool hasHead = reply.size() >= 8;
    EXPECT_EQ(asked.status, hasHead ? 0u : uint32_t{HQOS_ERR_BADREPLY});
    EXPECT_EQ(asked.count, hasHead ? (reply.size() - 8) / tlv.size() : size_t{kUntouched});
  }
}

// The same for a query for one record that travels as TLVs, all of which may be missing.
template <class Record, class Call>
void ExpectSurvivesDamage(const Bytes& whole, Call call) {
  for (const Bytes& reply : Damaged(whole)) {
    const Asked<Record> asked(reply, 1, call);
    EXPECT_TRUE(asked.status == 0 || IsUntouched(asked.infos[0]));
    if (reply.size() == whole.size()) continue;
    EXPECT_EQ(asked.status, reply.size() < 8 ? uint32_t{HQOS_ERR_BADREPLY} : 0u);
  }
}

}  // namespace wire
