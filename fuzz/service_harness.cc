#include "fuzz/service_harness.h"

#include <cstdarg>

#include "fuzz/invariants.h"
#include "fuzz/require.h"
#include "msg/records.h"
#include "service/model/hierarchy.h"
#include "service/model/log.h"
#include "service/store/load.h"
#include "service/store/records.h"
#include "service/store/rows.h"

namespace hqosd {

namespace {

void Make(const char* format, va_list arguments) {
  char line[4096];
  std::vsnprintf(line, sizeof line, format, arguments);
}

}  // namespace

// In place of the service's own: the lines are made, and not shown.
#define MAKE_LINE              \
  va_list arguments;           \
  va_start(arguments, format); \
  Make(format, arguments);     \
  va_end(arguments)
void Log(Level, const char* format, ...) { MAKE_LINE; }
void Log(const char* format, ...) { MAKE_LINE; }
void LogBounded(const char* format, ...) { MAKE_LINE; }
void LogDebug(const char* format, ...) { MAKE_LINE; }
#undef MAKE_LINE

}  // namespace hqosd

namespace fuzz {

namespace {

// A reply is a head and whole TLVs, and a status among them is the only one. Returns its code.
uint32_t CheckReply(const hqosd::Bytes& reply) {
  Require(reply.size() >= HQOS_MSGHEAD_LEN && reply.size() <= HQOS_MSG_MAX, "a reply has its size");
  Require(reply[0] == HQOS_MSGHEAD_LEN && reply[1] == 1, "a reply has a head");
  hqos::TlvWalk walk = hqos::WalkMessage(reply.data(), static_cast<uint16_t>(reply.size()));
  const uint8_t* end = reply.data() + HQOS_MSGHEAD_LEN;
  uint32_t code = 0;
  int tlvs = 0;
  bool hasStatus = false;
  for (hqos::Tlv tlv; walk.Next(tlv); ++tlvs) {
    end = tlv.value + tlv.length;
    if (tlv.type != HQOS_TLV_RESULT) continue;
    hasStatus = true;
    Require(tlv.length > 4 && end[-1] == 0, "a status is a code and a text");
    for (int i = 0; i < 4; ++i) code = code << 8 | tlv.value[i];
  }
  Require(end == reply.data() + reply.size(), "a reply is made of whole TLVs");
  Require(!hasStatus || tlvs == 1, "a status is the only TLV");
  Require(hasStatus || reply[3] != HQOS_OP_CONFIG, "a command is answered with a status");
  return code;
}

template <class Table>
void MarkAllDirty(Table& table) {
  for (const auto& [id, object] : table.All()) table.MarkDirty(object.name);
}

template <class Table>
void MarkNestingsDirty(hqosd::Model& model, const Table& parents) {
  for (const auto& [id, parent] : parents.All()) {
    for (const auto& [childId, nesting] : parent.value.children) {
      const hqosd::Child child = hqosd::ChildOf(model, childId);
      model.dirtyNestings.insert({Table::kKind, parent.name, child.kind, *child.name});
    }
  }
}

void MarkEverythingDirty(hqosd::Model& model) {
  MarkAllDirty(model.sps);
  MarkAllDirty(model.fgs);
  MarkAllDirty(model.fcs);
  MarkAllDirty(model.fps);
  MarkAllDirty(model.dps);
  MarkNestingsDirty(model, model.sps);
  MarkNestingsDirty(model, model.fgs);
  for (const auto& [key, application] : model.applications) {
    model.dirtyApplications.insert(key);
    model.dirtyRuns.emplace(key, application.ifIndex);
  }
}

void Apply(const std::vector<hqosd::Change>& changes, std::map<std::string, hqosd::Bytes>& rows) {
  for (const hqosd::Change& change : changes) {
    if (change.value) {
      rows[change.key] = *change.value;
    } else {
      rows.erase(change.key);
    }
  }
}

}  // namespace

ServiceHarness::ServiceHarness() : rows_{{HQOSD_KEY_VERSION, hqosd::VersionValue()}} {
  interfaces.Add("lo0", 1);
  interfaces.Add("eth0", 2);
  interfaces.Add("eth1", 3, false);
  model.interfaces = &interfaces;
}

bool ServiceHarness::Store() {
  const std::vector<hqosd::Change> changes = hqosd::TakeChanges(model);
  Apply(changes, rows_);
  return !changes.empty();
}

hqosd::Bytes ServiceHarness::Ask(const uint8_t* request, size_t length) {
  const uint32_t debug = model.debug;
  hqosd::Bytes reply = hqosd::Respond(model, request, length).reply;
  const uint32_t code = CheckReply(reply);
  const bool hasChanged = Store() || model.debug != debug;
  Require(!hasChanged || reply[3] == HQOS_OP_CONFIG, "a query changes nothing");
  Require(!hasChanged || code == 0, "a request that is refused changes nothing");
  if (hasChanged) CheckInvariants(model);
  return reply;
}

void ServiceHarness::Finish() {
  CheckInvariants(model);
  std::map<std::string, hqosd::Bytes> all{{HQOSD_KEY_VERSION, hqosd::VersionValue()}};
  MarkEverythingDirty(model);
  model.storedRuns.clear();
  Apply(hqosd::TakeChanges(model), all);
  for (const auto& [key, value] : rows_) {
    Require(all.contains(key), "a record that has gone is deleted:", key);
    Require(all.at(key) == value, "a record is written when it changes:", key);
  }
  Require(all.size() == rows_.size(), "all records are written");
  std::vector<hqosd::StoredRecord> records;
  for (const auto& [key, value] : rows_) records.push_back({key, value});
  hqosd::Model again;
  const std::vector<hqosd::Change> repairs = hqosd::Load(records, again);
  if (!repairs.empty()) Require(false, repairs[0].quarantine.c_str(), repairs[0].key);
  CheckInvariants(again);
}

}  // namespace fuzz
