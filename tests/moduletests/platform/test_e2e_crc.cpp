#include "zol/e2e/crc.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

using zol::e2e::ComputeProfile5Crc;
using zol::e2e::Crc16CcittFalse;
using zol::e2e::ProtectProfile5;

// Bit by bit, straight from the polynomial: an independent reference for the table-driven implementation.
std::uint16_t BitwiseCrc(const std::uint8_t* data, std::size_t length, std::uint16_t crc = 0xFFFF) {
  for (std::size_t i = 0; i < length; ++i) {
    crc = static_cast<std::uint16_t>(crc ^ (data[i] << 8));
    for (int bit = 0; bit < 8; ++bit) {
      crc = (crc & 0x8000) ? static_cast<std::uint16_t>((crc << 1) ^ 0x1021) : static_cast<std::uint16_t>(crc << 1);
    }
  }
  return crc;
}

TEST(E2eCrcTest, CheckStringGivesTheStandardCheckValue0x29B1) {
  const char* check = "123456789";
  EXPECT_EQ(Crc16CcittFalse(reinterpret_cast<const std::uint8_t*>(check), std::strlen(check)), 0x29B1);
}

TEST(E2eCrcTest, EmptyInputReturnsTheStartValue) {
  const std::uint8_t byte = 0xAB;
  EXPECT_EQ(Crc16CcittFalse(&byte, 0), 0xFFFF);
  EXPECT_EQ(Crc16CcittFalse(nullptr, 0, 0x1234), 0x1234);
}

TEST(E2eCrcTest, EveryByteValueMatchesTheBitwiseReference) {
  for (unsigned int value = 0; value < 256; ++value) {
    const auto byte = static_cast<std::uint8_t>(value);
    EXPECT_EQ(Crc16CcittFalse(&byte, 1), BitwiseCrc(&byte, 1)) << "byte " << value;
  }
}

TEST(E2eCrcTest, ChainedCallsGiveTheCrcOfTheConcatenation) {
  std::vector<std::uint8_t> data(61);
  for (std::size_t i = 0; i < data.size(); ++i) {
    data[i] = static_cast<std::uint8_t>(i * 37 + 11);
  }
  const std::uint16_t first = Crc16CcittFalse(data.data(), 20);
  EXPECT_EQ(Crc16CcittFalse(data.data() + 20, data.size() - 20, first), Crc16CcittFalse(data.data(), data.size()));
  EXPECT_EQ(Crc16CcittFalse(data.data(), data.size()), BitwiseCrc(data.data(), data.size()));
}

TEST(E2eCrcTest, ProtectingEightZeroBytesWithCounterZeroGivesTheKnownFrame) {
  std::array<std::uint8_t, 8> frame{};
  ProtectProfile5(0x1234, 0, frame.data(), frame.size());
  const std::array<std::uint8_t, 8> expected{0x1c, 0xca, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
  EXPECT_EQ(frame, expected);
}

TEST(E2eCrcTest, ProtectingEightZeroBytesWithCounterOneGivesTheKnownFrame) {
  std::array<std::uint8_t, 8> frame{};
  ProtectProfile5(0x1234, 1, frame.data(), frame.size());
  const std::array<std::uint8_t, 8> expected{0xcf, 0x8d, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00};
  EXPECT_EQ(frame, expected);
}

TEST(E2eCrcTest, Profile5CrcRunsOverBytesAroundTheCrcThenDataIdLowThenHigh) {
  const std::array<std::uint8_t, 10> frame{0x10, 0x20, 0xEE, 0xEE, 0x07, 0x30, 0x40, 0x50, 0x60, 0x70};
  // Header at byte 2: the CRC bytes 2 and 3 are left out.
  const std::array<std::uint8_t, 10> covered{0x10, 0x20, 0x07, 0x30, 0x40, 0x50, 0x60, 0x70, 0x78, 0x56};
  EXPECT_EQ(ComputeProfile5Crc(0x5678, frame.data(), frame.size(), 2), BitwiseCrc(covered.data(), covered.size()));
}

TEST(E2eCrcTest, Profile5CrcIgnoresTheCrcBytesThemselves) {
  std::array<std::uint8_t, 8> frame{0x00, 0x00, 0x05, 0x01, 0x02, 0x03, 0x04, 0x05};
  const std::uint16_t before = ComputeProfile5Crc(0x0A7D, frame.data(), frame.size(), 0);
  frame[0] = 0xFF;
  frame[1] = 0x77;
  EXPECT_EQ(ComputeProfile5Crc(0x0A7D, frame.data(), frame.size(), 0), before);
}

TEST(E2eCrcTest, Profile5CrcDiffersForAnotherDataId) {
  const std::array<std::uint8_t, 8> frame{};
  EXPECT_NE(ComputeProfile5Crc(0x0A7D, frame.data(), frame.size(), 0),
            ComputeProfile5Crc(0x0A7E, frame.data(), frame.size(), 0));
}

TEST(E2eCrcTest, ProtectWritesTheHeaderAtTheGivenOffsetAndKeepsTheRest) {
  std::array<std::uint8_t, 12> frame{0xA1, 0xA2, 0xA3, 0xA4, 0, 0, 0, 0xB8, 0xB9, 0xBA, 0xBB, 0xBC};
  ProtectProfile5(0x0945, 0x42, frame.data(), frame.size(), 4);
  EXPECT_EQ(frame[6], 0x42);
  const std::uint16_t crc = ComputeProfile5Crc(0x0945, frame.data(), frame.size(), 4);
  EXPECT_EQ(frame[4], crc & 0xFF);
  EXPECT_EQ(frame[5], crc >> 8);
  EXPECT_EQ(frame[0], 0xA1);
  EXPECT_EQ(frame[11], 0xBC);
}

TEST(E2eCrcTest, ProtectLeavesAFrameTooShortForTheHeaderUntouched) {
  std::array<std::uint8_t, 4> frame{1, 2, 3, 4};
  ProtectProfile5(0x1234, 9, frame.data(), frame.size(), 2);
  const std::array<std::uint8_t, 4> unchanged{1, 2, 3, 4};
  EXPECT_EQ(frame, unchanged);
  ProtectProfile5(0x1234, 9, nullptr, 8);  // must not crash
}

}  // namespace
