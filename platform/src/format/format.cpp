#include "zol/format/format.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "zol/nodiscard.h"

namespace zol {
namespace format {
namespace detail {
namespace {

// Appends to the caller's buffer, silently dropping what does not fit and
// always leaving one byte for the terminating NUL.
class Writer {
 public:
  Writer(char* buffer, std::size_t capacity) noexcept : buffer_(buffer), limit_(capacity - 1) {}

  void Append(const char* text, std::size_t n) noexcept {
    const std::size_t room = limit_ - size_;
    const std::size_t count = n < room ? n : room;
    if (count > 0) {
      std::memcpy(buffer_ + size_, text, count);
      size_ += count;
    }
  }
  void Append(char c) noexcept { Append(&c, 1); }
  ZOL_NODISCARD bool Full() const noexcept { return size_ == limit_; }

  std::size_t Finish() noexcept {
    buffer_[size_] = '\0';
    return size_;
  }

 private:
  char* buffer_;
  std::size_t limit_;
  std::size_t size_{0};
};

void AppendUnsigned(Writer& out, unsigned long long value) noexcept {
  char digits[24];
  std::size_t n = 0;
  do {
    digits[sizeof(digits) - 1 - n] = static_cast<char>('0' + value % 10U);
    value /= 10U;
    ++n;
  } while (value != 0U);
  out.Append(&digits[sizeof(digits) - n], n);
}

void AppendSigned(Writer& out, long long value) noexcept {
  if (value < 0) {
    out.Append('-');
    // Negate in unsigned arithmetic: -LLONG_MIN does not fit a long long.
    AppendUnsigned(out, 0ULL - static_cast<unsigned long long>(value));
  } else {
    AppendUnsigned(out, static_cast<unsigned long long>(value));
  }
}

// Shortest "%g" text that reads back to the same value. A decimal with at most
// `digits10` significant digits always survives the trip through the type, so
// that precision is tried first and only values that need more get one more
// digit at a time, up to `max_digits10`, which always reads back exactly.
// strtod/strtof and snprintf share the C locale's decimal point, so the check
// is consistent even under another locale.
template <typename T>
std::size_t ShortestRoundTrip(char* text, std::size_t capacity, T value, int digits10, int max_digits10,
                              T (*parse)(const char*, char**)) noexcept {
  int length = 0;
  for (int precision = digits10; precision <= max_digits10; ++precision) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): snprintf is the standard's only %g formatter in C++14
    length = std::snprintf(text, capacity, "%.*g", precision, static_cast<double>(value));
    if (std::isnan(value) || parse(text, nullptr) == value) {
      break;  // NaN never compares equal; its text is as short as it gets anyway.
    }
  }
  if (length <= 0) {
    return 0U;
  }
  // Cannot happen with the buffer AppendArg provides; never read past what snprintf wrote, though.
  return static_cast<std::size_t>(length) < capacity ? static_cast<std::size_t>(length) : capacity - 1;
}

float ParseFloat(const char* text, char** end) { return std::strtof(text, end); }
double ParseDouble(const char* text, char** end) { return std::strtod(text, end); }

void AppendArg(Writer& out, const FormatArg& arg) noexcept {
  // Longest double text: sign, 17 digits, point, "e-308" -> 24 characters.
  char buffer[40];
  char* const text = &buffer[0];
  switch (arg.kind) {
    case FormatArg::Kind::kBool:
      if (arg.b) {
        out.Append("true", 4);
      } else {
        out.Append("false", 5);
      }
      break;
    case FormatArg::Kind::kChar:
      out.Append(arg.c);
      break;
    case FormatArg::Kind::kSigned:
      AppendSigned(out, arg.i);
      break;
    case FormatArg::Kind::kUnsigned:
      AppendUnsigned(out, arg.u);
      break;
    case FormatArg::Kind::kFloat:
      out.Append(text, ShortestRoundTrip<float>(text, sizeof(buffer), arg.f, 6, 9, &ParseFloat));
      break;
    case FormatArg::Kind::kDouble:
      out.Append(text, ShortestRoundTrip<double>(text, sizeof(buffer), arg.d, 15, 17, &ParseDouble));
      break;
    case FormatArg::Kind::kString:
      out.Append(arg.s.data, arg.s.size);
      break;
    case FormatArg::Kind::kNullString:
      out.Append("(null)", 6);
      break;
  }
}

}  // namespace

std::size_t FormatArgsTo(char* buffer, std::size_t capacity, zol::string_view fmt, const FormatArg* args,
                         std::size_t count) noexcept {
  if (buffer == nullptr || capacity == 0) {
    return 0;
  }
  Writer out(buffer, capacity);
  std::size_t next_arg = 0;
  std::size_t i = 0;
  const std::size_t n = fmt.size();
  while (i < n && !out.Full()) {
    const char c = fmt[i];
    const bool has_next = i + 1 < n;
    if (c == '{' && has_next && fmt[i + 1] == '{') {
      out.Append('{');
      i += 2;
    } else if (c == '}' && has_next && fmt[i + 1] == '}') {
      out.Append('}');
      i += 2;
    } else if (c == '{' && has_next && fmt[i + 1] == '}') {
      if (next_arg < count) {
        AppendArg(out, args[next_arg]);
        ++next_arg;
      } else {
        out.Append("{}", 2);
      }
      i += 2;
    } else {
      // Literal text, including a lone brace, up to the next brace.
      std::size_t end = i + 1;
      while (end < n && fmt[end] != '{' && fmt[end] != '}') {
        ++end;
      }
      out.Append(fmt.data() + i, end - i);
      i = end;
    }
  }
  return out.Finish();
}

}  // namespace detail
}  // namespace format
}  // namespace zol
