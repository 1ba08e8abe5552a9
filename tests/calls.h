// Calls of the library's commands and queries with arguments from a source. A source has a function
// Fill for every type of argument.
#pragma once

#include <cstddef>
#include <cstring>
#include <tuple>
#include <type_traits>
#include <vector>

#include "hqos.h"

namespace calls {

constexpr uint8_t kBlank = 0x5A;  // every byte of an output before the call
constexpr uint32_t kBlankCount = 0x5A5A5A5A;

// How many records an output has room for: one, or as many as a list can return.
template <class Info>
constexpr size_t kRoom = 1;
template <>
inline constexpr size_t kRoom<HQOS_FCInfo> = HQOS_BULK_FC_MAX;
template <>
inline constexpr size_t kRoom<HQOS_DPInfo> = HQOS_BULK_DP_MAX;
template <>
inline constexpr size_t kRoom<HQOS_FPInfo> = HQOS_BULK_FP_MAX;
template <>
inline constexpr size_t kRoom<HQOS_FGSon> = HQOS_BULK_FGSON_MAX;
template <>
inline constexpr size_t kRoom<HQOS_SPSon> = HQOS_BULK_SPSON_MAX;
template <>
inline constexpr size_t kRoom<HQOS_SPSonStat> = HQOS_BULK_SPSON_MAX;
template <>
inline constexpr size_t kRoom<HQOS_SPSonDiag> = HQOS_BULK_SPSON_MAX;

// What is passed for a parameter: a value,
template <class T>
struct Argument {
  T value;
  template <class Source>
  explicit Argument(const Source& source) {
    source.Fill(value);
  }
  T Pass() { return value; }
};
// a text,
template <>
struct Argument<const char*> {
  const char* value;
  template <class Source>
  explicit Argument(const Source& source) {
    source.Fill(value);
  }
  const char* Pass() const { return value; }
};
// a record or numbers to read,
template <class T>
struct Argument<const T*> {
  T value[std::is_integral_v<T> ? 4 : 1];
  bool isNull = false;
  template <class Source>
  explicit Argument(const Source& source) {
    if constexpr (requires { source.IsNull(); }) isNull = source.IsNull();
    if (isNull) return;
    for (T& element : value) source.Fill(element);
  }
  const T* Pass() { return isNull ? nullptr : value; }
};
// or an output.
template <class T>
struct Argument<T*> {
  static constexpr size_t kSize = kRoom<T> * sizeof(T);
  std::vector<T> records{kRoom<T>};
  template <class Source>
  explicit Argument(const Source&) {
    std::memset(static_cast<void*>(records.data()), kBlank, kSize);
  }
  T* Pass() { return records.data(); }
  // Whether all bytes from that one on have the value.
  bool IsAll(uint8_t value, size_t from = 0) const {
    const auto* const bytes = reinterpret_cast<const uint8_t*>(records.data());
    return from == kSize || (bytes[from] == value &&
                             std::memcmp(bytes + from, bytes + from + 1, kSize - from - 1) == 0);
  }
};

template <class... Parameters>
struct Call {
  template <class T>
  static constexpr bool kHas = (std::is_same_v<Parameters, T> || ...);
  static constexpr bool kIsCommand = kHas<HQOS_Result*>;
  static constexpr bool kIsList = kHas<uint32_t*>;

  std::tuple<Argument<Parameters>...> arguments;
  uint32_t status = 0;

  // `run` calls what it is given.
  template <class Source, class Run>
  Call(uint32_t (*function)(Parameters...), const Source& source, Run run)
      : arguments{Argument<Parameters>(source)...} {
    status = run([&] {
      return std::apply([&](auto&... argument) { return function(argument.Pass()...); }, arguments);
    });
  }

  template <class T>
  auto& Get() {
    return std::get<Argument<T>>(arguments);
  }
  // The records that a query writes, or those of the verdict.
  auto& Output() { return std::get<sizeof...(Parameters) - 1>(arguments); }
};

// Every command and query.
inline constexpr auto kAll = std::make_tuple(
    HQOS_lib_AddSP, HQOS_lib_AddFG, HQOS_lib_AddFP, HQOS_lib_AddDP, HQOS_lib_DelSP, HQOS_lib_DelFG,
    HQOS_lib_DelFP, HQOS_lib_DelDP, HQOS_lib_SetSPUnit, HQOS_lib_ResetSPUnit, HQOS_lib_AddQueue,
    HQOS_lib_DelQueue, HQOS_lib_AddGTS, HQOS_lib_DelGTS, HQOS_lib_AddBandwidth,
    HQOS_lib_DelBandwidth, HQOS_lib_FPReferDP, HQOS_lib_DelFPReferDP, HQOS_lib_AddDPThreshold,
    HQOS_lib_DelDPThreshold, HQOS_lib_AddDPWeight, HQOS_lib_DelDPWeight, HQOS_lib_AddSPNestFG,
    HQOS_lib_AddFGNestFG, HQOS_lib_DelSPNestFG, HQOS_lib_DelFGNestFG, HQOS_lib_AddFGNestFC,
    HQOS_lib_DelFGNestFC, HQOS_lib_DelSPMatch, HQOS_lib_DelFGMatch, HQOS_lib_ApplySP,
    HQOS_lib_UndoApplySP, HQOS_lib_SetDebug, HQOS_lib_ResetDebug, HQOS_lib_GetSP, HQOS_lib_GetFG,
    HQOS_lib_GetFC, HQOS_lib_GetFP, HQOS_lib_GetDP, HQOS_lib_GetNextSP, HQOS_lib_GetNextFG,
    HQOS_lib_GetAllFC, HQOS_lib_GetBulkFP, HQOS_lib_GetBulkDP, HQOS_lib_GetBulkFGSon,
    HQOS_lib_GetBulkSPSon, HQOS_lib_GetBulkSPSonStat, HQOS_lib_GetBulkSPSonDiag,
    HQOS_lib_GetApplyStat, HQOS_lib_GetApplyDiag, HQOS_lib_GetNextIfApplyStat,
    HQOS_lib_GetNextIfApplyDiag);
constexpr size_t kCommands = 32;  // the first ones of kAll that change the configuration
constexpr size_t kCount = std::tuple_size_v<decltype(kAll)>;

// Calls `use` with the function of that number.
template <class Use>
void With(size_t number, Use use) {
  std::apply([&](auto... function) { ((number-- == 0 ? use(function) : void()), ...); }, kAll);
}

}  // namespace calls
