/// @file
/// @brief "{}" formatting into a caller-provided character buffer, without allocation.
#ifndef ZOL_FORMAT_FORMAT_H
#define ZOL_FORMAT_FORMAT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#if __cplusplus >= 201703L
#include <string_view>
#endif

#include "zol/string_view.h"

namespace zol {
namespace format {
namespace detail {

/// Characters of a string argument (not NUL-terminated).
struct StringRef {
  const char* data;
  std::size_t size;
};

/// One argument, reduced to what the formatter prints.
struct FormatArg {
  enum class Kind : std::uint8_t { kBool, kChar, kSigned, kUnsigned, kFloat, kDouble, kString, kNullString };
  Kind kind;
  union {
    bool b;
    char c;
    long long i;
    unsigned long long u;
    float f;
    double d;
    StringRef s;
  };
};

/// Formats @p fmt with @p count reduced arguments; the engine behind FormatTo.
std::size_t FormatArgsTo(char* buffer, std::size_t capacity, zol::string_view fmt, const FormatArg* args,
                         std::size_t count) noexcept;

inline FormatArg MakeBool(bool v) noexcept {
  FormatArg a{};
  a.kind = FormatArg::Kind::kBool;
  a.b = v;
  return a;
}
inline FormatArg MakeSigned(long long v) noexcept {
  FormatArg a{};
  a.kind = FormatArg::Kind::kSigned;
  a.i = v;
  return a;
}
inline FormatArg MakeUnsigned(unsigned long long v) noexcept {
  FormatArg a{};
  a.kind = FormatArg::Kind::kUnsigned;
  a.u = v;
  return a;
}
inline FormatArg MakeString(const char* data, std::size_t size) noexcept {
  FormatArg a{};
  a.kind = FormatArg::Kind::kString;
  a.s.data = data;
  a.s.size = size;
  return a;
}

// Integers (including enumerations, which arrive here as their underlying type) print in decimal.
// std::int8_t and std::uint8_t are signed/unsigned char and print as numbers too.
template <typename T>
FormatArg MakeInteger(T v, std::true_type /*signed*/) noexcept {
  return MakeSigned(static_cast<long long>(v));
}
template <typename T>
FormatArg MakeInteger(T v, std::false_type /*signed*/) noexcept {
  return MakeUnsigned(static_cast<unsigned long long>(v));
}

template <typename T>
FormatArg MakeNumber(const T& v, std::true_type /*enum*/) noexcept {
  using U = typename std::underlying_type<T>::type;
  return MakeInteger(static_cast<U>(v), std::is_signed<U>());
}
template <typename T>
FormatArg MakeNumber(const T& v, std::false_type /*enum*/) noexcept {
  static_assert(std::is_integral<T>::value,
                "FormatTo supports integers, bool, float, double, enumerations, char, const char*, "
                "zol::string_view and std::string");
  return MakeInteger(v, std::is_signed<T>());
}

// Everything not handled by an overload below: integers and enumerations.
template <typename T>
FormatArg MakeArg(const T& v) noexcept {
  return MakeNumber(v, std::is_enum<T>());
}

inline FormatArg MakeArg(bool v) noexcept { return MakeBool(v); }

/// Plain char is a character, not a number (unlike std::int8_t and std::uint8_t).
inline FormatArg MakeArg(char v) noexcept {
  FormatArg a{};
  a.kind = FormatArg::Kind::kChar;
  a.c = v;
  return a;
}

inline FormatArg MakeArg(float v) noexcept {
  FormatArg a{};
  a.kind = FormatArg::Kind::kFloat;
  a.f = v;
  return a;
}

inline FormatArg MakeArg(double v) noexcept {
  FormatArg a{};
  a.kind = FormatArg::Kind::kDouble;
  a.d = v;
  return a;
}

inline FormatArg MakeArg(const char* v) noexcept {
  if (v == nullptr) {
    FormatArg a{};
    a.kind = FormatArg::Kind::kNullString;
    return a;
  }
  return MakeString(v, std::char_traits<char>::length(v));
}

inline FormatArg MakeArg(char* v) noexcept { return MakeArg(static_cast<const char*>(v)); }

inline FormatArg MakeArg(zol::string_view v) noexcept { return MakeString(v.data(), v.size()); }

template <typename Traits, typename Alloc>
FormatArg MakeArg(const std::basic_string<char, Traits, Alloc>& v) noexcept {
  return MakeString(v.data(), v.size());
}

#if __cplusplus >= 201703L
// Tools and tests built as C++17 may pass the standard view directly.
inline FormatArg MakeArg(std::string_view v) noexcept { return MakeString(v.data(), v.size()); }
#endif

}  // namespace detail

/// Formats @p fmt into @p buffer, replacing each "{}" by the next argument.
///
/// "{{" and "}}" print a single brace; a "{}" left without an argument prints
/// as "{}", and surplus arguments are ignored. At most @p capacity - 1
/// characters are written and the text is always NUL-terminated when
/// @p capacity > 0; longer output is cut off.
///
/// Arguments: integers in decimal (std::int8_t/std::uint8_t as numbers), bool as
/// "true"/"false", char as the character, enumerations as their underlying
/// integer, float and double in the shortest printf "%g" form that reads back
/// to the same value (0.1 -> "0.1", 1e300 -> "1e+300", -0.0 -> "-0",
/// infinities "inf"/"-inf", NaN "nan"), const char* (null prints "(null)"),
/// zol::string_view, std::string (any allocator) and, in C++17 code, std::string_view.
/// A character array is read as a NUL-terminated string. Nothing is allocated.
///
/// @return Number of characters written, without the NUL.
template <typename... Args>
std::size_t FormatTo(char* buffer, std::size_t capacity, zol::string_view fmt, const Args&... args) noexcept {
  // One extra slot so that an empty pack still makes a valid array.
  const detail::FormatArg reduced[sizeof...(Args) + 1] = {detail::MakeArg(args)..., detail::MakeBool(false)};
  return detail::FormatArgsTo(buffer, capacity, fmt, reduced, sizeof...(Args));
}

}  // namespace format
}  // namespace zol

#endif  // ZOL_FORMAT_FORMAT_H
