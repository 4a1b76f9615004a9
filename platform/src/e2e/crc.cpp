#include "zol/e2e/crc.h"

namespace zol {
namespace e2e {
namespace {

constexpr std::uint16_t kPolynomial = 0x1021U;

struct CrcTable {
  std::uint16_t entries[256];
};

// The table is computed by the compiler, so it lives in read-only data and costs nothing at start-up.
constexpr CrcTable MakeCrcTable() {
  CrcTable table{};
  for (unsigned int byte = 0U; byte < 256U; ++byte) {
    auto crc = static_cast<std::uint16_t>(byte << 8U);
    for (int bit = 0; bit < 8; ++bit) {
      crc = ((crc & 0x8000U) != 0U) ? static_cast<std::uint16_t>((crc << 1U) ^ kPolynomial)
                                    : static_cast<std::uint16_t>(crc << 1U);
    }
    table.entries[byte] = crc;
  }
  return table;
}

constexpr CrcTable kCrcTable = MakeCrcTable();
static_assert(kCrcTable.entries[1] == kPolynomial, "CRC table must start from the polynomial");

std::uint16_t CrcByte(std::uint16_t crc, std::uint8_t byte) {
  return static_cast<std::uint16_t>((crc << 8U) ^ kCrcTable.entries[((crc >> 8U) ^ byte) & 0xFFU]);
}

}  // namespace

std::uint16_t Crc16CcittFalse(const std::uint8_t* data, std::size_t length, std::uint16_t start) {
  std::uint16_t crc = start;
  if (data == nullptr) {
    return crc;
  }
  for (std::size_t i = 0U; i < length; ++i) {
    crc = CrcByte(crc, data[i]);
  }
  return crc;
}

std::uint16_t ComputeProfile5Crc(std::uint16_t data_id, const std::uint8_t* data, std::size_t length,
                                 std::size_t offset_bytes) {
  std::uint16_t crc = 0xFFFFU;
  if (data != nullptr && offset_bytes + 2U <= length) {
    crc = Crc16CcittFalse(data, offset_bytes, crc);
    crc = Crc16CcittFalse(data + offset_bytes + 2U, length - offset_bytes - 2U, crc);
  }
  crc = CrcByte(crc, static_cast<std::uint8_t>(data_id & 0xFFU));
  crc = CrcByte(crc, static_cast<std::uint8_t>(data_id >> 8U));
  return crc;
}

void ProtectProfile5(std::uint16_t data_id, std::uint8_t counter, std::uint8_t* data, std::size_t length,
                     std::size_t offset_bytes) {
  if (data == nullptr || offset_bytes + 3U > length) {
    return;
  }
  // The counter is covered by the CRC, so it goes in first.
  data[offset_bytes + 2U] = counter;
  const std::uint16_t crc = ComputeProfile5Crc(data_id, data, length, offset_bytes);
  data[offset_bytes] = static_cast<std::uint8_t>(crc & 0xFFU);
  data[offset_bytes + 1U] = static_cast<std::uint8_t>(crc >> 8U);
}

}  // namespace e2e
}  // namespace zol
