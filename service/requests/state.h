// The state as a whole: as a file of commands, and changed by one.
#pragma once

#include <span>

#include "msg/state_file.h"
#include "service/model/slice.h"
#include "service/requests/request.h"

namespace hqosd {

// Makes the shortest file that builds the model from nothing.
class StateExport {
 public:
  // `model` stays as it is meanwhile.
  explicit StateExport(const Model& model) : model_(model), bytes_(hqos::kStateHead.size) {}

  bool Step(const Slice& slice);  // true when it is complete
  Bytes Take(uint64_t revision);

 private:
  using Part = bool (StateExport::*)(const Slice&);
  static const Part kParts[];

  bool AddFCs(const Slice& slice);
  bool AddDPs(const Slice& slice);
  bool AddFPs(const Slice& slice);
  bool AddFGs(const Slice& slice);
  bool AddSPs(const Slice& slice);
  template <auto table, uint16_t code>
  bool AddNestings(const Slice& slice);
  bool AddApplications(const Slice& slice);
  void Add(uint16_t code, const Bytes& payload);
  void AddValue(uint16_t code, const std::string& name, uint32_t value);
  void AddSettings(const ObjectTable<FP>::Object& fp);

  const Model& model_;
  Bytes bytes_;
  uint32_t count_ = 0;
  size_t part_ = 0;
  uint16_t at_ = HQOS_ID_NONE;  // the last object of the part that is complete
};
Bytes ExportState(const Model& model, uint64_t revision);

// A command in a file: its whole message, and its TLV.
struct StateCommand {
  std::span<const uint8_t> message;
  hqos::Tlv tlv;
};

struct StateFile {
  hqos::StateHead head{};
  std::vector<HQOS_ObjPayload> fcs;
  std::vector<StateCommand> commands;  // in the bytes of the file
};

// Takes a file apart. The bytes stay as they are.
class StateReader {
 public:
  explicit StateReader(std::span<const uint8_t> bytes) : size_(bytes.size()), rest_(bytes) {}

  // True when all is read. Throws a Refusal when the bytes are no such file.
  bool Step(const Slice& slice, StateFile& file);

 private:
  void ReadHead(StateFile& file);

  size_t size_;
  std::span<const uint8_t> rest_;
};

// A refused command.
struct RefusedCommand {
  uint32_t position;
  Refusal refusal;
};

// Carries out the commands of a transaction, on a copy of the model or on an empty one.
class Replacement;
class TransactionRun {
 public:
  // `model` and `file`, which is complete at the first step, stay as they are meanwhile.
  TransactionRun(const Model& model, const StateFile& file);
  ~TransactionRun();
  TransactionRun(const TransactionRun&) = delete;
  TransactionRun& operator=(const TransactionRun&) = delete;

  bool Step(const Slice& slice);  // true when all are carried out, or enough are refused

  const std::vector<RefusedCommand>& Refusals() const { return refusals_; }
  // The model after the transaction, without counters; with refusals it is of no use.
  Model& Result() { return result_; }

 private:
  void Begin();

  const Model& model_;
  const StateFile& file_;
  Model result_;
  bool isBegun_ = false;
  std::unique_ptr<Replacement> replacement_;
  uint32_t next_ = 0;
  std::vector<RefusedCommand> refusals_;
};

}  // namespace hqosd
