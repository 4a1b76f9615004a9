// Numbers of the binary log format that its reader and its writer share: object types, header sizes and flag bits,
// from the format description.
#ifndef FSRL_SRC_BLF_FORMAT_H
#define FSRL_SRC_BLF_FORMAT_H

#include <cstddef>
#include <cstdint>

namespace fsrl {
namespace detail {
namespace blf {

// Object types.
constexpr std::uint32_t kCanMessage = 1;
constexpr std::uint32_t kCanError = 2;
constexpr std::uint32_t kLogContainer = 10;
constexpr std::uint32_t kCanErrorExt = 73;
constexpr std::uint32_t kCanMessage2 = 86;
constexpr std::uint32_t kCanFdMessage = 100;
constexpr std::uint32_t kCanFdMessage64 = 101;
constexpr std::uint32_t kCanFdError64 = 104;

constexpr std::size_t kBaseHeaderSize = 16;
constexpr std::size_t kTimedHeaderSize = 32;  // base header plus flags, version and time stamp (version 1 and 2)
constexpr std::size_t kContainerHeaderSize = 16;
// Compression method of a log container's data.
constexpr std::uint32_t kZlibCompression = 2;

// Bit 31 of a frame object's identifier marks an extended (29-bit) identifier.
constexpr std::uint32_t kExtendedFlag = 0x80000000U;
// Flags byte of the classic CAN message objects.
constexpr std::uint8_t kCanFlagTx = 0x01;
constexpr std::uint8_t kCanFlagRemote = 0x80;
// Flags word of the 64-byte CAN FD message object.
constexpr std::uint32_t kFd64Remote = 0x10;
constexpr std::uint32_t kFd64Edl = 0x1000;
constexpr std::uint32_t kFd64Brs = 0x2000;
constexpr std::uint32_t kFd64Esi = 0x4000;

}  // namespace blf
}  // namespace detail
}  // namespace fsrl

#endif  // FSRL_SRC_BLF_FORMAT_H
