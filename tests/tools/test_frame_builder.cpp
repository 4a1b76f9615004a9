#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "fsrl/candump_reader.h"
#include "fsrl/frame_builder.h"
#include "fsrl/frame_map.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "zol/e2e/crc.h"
#include "zol/e2e/e2e_protection.h"
#include "zol/e2e/signal_codec.h"
#include "zol/e2e/signal_group_context.h"

namespace {

std::uint64_t ReadField(std::size_t group, std::size_t slot, const std::vector<std::uint8_t>& payload) {
  const SignalAdapter_Signal* signal = fsrl::GroupSignal(group, slot);
  return zol::e2e::ReadRawBits(payload.data(), payload.size(),
                               static_cast<std::uint32_t>(signal->value_relative_bit_offset), signal->value_bit_length);
}

std::size_t Slot(std::size_t group, const char* name) {
  const int slot = fsrl::FindSignalSlot(group, name);
  EXPECT_GE(slot, 0) << name;
  return static_cast<std::size_t>(slot);
}

TEST(FrameBuilder, FindsSignalsBySignalNameAndByFieldName) {
  EXPECT_EQ(fsrl::FindSignalSlot(0, "RSDS4Detn000To004Range2"), 0);
  EXPECT_EQ(fsrl::FindSignalSlot(0, "rsds4detn000to004range2"), 0);
  EXPECT_EQ(fsrl::FindSignalSlot(0, "RSDS4Detn000To004CRC"), 29);
  EXPECT_EQ(fsrl::FindSignalSlot(50, "rsds4sig_sts1time_stamp2"), 12);
  EXPECT_EQ(fsrl::FindSignalSlot(0, "RSDS4Detn005To009Range2"), -1);
  EXPECT_EQ(fsrl::FindSignalSlot(52, "RSDS4Detn000To004Range2"), -1);
  EXPECT_EQ(fsrl::GroupSignalCount(0), 48U);
  EXPECT_EQ(fsrl::GroupSignalCount(51), 19U);
  EXPECT_EQ(fsrl::GroupSignal(0, 48), nullptr);
}

TEST(FrameBuilder, PlacesEveryRawValueWhereTheDatabaseSaysAndProtectsThePayload) {
  const std::size_t group = 0;
  fsrl::GroupPayloadBuilder builder(group);
  ASSERT_TRUE(builder.SetRaw("RSDS4Detn000To004Range2", 12345));
  ASSERT_TRUE(builder.SetRaw("rsds4detn000to004quality3", 2));
  ASSERT_TRUE(builder.SetRaw("RSDS4Detn000To004ScanID", 77));
  const std::vector<std::uint8_t> payload = builder.Build(9);

  const SignalAdapter_SignalGroup& record = initialfrontsideradarlefthal_signal_groups[group];
  ASSERT_EQ(payload.size(), 48U);
  EXPECT_EQ(ReadField(group, Slot(group, "RSDS4Detn000To004Range2"), payload), 12345U);
  EXPECT_EQ(ReadField(group, Slot(group, "RSDS4Detn000To004Quality3"), payload), 2U);
  EXPECT_EQ(ReadField(group, Slot(group, "RSDS4Detn000To004ScanID"), payload), 77U);
  EXPECT_EQ(ReadField(group, Slot(group, "RSDS4Detn000To004Counter"), payload), 9U);
  EXPECT_EQ(payload[2], 9U);
  const std::uint16_t crc = zol::e2e::ComputeProfile5Crc(record.data_id, payload.data(), payload.size(), 0);
  EXPECT_EQ(payload[0], crc & 0xFFU);
  EXPECT_EQ(payload[1], crc >> 8);
}

TEST(FrameBuilder, BuildsPayloadsThatTheProfile5CheckAcceptsForEveryGroup) {
  for (std::size_t group = 0; group < fsrl::kGroupCount; ++group) {
    const zol::e2e::SignalGroupContext context =
        zol::e2e::InitializeSignalGroup(static_cast<unsigned>(group), initialfrontsideradarlefthal_signal_groups,
                                        initialfrontsideradarlefthal_signals, nullptr);
    const zol::e2e::E2eProtectionProfile5Ptr protection = zol::e2e::E2eProtectionProfile5::Create(context);
    ASSERT_TRUE(protection) << group;
    const std::vector<std::uint8_t> first = fsrl::EncodeGroupPayload(group, {}, 0);
    const std::vector<std::uint8_t> second = fsrl::EncodeGroupPayload(group, {}, 1);
    ASSERT_EQ(first.size(), fsrl::GroupPayloadLength(group));
    EXPECT_EQ(protection->Check(true, first.data(), first.size()), zol::e2e::E2E_P05STATUS_OK) << group;
    EXPECT_EQ(protection->Check(true, second.data(), second.size()), zol::e2e::E2E_P05STATUS_OK) << group;
  }
}

TEST(FrameBuilder, RejectsValuesWiderThanTheFieldAndUnknownNames) {
  fsrl::GroupPayloadBuilder builder(0);
  const std::size_t quality = Slot(0, "RSDS4Detn000To004Quality3");
  const std::uint16_t width = fsrl::GroupSignal(0, quality)->value_bit_length;
  EXPECT_TRUE(builder.SetRaw(quality, (std::uint64_t{1} << width) - 1U));
  EXPECT_FALSE(builder.SetRaw(quality, std::uint64_t{1} << width));
  EXPECT_EQ(builder.raw(quality), (std::uint64_t{1} << width) - 1U);
  EXPECT_FALSE(builder.SetRaw("NoSuchSignal", 1));
  EXPECT_FALSE(builder.SetRaw(48, 1));
  EXPECT_TRUE(fsrl::EncodeGroupPayloadByName(0, {{"NoSuchSignal", 1}}, 0).empty());
  EXPECT_TRUE(fsrl::EncodeGroupPayload(0, std::vector<std::uint64_t>(quality + 1, std::uint64_t{1} << 62), 0).empty());
  EXPECT_TRUE(fsrl::EncodeGroupPayload(52, {}, 0).empty());
}

TEST(FrameBuilder, ByNameAndBySlotGiveTheSamePayload) {
  std::vector<std::uint64_t> by_slot(fsrl::GroupSignalCount(51), 0U);
  by_slot[Slot(51, "rsds4sig_sts2scan_id")] = 42;
  EXPECT_EQ(fsrl::EncodeGroupPayload(51, by_slot, 3),
            fsrl::EncodeGroupPayloadByName(51, {{"RSDS4SigSts2ScanID", 42}}, 3));
}

TEST(FrameBuilder, PhysicalValuesAreScaledToTheRawFieldThatDecodesBackToThem) {
  const std::size_t group = 0;
  const std::size_t range = Slot(group, "RSDS4Detn000To004Range2");
  const SignalAdapter_Signal* signal = fsrl::GroupSignal(group, range);
  const double factor = signal->value_factor_offset.scale_factor.double_float;
  fsrl::GroupPayloadBuilder builder(group);
  ASSERT_TRUE(builder.SetPhysical("RSDS4Detn000To004Range2", 123.45));
  const std::vector<std::uint8_t> payload = builder.Build(0);
  const SignalAdapter_SignalValue decoded = zol::e2e::DecodeSignal(initialfrontsideradarlefthal_signal_groups[group],
                                                                   *signal, payload.data(), payload.size());
  EXPECT_NEAR(decoded.double_float, 123.45, factor / 2);
}

TEST(CanFdLength, RoundsUpToTheNextValidLength) {
  EXPECT_EQ(fsrl::CanFdLength(0), 0U);
  EXPECT_EQ(fsrl::CanFdLength(8), 8U);
  EXPECT_EQ(fsrl::CanFdLength(9), 12U);
  EXPECT_EQ(fsrl::CanFdLength(21), 24U);
  EXPECT_EQ(fsrl::CanFdLength(48), 48U);
  EXPECT_EQ(fsrl::CanFdLength(50), 64U);
  EXPECT_EQ(fsrl::CanFdLength(61), 64U);
  EXPECT_EQ(fsrl::CanFdLength(100), 64U);
}

TEST(CandumpLineWriter, WritesLinesThatTheReaderParsesBack) {
  const std::vector<std::uint8_t> payload = fsrl::EncodeGroupPayload(50, {}, 5);
  const std::string fd_line = fsrl::FormatCandumpLine(1700000000123456789, "can1", fsrl::CanId{0x18FF0010, true},
                                                      payload.data(), payload.size(), true, 1);
  ASSERT_EQ(fd_line.back(), '\n');
  fsrl::CanFrame frame;
  const char* reason = nullptr;
  ASSERT_EQ(fsrl::ParseCandumpLine(fd_line.data(), fd_line.data() + fd_line.size() - 1, frame, &reason),
            fsrl::LineKind::kFrame)
      << reason;
  EXPECT_EQ(frame.timestamp_ns, 1700000000123456789);
  EXPECT_EQ(frame.iface, "can1");
  EXPECT_TRUE(frame.extended);
  EXPECT_EQ(frame.id, 0x18FF0010U);
  EXPECT_TRUE(frame.fd);
  EXPECT_EQ(frame.fd_flags, 1U);
  EXPECT_EQ(std::vector<std::uint8_t>(frame.data, frame.data + frame.length), payload);

  const std::string classic =
      fsrl::FormatCandumpLine(1500000000, "can0", fsrl::CanId{0x401, false}, payload.data(), payload.size(), false);
  EXPECT_EQ(classic.rfind("(1.500000) can0 401#", 0), 0U);
  EXPECT_EQ(classic.size(), 20U + 16U + 1U) << "a classic frame carries the first 8 bytes only";
  ASSERT_EQ(fsrl::ParseCandumpLine(classic.data(), classic.data() + classic.size() - 1, frame, &reason),
            fsrl::LineKind::kFrame)
      << reason;
  EXPECT_FALSE(frame.fd);
  EXPECT_EQ(frame.length, 8U);
  EXPECT_EQ(std::vector<std::uint8_t>(frame.data, frame.data + 8),
            std::vector<std::uint8_t>(payload.begin(), payload.begin() + 8));
}

}  // namespace
