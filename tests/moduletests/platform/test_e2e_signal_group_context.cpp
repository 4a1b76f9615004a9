#include "zol/e2e/signal_group_context.h"

#include <gtest/gtest.h>

#include <array>

namespace {

using zol::e2e::InitializeSignalGroup;
using zol::e2e::SignalGroupContext;

struct ThreeGroupDatabase {
  std::array<SignalAdapter_SignalGroup, 3> groups{};
  std::array<SignalAdapter_Signal, 10> signals{};
  std::array<SignalAdapter_Signal, 10> tav_sorted{};

  ThreeGroupDatabase() {
    groups[0].nbr_of_signals = 4;
    groups[0].signal_start_index = 0;
    groups[1].nbr_of_signals = 3;
    groups[1].signal_start_index = 4;
    groups[2].nbr_of_signals = 3;
    groups[2].signal_start_index = 7;
  }
};

TEST(E2eSignalGroupContextTest, ContextPointsAtTheGroupRecordAndItsFirstSignal) {
  const ThreeGroupDatabase db;
  const SignalGroupContext context = InitializeSignalGroup(2, db.groups.data(), db.signals.data(), nullptr);
  EXPECT_EQ(context.signal_group_, &db.groups[2]);
  EXPECT_EQ(context.signals_, &db.signals[7]);
  EXPECT_EQ(context.signals_db_, db.signals.data());
}

TEST(E2eSignalGroupContextTest, NullReSortedTableGivesNullReSortedPointers) {
  const ThreeGroupDatabase db;
  const SignalGroupContext context = InitializeSignalGroup(1, db.groups.data(), db.signals.data(), nullptr);
  EXPECT_EQ(context.tav_sorted_signals_, nullptr);
  EXPECT_EQ(context.tav_sorted_signals_db_, nullptr);
  EXPECT_EQ(context.signals_, &db.signals[4]);
}

TEST(E2eSignalGroupContextTest, ReSortedTableIsIndexedLikeTheSignalTable) {
  const ThreeGroupDatabase db;
  const SignalGroupContext context =
      InitializeSignalGroup(1, db.groups.data(), db.signals.data(), db.tav_sorted.data());
  EXPECT_EQ(context.tav_sorted_signals_, &db.tav_sorted[4]);
  EXPECT_EQ(context.tav_sorted_signals_db_, db.tav_sorted.data());
}

TEST(E2eSignalGroupContextTest, FirstGroupStartsAtTheFirstSignal) {
  const ThreeGroupDatabase db;
  const SignalGroupContext context = InitializeSignalGroup(0, db.groups.data(), db.signals.data(), nullptr);
  EXPECT_EQ(context.signal_group_, db.groups.data());
  EXPECT_EQ(context.signals_, db.signals.data());
}

TEST(E2eSignalGroupContextTest, NullGroupTableGivesAnAllNullContext) {
  const ThreeGroupDatabase db;
  const SignalGroupContext context = InitializeSignalGroup(0, nullptr, db.signals.data(), db.tav_sorted.data());
  EXPECT_EQ(context.signal_group_, nullptr);
  EXPECT_EQ(context.signals_, nullptr);
  EXPECT_EQ(context.tav_sorted_signals_, nullptr);
  EXPECT_EQ(context.signals_db_, nullptr);
  EXPECT_EQ(context.tav_sorted_signals_db_, nullptr);
}

TEST(E2eSignalGroupContextTest, NullSignalTableKeepsTheGroupButGivesNullSignalPointers) {
  const ThreeGroupDatabase db;
  const SignalGroupContext context = InitializeSignalGroup(2, db.groups.data(), nullptr, nullptr);
  EXPECT_EQ(context.signal_group_, &db.groups[2]);
  EXPECT_EQ(context.signals_, nullptr);
  EXPECT_EQ(context.signals_db_, nullptr);
}

TEST(E2eSignalGroupContextTest, DefaultContextHasOnlyNullPointers) {
  const SignalGroupContext context;
  EXPECT_EQ(context.signal_group_, nullptr);
  EXPECT_EQ(context.signals_, nullptr);
  EXPECT_EQ(context.tav_sorted_signals_, nullptr);
  EXPECT_EQ(context.signals_db_, nullptr);
  EXPECT_EQ(context.tav_sorted_signals_db_, nullptr);
}

}  // namespace
