// A reply of any bytes, to a command and to every query. The first byte chooses the call, the rest
// is the reply.
#include "fuzz/fake_peer.h"
#include "fuzz/require.h"
#include "tests/reply_rules.h"

void reply_rules::Require(bool holds, const char* what) { fuzz::Require(holds, what); }

namespace {

using fuzz::Require;

struct Arguments {
  void Fill(const char*& name) const { name = "a"; }
  template <class T>
  void Fill(T& value) const {
    value = {};
  }
};

template <class... Parameters>
void Do(uint32_t (*function)(Parameters...)) {
  using Call = calls::Call<Parameters...>;
  const auto run = [](auto call) { return fake_peer::Watched(call); };
  fake_peer::peer.fill = 0;
  Call first(function, Arguments{}, run);
  fake_peer::peer.fill = 0xA5;
  Call second(function, Arguments{}, run);
  Require(first.status == second.status, "what comes after a reply does not matter");
  if constexpr (sizeof...(Parameters) > 1) {
    auto &a = first.Output().records, &b = second.Output().records;
    Require(std::memcmp(a.data(), b.data(), a.size() * sizeof a[0]) == 0, "nor to the records");
    if constexpr (Call::kIsCommand) {
      reply_rules::CheckCommand(first);
    } else {
      reply_rules::CheckQuery(first);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const fake_peer::Bytes reply(data + 1, data + size);
  fake_peer::peer.answer = [&reply](const fake_peer::Bytes&) { return reply; };
  calls::With(data[0] % calls::kCount, [](auto* function) { Do(function); });
  return 0;
}
