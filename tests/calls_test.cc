// Calls of the library against the scripted peer, as data: tests/calls/*.session. "$ " begins a
// call with its arguments; below it are "< " with the reply (none: the status 0, or no records),
// "> " with the request and "= " with what the call returned and wrote. "# " begins a comment.
// After each query, its reply is damaged in many ways, and what it writes obeys
// tests/reply_rules.h.
//
// Bytes: hexadecimal digits, "text", (TYPE BYTES) for a TLV; X/N pads X to N bytes, X*N repeats it.
// A reply is `status CODE TEXT`, the TLVs of a message, `raw` bytes of a whole one, or `closed`.
// HQOS_UPDATE=1 writes the sessions anew.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "tests/call_text.h"
#include "tests/fake_peer.h"
#include "tests/reply_rules.h"

void reply_rules::Require(bool holds, const char* what) { EXPECT_TRUE(holds) << what; }

namespace {

using namespace wire;
using call_text::ShowOutput;
using call_text::Words;
using std::string;

// ---- Text to bytes, and back --------------------------------------------------------------------

// Bytes up to the end or a closing parenthesis.
Bytes Parse(std::istream& in) {
  Bytes all;
  for (char c; in >> c && c != ')';) {
    Bytes part;
    string text;
    size_t n = 0;
    if (c == '(') {
      in >> n;
      part = Tlv(static_cast<uint16_t>(n), Parse(in));
    } else if (c == '"') {
      std::getline(in, text, '"');
      part.assign(text.begin(), text.end());
    } else {
      for (text = c; isxdigit(in.peek()) != 0;) text += static_cast<char>(in.get());
      part = Hex(text);
    }
    if (in.peek() == '/') {
      in.get(), in >> n;
      part.resize(n);
    } else if (in.peek() == '*') {
      in.get(), in >> n;
      const Bytes once = part;
      for (; n > 1; --n) part = part + once;
    }
    all = all + part;
  }
  return all;
}

Bytes Reply(const string& text) {
  std::istringstream in(text);
  string kind;
  in >> kind;
  if (kind == "closed") return {};
  if (kind == "raw") return Parse(in);
  if (kind != "status") return Message(2, 4, (in.str(text), in.seekg(0), Parse(in)));
  uint32_t code = 0;
  in >> code;
  const Bytes verdict = Parse(in);
  return Status(code, {verdict.begin(), verdict.end()});
}

string Dump(const Bytes& bytes) {
  std::ostringstream out;
  out << std::hex << std::setfill('0');
  for (size_t i = 0, run = 0, text = 0; i < bytes.size();) {
    for (run = 1; i + run < bytes.size() && bytes[i + run] == bytes[i];) ++run;
    for (text = 0; i + text < bytes.size() && isprint(bytes[i + text]) != 0;) ++text;
    out << ' ';
    if (run >= 4) {
      out << std::setw(2) << int{bytes[i]} << '*' << std::dec << run << std::hex;
      i += run;
    } else if (text >= 3) {
      out << '"' << string(&bytes[i], &bytes[i] + text) << '"';
      i += text;
    } else {
      out << std::setw(2) << int{bytes[i]};
      ++i;
    }
  }
  return out.str();
}

// ---- Sessions -----------------------------------------------------------------------------------

template <class... P>
string Play(uint32_t (*function)(P...), const string& arguments, const string* reply) {
  using Call = calls::Call<P...>;
  constexpr bool kHasOutput = sizeof...(P) > 1;
  std::deque<string> texts;
  const auto call = [&](const Bytes& bytes, Seen& seen) {
    Script script;
    script.reply = bytes;
    std::istringstream in(arguments);
    return Call(function, Words{in, texts}, [&](auto run) { return Play(script, seen, run); });
  };
  const Bytes none = Call::kIsCommand || !kHasOutput ? Status(0, "") : Message(2, 4, {});
  const Bytes whole = reply == nullptr ? none : Reply(*reply);
  Seen seen;
  Call done = call(whole, seen);
  std::ostringstream out;
  for (const Bytes& request : seen.requests) {  // its head and the TLV's apart from the payload
    const auto payload = request.begin() + 12;
    out << '>' << Dump({request.begin(), payload}) << " |" << Dump({payload, request.end()})
        << '\n';
  }
  EXPECT_TRUE(seen.closed || seen.sockets == 0);
  out << "= " << std::hex << done.status;
  if constexpr (kHasOutput) {
    ShowOutput(out, done);
    for (const Bytes& damaged :
         reply == nullptr || whole.empty() ? std::vector<Bytes>() : Damaged(whole)) {
      Call again = call(damaged, seen);
      if constexpr (Call::kIsCommand) {
        reply_rules::CheckCommand(again);
      } else {
        reply_rules::CheckQuery(again);
      }
    }
  }
  return out.str();
}

string PlayLine(const string& line, const string* reply) {
  string result = "? there is no such call";
  call_text::WithNamed(line, [&](auto* function, const string& arguments) {
    result = Play(function, arguments, reply);
  });
  return result;
}

TEST(Calls, GoAsTheSessionsAreWritten) {
  for (const auto& file : std::filesystem::directory_iterator(CALLS)) {
    std::ifstream in(file.path());
    std::ostringstream written, actual;
    string line, call, reply;
    const auto play = [&] {
      if (!call.empty()) actual << PlayLine(call, reply.empty() ? nullptr : &reply) << '\n';
      call = reply = "";
    };
    while (std::getline(in, line)) {
      written << line << '\n';
      if (line.starts_with("= ") || line.starts_with("> ")) continue;
      if (!line.starts_with("< ")) play();
      actual << line << '\n';
      if (line.starts_with("$ ")) call = line.substr(2);
      if (line.starts_with("< ")) reply = line.substr(2);
    }
    play();
    EXPECT_EQ(actual.str(), written.str()) << file.path();
    if (std::getenv("HQOS_UPDATE") != nullptr) std::ofstream(file.path()) << actual.str();
  }
}

}  // namespace
