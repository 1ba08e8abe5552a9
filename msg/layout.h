// Layout tables: each wire or stored layout is written once, as fields of (offset, width, form,
// member) in the order of its bytes; Encode and Decode both follow the table.
//
//   inline constexpr auto kThing = Table<36>(Field{0, 32, kText, &Thing::name},
//                                            Field{32, 2, kBigEndian, &Thing::id});
//
// Bytes that no field names are padding: written as zero, not read.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>

namespace hqos {

// The storing of texts below and the 16-bit stores of the public interface rest on this.
static_assert(std::endian::native == std::endian::little);

// ---- Forms: how a member is written in bytes ----------------------------------------------------

struct BigEndian {};  // number, most significant byte first
struct Raw {};        // number or bytes as they are in memory
struct Text {};       // NUL-terminated text in a field of fixed size, zero after the NUL
inline constexpr BigEndian kBigEndian;
inline constexpr Raw kRaw;
inline constexpr Text kText;

template <class T>
constexpr T Swapped(T v) {
  if constexpr (sizeof v == 8) return __builtin_bswap64(v);
  if constexpr (sizeof v == 4) return __builtin_bswap32(v);
  if constexpr (sizeof v == 2) return __builtin_bswap16(v);
  if constexpr (sizeof v == 1) return v;
}

template <std::integral T>
constexpr size_t Width(BigEndian, const T*) {
  return sizeof(T);
}
template <std::integral T>
void Put(BigEndian, const T& member, uint8_t* at) {
  const T v = Swapped(member);
  std::memcpy(at, &v, sizeof v);
}
template <std::integral T>
void Get(BigEndian, const uint8_t* at, T& member) {
  T v;
  std::memcpy(&v, at, sizeof v);
  member = Swapped(v);
}

template <std::integral T>
constexpr size_t Width(Raw, const T*) {
  return sizeof(T);
}
template <std::integral T>
void Put(Raw, const T& member, uint8_t* at) {
  std::memcpy(at, &member, sizeof member);
}
template <std::integral T>
void Get(Raw, const uint8_t* at, T& member) {
  std::memcpy(&member, at, sizeof member);
}

// Copies a text field up to its NUL, at most N - 1 characters, and makes the rest zero. Works
// without branches on lanes of eight characters, the first in the lowest byte, two at a time.
template <size_t N>
[[gnu::always_inline]] inline void CopyText(const void* from, void* to) {
  static_assert(N % 8 == 0);
  using Chars [[gnu::vector_size(16)]] = int8_t;
  using Halves [[gnu::vector_size(16)]] = int32_t;
  using Lanes [[gnu::vector_size(16)]] = int64_t;
  Lanes alive = {-1, -1};  // both 0 after the NUL
#pragma GCC unroll 4
  for (size_t i = 0; i < N; i += 16) {
    const size_t width = N - i < 16 ? N - i : 16;
    Chars chars = {};
    std::memcpy(&chars, static_cast<const uint8_t*>(from) + i, width);
    const Lanes nul = reinterpret_cast<Lanes>(chars == 0);
    const Lanes kept = (nul - 1) & ~nul;  // the characters of a lane before its first NUL
    // The upper half of a lane becomes -1 when the lane has no NUL.
    const Halves whole = reinterpret_cast<Halves>(kept) >> 31;
    const Lanes first = reinterpret_cast<Lanes>(__builtin_shufflevector(whole, whole, 1, 1, 1, 1));
    const Lanes second = reinterpret_cast<Lanes>(__builtin_shufflevector(whole, whole, 3, 3, 3, 3));
    const Lanes out = reinterpret_cast<Lanes>(chars) & kept & alive & (first | Lanes{-1, 0});
    std::memcpy(static_cast<uint8_t*>(to) + i, &out, width);
    alive &= first & second;
  }
  static_cast<uint8_t*>(to)[N - 1] = 0;
}

template <size_t N>
constexpr size_t Width(Text, const char (*)[N]) {
  return N;
}
template <size_t N>
void Put(Text, const char (&member)[N], uint8_t* at) {
  CopyText<N>(member, at);
}
template <size_t N>
void Get(Text, const uint8_t* at, char (&member)[N]) {
  CopyText<N>(at, member);
}

// Arrays: one element after the other, each in the field's form. Their loops cost more than their
// elements, so they are unrolled.
template <class Form, class T, size_t N>
constexpr size_t Width(const Form& form, const T (*)[N]) {
  return N * Width(form, static_cast<const T*>(nullptr));
}
template <class Form, class T, size_t N>
[[gnu::always_inline]] inline void Put(const Form& form, const T (&member)[N], uint8_t* at) {
#pragma GCC unroll 16
  for (const T& element : member) {
    Put(form, element, at);
    at += Width(form, static_cast<const T*>(nullptr));
  }
}
template <class Form, class T, size_t N>
[[gnu::always_inline]] inline void Get(const Form& form, const uint8_t* at, T (&member)[N]) {
#pragma GCC unroll 16
  for (T& element : member) {
    Get(form, at, element);
    at += Width(form, static_cast<const T*>(nullptr));
  }
}

// ---- Tables -------------------------------------------------------------------------------------

template <class Form, class Record, class Member>
struct Field {
  size_t offset;
  size_t width;
  Form form;
  Member Record::*member;
};
template <class Form, class Record, class Member>
Field(size_t, size_t, Form, Member Record::*) -> Field<Form, Record, Member>;

template <size_t Size, class... Fields>
struct Layout {
  static constexpr size_t size = Size;
  std::tuple<Fields...> fields;
};

// Whether the fields lie inside Size bytes, one after the other, each as wide as its member needs.
template <size_t Size, class... Form, class Record, class... Member>
constexpr bool FieldsFit(const Field<Form, Record, Member>&... field) {
  size_t end = 0;
  const auto fits = [&end](size_t offset, size_t width, size_t needed) {
    const bool fit = offset >= end && width == needed && offset + width <= Size;
    end = offset + width;
    return fit;
  };
  return (fits(field.offset, field.width, Width(field.form, static_cast<const Member*>(nullptr))) &&
          ...);
}

// Not constexpr: a table that comes here does not compile.
inline void FieldsDoNotFit() {}

template <size_t Size, class... Fields>
constexpr Layout<Size, Fields...> Table(Fields... fields) {
  if (!FieldsFit<Size>(fields...)) FieldsDoNotFit();
  return {{fields...}};
}

// A layout is itself a form: that of a record inside another.
template <class Record, size_t Size, class... Fields>
requires std::is_class_v<Record>
constexpr size_t Width(const Layout<Size, Fields...>&, const Record*) { return Size; }
template <class Record, size_t Size, class... Fields>
requires std::is_class_v<Record>
[[gnu::always_inline]] inline void Put(const Layout<Size, Fields...>& layout, const Record& record,
                                       uint8_t* at) {
  std::memset(at, 0, Size);
  std::apply(
      [&](const auto&... field) __attribute__((always_inline)) {
        (Put(field.form, record.*field.member, at + field.offset), ...);
      },
      layout.fields);
}
template <class Record, size_t Size, class... Fields>
requires std::is_class_v<Record>
[[gnu::always_inline]] inline void Get(const Layout<Size, Fields...>& layout, const uint8_t* at,
                                       Record& record) {
  std::apply(
      [&](const auto&... field) __attribute__((always_inline)) {
        (Get(field.form, at + field.offset, record.*field.member), ...);
      },
      layout.fields);
}

// Writes `record` in its layout: layout.size bytes at `out`.
template <class Record, size_t Size, class... Fields>
[[gnu::always_inline]] inline void Encode(const Layout<Size, Fields...>& layout,
                                          const Record& record, uint8_t* out) {
  Put(layout, record, out);
}

// Reads the members that the layout names from the `length` bytes at `value`; bytes beyond the
// layout are left alone. False, and nothing read or written, when the value is too short for it.
template <class Record, size_t Size, class... Fields>
[[gnu::always_inline]] inline bool Decode(const Layout<Size, Fields...>& layout,
                                          const uint8_t* value, size_t length, Record& record) {
  if (length < Size) return false;
  Get(layout, value, record);
  return true;
}

}  // namespace hqos
