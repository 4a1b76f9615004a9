/// @file
/// @brief CRC-16/CCITT-FALSE and the profile 5 CRC over a payload and its data id.
#ifndef ZOL_E2E_CRC_H
#define ZOL_E2E_CRC_H

#include <cstddef>
#include <cstdint>

namespace zol {
namespace e2e {

/// @brief CRC-16/CCITT-FALSE: polynomial 0x1021, no reflection, no final xor.
///
/// Chainable: passing the result of one call as @p start of the next over the following bytes gives the CRC of
/// the concatenation (there is no final xor to undo). The check value of "123456789" is 0x29B1.
/// @param data bytes to run over; may be null when @p length is 0
/// @param length number of bytes
/// @param start register value to start from, 0xFFFF for a fresh CRC
std::uint16_t Crc16CcittFalse(const std::uint8_t* data, std::size_t length, std::uint16_t start = 0xFFFF);

/// @brief The profile 5 CRC of a payload.
///
/// Runs over the bytes before the E2E header, then the bytes after the header's two CRC bytes (the counter
/// included), then the low byte and the high byte of @p data_id. The data id is never sent; it only enters the
/// CRC, so a frame of another group with an identical layout fails the check.
/// @param data_id the group's data id
/// @param data the payload
/// @param length payload length in bytes; must be at least @p offset_bytes + 2
/// @param offset_bytes position of the E2E header (CRC low byte) in the payload
std::uint16_t ComputeProfile5Crc(std::uint16_t data_id, const std::uint8_t* data, std::size_t length,
                                 std::size_t offset_bytes);

/// @brief Protects a payload with profile 5, as a sender does: writes @p counter at @p offset_bytes + 2, then the
/// CRC little-endian at @p offset_bytes.
///
/// For producers of protected payloads (tests, simulators). Does nothing when @p data is null or the header does
/// not fit (@p offset_bytes + 3 > @p length).
/// @param data_id the group's data id
/// @param counter the sequence counter of this frame
/// @param data the payload, modified in place
/// @param length payload length in bytes
/// @param offset_bytes position of the E2E header in the payload
void ProtectProfile5(std::uint16_t data_id, std::uint8_t counter, std::uint8_t* data, std::size_t length,
                     std::size_t offset_bytes = 0);

}  // namespace e2e
}  // namespace zol

#endif  // ZOL_E2E_CRC_H
