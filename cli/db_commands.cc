// Looking into the store of the stand-in service.
#include <sqlite3.h>

#include <memory>

#include "cli/apply_target.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/read.h"
#include "cli/rule_text.h"
#include "platform/hqosd_store.h"

namespace hqosctl {

namespace {

using Bytes = std::vector<uint8_t>;

// Decodes a record into `record`; false when it does not decode.
using Decoder = bool (*)(const Bytes& value, Output::Record& record);

template <class Info, int (*read)(const uint8_t*, size_t, Info*)>
bool DecodeNamed(const Bytes& value, Output::Record& record) {
  Info info;
  if (read(value.data(), value.size(), &info) == 0) return false;
  record = {{"name", info.name}, {"id", info.id}};
  return true;
}

bool DecodeSP(const Bytes& value, Output::Record& record) {
  HQOS_SPInfo sp;
  if (HQOSD_ReadSP(value.data(), value.size(), &sp) == 0) return false;
  record = {{"name", sp.name}, {"id", sp.id}, {"unit", sp.value1}};
  return true;
}

bool DecodeDP(const Bytes& value, Output::Record& record) {
  HQOS_DPInfo dp;
  if (HQOSD_ReadDP(value.data(), value.size(), &dp) == 0) return false;
  record = DPRecord(dp);
  return true;
}

// The settings that an FP's record has.
template <class FP>
void AddSettings(const FP& fp, Output::Record& record) {
  if ((fp.flags & HQOS_FPI_GTS) != 0) record["gts"] = fp.gts;
  if ((fp.flags & HQOS_FPI_QUEUE) != 0) record["queue"] = fp.queue;
  if ((fp.flags & HQOS_FPI_BANDWIDTH) != 0) record["bandwidth"] = fp.bandwidth;
}

bool DecodeFP(const Bytes& value, Output::Record& record) {
  HQOS_FPCfg fp;
  if (HQOSD_ReadFPCfg(value.data(), value.size(), &fp) == 0) return false;
  record = {{"name", fp.name}, {"id", fp.id}};
  AddSettings(fp, record);
  if ((fp.flags & HQOS_FPI_DPREF) != 0) record["dpName"] = fp.dpName;
  return true;
}

bool DecodeFPRun(const Bytes& value, Output::Record& record) {
  HQOS_FPRun fp;
  if (HQOS_dbmtype_DecapFPRun(value.data(), static_cast<uint16_t>(value.size()), &fp) != 0) {
    return false;
  }
  record = {{"id", fp.id}, {"value16", fp.value16}};
  AddSettings(fp, record);
  if ((fp.flags & HQOS_FPI_DPREF) != 0) record["dpId"] = fp.dpId;
  return true;
}

bool DecodeSon(const Bytes& value, Output::Record& record) {
  HQOS_SonCfg son;
  if (HQOS_dbmtype_DecapSonCfg(value.data(), static_cast<uint16_t>(value.size()), &son) != 0) {
    return false;
  }
  record = {{"value1", son.value1},
            {"value2", son.value2},
            {"name1", son.name1},
            {"name2", son.name2},
            {"rule", RuleText(son.rule)}};
  return true;
}

bool DecodeApply(const Bytes& value, Output::Record& record) {
  HQOS_ApplyInfo info;
  if (HQOSD_ReadApply(value.data(), value.size(), &info) == 0) return false;
  record = {{"obj", ObjectRecord(info.obj)}, {"sp", info.sp.name}};
  return true;
}

// Of the run-time state of an interface, how many bytes there are: the records follow from the
// configuration.
bool DecodeIfRun(const Bytes& value, Output::Record& record) {
  record = {{"bytes", value.size()}};
  return true;
}

bool DecodeVersion(const Bytes& value, Output::Record& record) {
  record = {{"version", std::string(value.begin(), value.end())}};
  return true;
}

constexpr struct {
  const char* prefix;
  Decoder decode;
} kDecoders[] = {{HQOSD_KEY_VERSION, DecodeVersion},
                 {HQOSD_KEY_SP, DecodeSP},
                 {HQOSD_KEY_FG, DecodeNamed<HQOS_FGInfo, HQOSD_ReadFG>},
                 {HQOSD_KEY_FC, DecodeNamed<HQOS_FCInfo, HQOSD_ReadFC>},
                 {HQOSD_KEY_DP, DecodeDP},
                 {HQOSD_KEY_FP, DecodeFP},
                 {HQOSD_KEY_FP_RUN, DecodeFPRun},
                 {HQOSD_KEY_SP_NEST, DecodeSon},
                 {HQOSD_KEY_FG_NEST, DecodeSon},
                 {HQOSD_KEY_IF_CFG, DecodeApply},
                 {HQOSD_KEY_APPLY, DecodeApply},
                 {HQOSD_KEY_IF_RUN, DecodeIfRun}};

std::string Hex(const Bytes& value) {
  std::string text;
  for (const uint8_t byte : value) {
    constexpr char kDigits[] = "0123456789abcdef";
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

Output::Record Decoded(const std::string& key, const Bytes& value) {
  for (const auto& decoder : kDecoders) {
    Output::Record record;
    if (key.starts_with(decoder.prefix) && decoder.decode(value, record)) return record;
  }
  return nullptr;
}

// Calls `add` with the columns of each row.
template <class Add>
void Select(sqlite3* db, const char* sql, const Add& add) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(db, sql, -1, &statement, nullptr) != SQLITE_OK) {
    throw Failure(kUsage, std::string("cannot read the store: ") + sqlite3_errmsg(db));
  }
  const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> guard(statement, sqlite3_finalize);
  const auto column = [statement](int i) {
    const auto* const bytes = static_cast<const uint8_t*>(sqlite3_column_blob(statement, i));
    return bytes == nullptr ? Bytes() : Bytes(bytes, bytes + sqlite3_column_bytes(statement, i));
  };
  int result;
  while ((result = sqlite3_step(statement)) == SQLITE_ROW) {
    const Bytes key = column(0), value = column(1), reason = column(2);
    add(std::string(key.begin(), key.end()), value, std::string(reason.begin(), reason.end()));
  }
  if (result != SQLITE_DONE) {
    throw Failure(kUsage, std::string("cannot read the store: ") + sqlite3_errmsg(db));
  }
}

void Dump(std::string file, bool withBytes, Output& output) {
  char path[4096];
  if (file.empty() && HQOSD_GetStorePath(path, sizeof path) == 0) file = path;
  sqlite3* db = nullptr;
  const int result = sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  const std::unique_ptr<sqlite3, int (*)(sqlite3*)> guard(db, sqlite3_close_v2);
  if (result != SQLITE_OK) throw Failure(kUsage, "cannot open the store " + file);
  sqlite3_busy_timeout(db, 5000);
  output.Begin({"KEY", "RECORD"});
  const auto add = [&](const std::string& key, const Bytes& value, const std::string& aside) {
    const Output::Record record = Decoded(key, value);
    std::string text = record.is_null() ? "does not decode: " + Hex(value) : record.dump();
    if (!aside.empty()) text = "set aside, " + aside + ": " + text;
    Output::Record entry = {{"key", key}, {"record", record}};
    if (withBytes || record.is_null()) entry["bytes"] = Hex(value);
    if (!aside.empty()) entry["setAside"] = aside;
    output.Add({key, text}, std::move(entry));
  };
  Select(db, "SELECT key, value, NULL FROM record ORDER BY key", add);
  Select(db, "SELECT key, value, reason FROM set_aside", add);
  output.End();
}

}  // namespace

void AddDbCommands(CLI::App& app, Output& output) {
  CLI::App* const db = AddGroup(app, "db", "The store of hqosd, also while it runs");
  const auto file = std::make_shared<std::string>();
  CLI::App* const dump = db->add_subcommand("dump", "Print its keys with their records decoded");
  dump->add_option("FILE", *file, "the store; without it, the default");
  dump->callback([file, &output] { Dump(*file, false, output); });
  CLI::App* const all =
      db->add_subcommand("export", "The same as JSON, with the bytes of every record");
  all->add_option("FILE", *file, "the store; without it, the default");
  all->callback([file, &output] {
    output.json = true;
    Dump(*file, true, output);
  });
}

}  // namespace hqosctl
