// Looking into the store of the stand-in service.
#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "cli/apply_target.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/read.h"
#include "cli/rule_text.h"
#include "platform/hqosd_store.h"
#include "platform/stlv.h"

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

Output::Record LayerRecord(const HQOS_LayerRun& run) {
  uint16_t fpId;  // as the service uses these bytes
  memcpy(&fpId, run.hostData, sizeof fpId);
  return {{"path", run.path.field},
          {"value16", run.value16},
          {"value32", run.value32},
          {"fpId", fpId},
          {"rule", RuleText(run.rule)}};
}

// One layer record of the run-time state: of layer 2 it has entries.
bool DecodeLayer(uint16_t type, const uint8_t* record, uint16_t length, Output::Record& to) {
  HQOS_LayerRun node;
  if (type == HQOS_DBTLV_LAYER1RUN) {
    if (HQOS_dbmtype_DecapLayer1Run(record, length, &node) != 0) return false;
    to = LayerRecord(node);
    return true;
  }
  std::vector<HQOS_LayerRun> entries(64);  // a record holds fewer
  uint32_t count = 0;
  if (HQOS_dbmtype_DecapLayer2Run(record, length, 64, &node, entries.data(), &count) != 0) {
    return false;
  }
  to = LayerRecord(node);
  to["entries"] = Output::Record::array();
  for (uint32_t i = 0; i < count; ++i) to["entries"].push_back(LayerRecord(entries[i]));
  return true;
}

// The run-time state of an interface's nodes, one record behind the other.
bool DecodeLayers(const Bytes& value, Output::Record& record) {
  record = Output::Record::array();
  size_t at = 0;
  while (at < value.size()) {
    const auto room = static_cast<uint16_t>(std::min<size_t>(value.size() - at, UINT16_MAX));
    uint16_t type, length;
    const uint8_t* inner;
    const uint32_t taken = STLV_Get(&value[at], room, &type, &length, &inner);
    if (taken == 0) return false;
    Output::Record one;
    if (!DecodeLayer(type, &value[at], static_cast<uint16_t>(taken), one)) return false;
    record.push_back(std::move(one));
    at += taken;
  }
  return true;
}

bool DecodeVersion(const Bytes& value, Output::Record& record) {
  record = {{"version", std::string(value.begin(), value.end())}};
  return true;
}

constexpr struct {
  const char* prefix;
  const char* suffix;
  Decoder decode;
} kDecoders[] = {{HQOSD_KEY_VERSION, "", DecodeVersion},
                 {HQOSD_KEY_SP, "", DecodeSP},
                 {HQOSD_KEY_FG, "", DecodeNamed<HQOS_FGInfo, HQOSD_ReadFG>},
                 {HQOSD_KEY_FC, "", DecodeNamed<HQOS_FCInfo, HQOSD_ReadFC>},
                 {HQOSD_KEY_DP, "", DecodeDP},
                 {HQOSD_KEY_FP, "", DecodeFP},
                 {HQOSD_KEY_FP_RUN, "", DecodeFPRun},
                 {HQOSD_KEY_SP_NEST, "", DecodeSon},
                 {HQOSD_KEY_FG_NEST, "", DecodeSon},
                 {HQOSD_KEY_IF_CFG, "", DecodeApply},
                 {HQOSD_KEY_APPLY, "", DecodeApply},
                 {HQOSD_KEY_IF_RUN, "-SP", DecodeSP},
                 {HQOSD_KEY_IF_RUN, "-L1", DecodeLayers},
                 {HQOSD_KEY_IF_RUN, "-L2", DecodeLayers}};

std::string Hex(const Bytes& value) {
  std::string text;
  for (const uint8_t byte : value) {
    constexpr char kDigits[] = "0123456789abcdef";
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

std::string Dumped(const Output::Record& record) {
  return record.dump(-1, ' ', false, nlohmann::detail::error_handler_t::replace);
}

Output::Record Decoded(const std::string& key, const Bytes& value) {
  for (const auto& decoder : kDecoders) {
    Output::Record record;
    if (key.starts_with(decoder.prefix) && key.ends_with(decoder.suffix) &&
        decoder.decode(value, record)) {
      return record;
    }
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
  sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);  // one moment for both tables
  output.Begin({"KEY", "RECORD"});
  const auto add = [&](const std::string& key, const Bytes& value, const std::string& aside) {
    const Output::Record record = Decoded(key, value);
    std::string text = record.is_null() ? "does not decode: " + Hex(value) : Dumped(record);
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
