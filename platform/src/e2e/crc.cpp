#include "zol/e2e/crc.h"

namespace zol {
namespace e2e {
namespace {

constexpr std::uint16_t kPolynomial = 0x1021U;

// Slicing by eight: table k gives the CRC contribution of a byte followed by k zero bytes, so that eight bytes are
// folded in with eight independent look-ups instead of eight dependent byte steps. The CRC is linear, so the
// contributions combine with xor; the register's two bytes enter through the first two bytes of each block.
constexpr std::size_t kSlices = 8U;

struct CrcTables {
  std::uint16_t entries[kSlices][256];
};

// The tables are computed by the compiler, so they live in read-only data and cost nothing at start-up.
constexpr CrcTables MakeCrcTables() {
  CrcTables tables{};
  for (unsigned int byte = 0U; byte < 256U; ++byte) {
    auto crc = static_cast<std::uint16_t>(byte << 8U);
    for (int bit = 0; bit < 8; ++bit) {
      crc = ((crc & 0x8000U) != 0U) ? static_cast<std::uint16_t>((crc << 1U) ^ kPolynomial)
                                    : static_cast<std::uint16_t>(crc << 1U);
    }
    tables.entries[0][byte] = crc;
  }
  for (std::size_t slice = 1U; slice < kSlices; ++slice) {
    for (unsigned int byte = 0U; byte < 256U; ++byte) {
      // One more zero byte after the contribution of the previous table.
      const std::uint16_t previous = tables.entries[slice - 1U][byte];
      tables.entries[slice][byte] =
          static_cast<std::uint16_t>((previous << 8U) ^ tables.entries[0][(previous >> 8U) & 0xFFU]);
    }
  }
  return tables;
}

constexpr CrcTables kCrcTables = MakeCrcTables();
static_assert(kCrcTables.entries[0][1] == kPolynomial, "CRC table must start from the polynomial");

std::uint16_t CrcByte(std::uint16_t crc, std::uint8_t byte) {
  return static_cast<std::uint16_t>((crc << 8U) ^ kCrcTables.entries[0][((crc >> 8U) ^ byte) & 0xFFU]);
}

// The CRC register after `length` bytes at `data` (not null), starting from `crc`. Inlined into both entry points:
// the profile 5 check calls it per received payload, where a call per part showed in the profile.
inline std::uint16_t Fold(const std::uint8_t* data, std::size_t length, std::uint16_t crc) {
  std::size_t i = 0U;
  for (; i + kSlices <= length; i += kSlices) {
    const std::uint8_t* block = data + i;
    crc = static_cast<std::uint16_t>(
        kCrcTables.entries[7][((crc >> 8U) ^ block[0]) & 0xFFU] ^ kCrcTables.entries[6][(crc ^ block[1]) & 0xFFU] ^
        kCrcTables.entries[5][block[2]] ^ kCrcTables.entries[4][block[3]] ^ kCrcTables.entries[3][block[4]] ^
        kCrcTables.entries[2][block[5]] ^ kCrcTables.entries[1][block[6]] ^ kCrcTables.entries[0][block[7]]);
  }
  // The same folding for a shorter block, with the tables of its length: a 4- and a 2-byte block take the tail's
  // bytes two and four at a time.
  if (i + 4U <= length) {
    const std::uint8_t* block = data + i;
    crc = static_cast<std::uint16_t>(kCrcTables.entries[3][((crc >> 8U) ^ block[0]) & 0xFFU] ^
                                     kCrcTables.entries[2][(crc ^ block[1]) & 0xFFU] ^ kCrcTables.entries[1][block[2]] ^
                                     kCrcTables.entries[0][block[3]]);
    i += 4U;
  }
  if (i + 2U <= length) {
    crc = static_cast<std::uint16_t>(kCrcTables.entries[1][((crc >> 8U) ^ data[i]) & 0xFFU] ^
                                     kCrcTables.entries[0][(crc ^ data[i + 1U]) & 0xFFU]);
    i += 2U;
  }
  if (i < length) {
    crc = CrcByte(crc, data[i]);
  }
  return crc;
}

}  // namespace

std::uint16_t Crc16CcittFalse(const std::uint8_t* data, std::size_t length, std::uint16_t start) {
  if (data == nullptr) {
    return start;
  }
  return Fold(data, length, start);
}

std::uint16_t ComputeProfile5Crc(std::uint16_t data_id, const std::uint8_t* data, std::size_t length,
                                 std::size_t offset_bytes) {
  std::uint16_t crc = 0xFFFFU;
  if (data != nullptr && offset_bytes + 2U <= length) {
    // The header usually opens the payload: then there is nothing before it to fold.
    if (offset_bytes > 0U) {
      crc = Fold(data, offset_bytes, crc);
    }
    crc = Fold(data + offset_bytes + 2U, length - offset_bytes - 2U, crc);
  }
  // The data id's two bytes, low byte first, as one 2-byte block.
  return static_cast<std::uint16_t>(kCrcTables.entries[1][((crc >> 8U) ^ (data_id & 0xFFU)) & 0xFFU] ^
                                    kCrcTables.entries[0][(crc ^ (data_id >> 8U)) & 0xFFU]);
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
