/// @file
/// @brief Big-endian (network order) reading and writing of scalar values, as SOME/IP puts them on the wire.
#ifndef ZOL_SOMEIP_SERIALIZATION_STREAM_H
#define ZOL_SOMEIP_SERIALIZATION_STREAM_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "zol/memory/span.h"
#include "zol/nodiscard.h"

namespace zol {
namespace someip_serialization {

/// Outcome of a stream operation. Once an operation failed, the stream keeps that status.
enum class Status : std::uint8_t { kOk = 0, kNotEnoughSpace = 1, kNotEnoughData = 2 };

namespace detail {

// The unsigned integer a value travels as on the wire, and the conversions to and from it.
// bool is one byte 0/1, integers are their two's complement bits, float/double their IEEE-754 bits,
// enumerations travel as their underlying type.
template <typename T, typename Enable = void>
struct WireFormat {
  static_assert(sizeof(T) == 0,
                "serializable types are bool, integers, float, double and enumerations of those integers");
};

template <std::size_t Size>
struct UnsignedOfSize;
template <>
struct UnsignedOfSize<1> {
  using type = std::uint8_t;
};
template <>
struct UnsignedOfSize<2> {
  using type = std::uint16_t;
};
template <>
struct UnsignedOfSize<4> {
  using type = std::uint32_t;
};
template <>
struct UnsignedOfSize<8> {
  using type = std::uint64_t;
};

template <>
struct WireFormat<bool> {
  using Bits = std::uint8_t;
  static Bits ToBits(bool v) noexcept { return v ? 1U : 0U; }
  // Anything but zero reads as true, so a peer's sloppy encoding is not misread as false.
  static bool FromBits(Bits b) noexcept { return b != 0U; }
};

template <typename T>
struct WireFormat<T, typename std::enable_if<std::is_integral<T>::value && !std::is_same<T, bool>::value>::type> {
  using Bits = typename UnsignedOfSize<sizeof(T)>::type;
  static Bits ToBits(T v) noexcept { return static_cast<Bits>(v); }
  static T FromBits(Bits b) noexcept {
    // memcpy rather than a narrowing cast: the bits are the two's complement representation.
    T v;
    std::memcpy(&v, &b, sizeof(T));
    return v;
  }
};

template <typename T>
struct WireFormat<T, typename std::enable_if<std::is_floating_point<T>::value>::type> {
  static_assert(sizeof(T) == 4 || sizeof(T) == 8, "only 32- and 64-bit IEEE-754 floating point is serializable");
  using Bits = typename UnsignedOfSize<sizeof(T)>::type;
  static Bits ToBits(T v) noexcept {
    Bits b;
    std::memcpy(&b, &v, sizeof(T));
    return b;
  }
  static T FromBits(Bits b) noexcept {
    T v;
    std::memcpy(&v, &b, sizeof(T));
    return v;
  }
};

template <typename T>
struct WireFormat<T, typename std::enable_if<std::is_enum<T>::value>::type> {
  using Underlying = typename std::underlying_type<T>::type;
  using Bits = typename WireFormat<Underlying>::Bits;
  static Bits ToBits(T v) noexcept { return WireFormat<Underlying>::ToBits(static_cast<Underlying>(v)); }
  static T FromBits(Bits b) noexcept { return static_cast<T>(WireFormat<Underlying>::FromBits(b)); }
};

}  // namespace detail

/// Writes values big-endian into a caller-provided buffer.
class OutputStream {
 public:
  /// Writes into @p buffer from its start; the buffer must outlive the stream.
  explicit OutputStream(zol::memory::span<std::uint8_t> buffer) noexcept : buffer_(buffer) {}

  /// Appends @p value big-endian.
  /// @return kOk; kNotEnoughSpace when it does not fit, in which case nothing is written and the
  ///         stream stays failed; an already failed stream returns its failure and writes nothing.
  template <typename T>
  Status Write(T value) noexcept {
    using Format = detail::WireFormat<T>;
    using Bits = typename Format::Bits;
    if (status_ != Status::kOk) {
      return status_;
    }
    if (buffer_.size() - size_ < sizeof(Bits)) {
      status_ = Status::kNotEnoughSpace;
      return status_;
    }
    const Bits bits = Format::ToBits(value);
    for (std::size_t i = 0; i < sizeof(Bits); ++i) {
      buffer_[size_ + i] = static_cast<std::uint8_t>(bits >> (8U * (sizeof(Bits) - 1U - i)));
    }
    size_ += sizeof(Bits);
    return Status::kOk;
  }

  /// Bytes written so far.
  ZOL_NODISCARD std::size_t size() const noexcept { return size_; }
  /// The bytes written so far.
  ZOL_NODISCARD zol::memory::span<const std::uint8_t> written() const noexcept { return buffer_.first(size_); }
  /// kOk, or the failure that stopped the stream.
  ZOL_NODISCARD Status status() const noexcept { return status_; }
  /// True while no write failed.
  ZOL_NODISCARD bool ok() const noexcept { return status_ == Status::kOk; }

 private:
  zol::memory::span<std::uint8_t> buffer_;
  std::size_t size_{0};
  Status status_{Status::kOk};
};

/// Reads big-endian values from a caller-provided buffer.
class InputStream {
 public:
  /// Reads from the start of @p buffer; the buffer must outlive the stream.
  explicit InputStream(zol::memory::span<const std::uint8_t> buffer) noexcept : buffer_(buffer) {}

  /// Reads the next value into @p value.
  /// @return kOk; kNotEnoughData when too few bytes remain, in which case @p value and the position
  ///         are unchanged and the stream stays failed; an already failed stream returns its failure.
  template <typename T>
  Status Read(T& value) noexcept {
    using Format = detail::WireFormat<T>;
    using Bits = typename Format::Bits;
    if (status_ != Status::kOk) {
      return status_;
    }
    if (remaining() < sizeof(Bits)) {
      status_ = Status::kNotEnoughData;
      return status_;
    }
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < sizeof(Bits); ++i) {
      bits = (bits << 8U) | buffer_[position_ + i];
    }
    position_ += sizeof(Bits);
    value = Format::FromBits(static_cast<Bits>(bits));
    return Status::kOk;
  }

  /// Bytes not yet read.
  ZOL_NODISCARD std::size_t remaining() const noexcept { return buffer_.size() - position_; }
  /// Bytes read so far.
  ZOL_NODISCARD std::size_t position() const noexcept { return position_; }
  /// kOk, or the failure that stopped the stream.
  ZOL_NODISCARD Status status() const noexcept { return status_; }
  /// True while no read failed.
  ZOL_NODISCARD bool ok() const noexcept { return status_ == Status::kOk; }

 private:
  zol::memory::span<const std::uint8_t> buffer_;
  std::size_t position_{0};
  Status status_{Status::kOk};
};

}  // namespace someip_serialization
}  // namespace zol

#endif  // ZOL_SOMEIP_SERIALIZATION_STREAM_H
