// The E2E database context and the profile 5 protection of every group.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "signal_adapter_test_support.h"

namespace fsrl_test {
namespace {

using zol::e2e::E2eProtectionProfile5;
using zol::e2e::E2eProtectionProfile5Ptr;
using zol::e2e::SignalGroupContext;

constexpr const char* kClientMessage =
    "Failed to initialize E2E protection in signal adapter for client 'initialfrontsideradarlefthal'.";

std::string InitializationMessage(std::size_t index) {
  return "E2E initialization failed for signal group '" + GroupName(index) + "'.";
}

// Every group's context and protection of an Impl, in table order.
std::vector<const SignalGroupContext*> Contexts(const Impl& impl) {
  std::vector<const SignalGroupContext*> contexts;
#define FSRL_CONTEXT(index, Record, stem, e2e_stem) contexts.push_back(&impl.e2e_stem##_db_info_);
  FSRL_FOR_EACH_SIGNAL_GROUP_MEMBERS(FSRL_CONTEXT)
#undef FSRL_CONTEXT
  return contexts;
}

std::vector<const E2eProtectionProfile5*> Protections(const Impl& impl) {
  std::vector<const E2eProtectionProfile5*> protections;
#define FSRL_PROTECTION(index, Record, stem, e2e_stem) protections.push_back(impl.e2e_stem##_e2e_protection_.get());
  FSRL_FOR_EACH_SIGNAL_GROUP_MEMBERS(FSRL_PROTECTION)
#undef FSRL_PROTECTION
  return protections;
}

std::size_t LinesContaining(const zol::log::CapturingSink& sink, const std::string& text) {
  std::size_t count = 0;
  for (const auto& line : sink.lines()) {
    count += line.message.find(text) != std::string::npos ? 1U : 0U;
  }
  return count;
}

using SignalAdapterE2eProtectionTest = SignalAdapterTest;

TEST_F(SignalAdapterE2eProtectionTest,
       GroupSeventeenRejectedByTheLibraryGivesOneGroupLineThenTheClientLineAndNoAdapter) {
  ASSERT_TRUE(zol::e2e::testing::RejectProfile5Creation(GroupRecord(kDetn085To089).data_id));

  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);

  EXPECT_FALSE(adapter);
  const auto lines = sink_.lines();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].level, LoggingLevel::kError);
  EXPECT_EQ(lines[0].context_id, "SAG");
  EXPECT_EQ(lines[0].message, "E2E initialization failed for signal group 'RSDS4Detn085To089'.");
  EXPECT_EQ(lines[1].level, LoggingLevel::kError);
  EXPECT_EQ(lines[1].context_id, "SAG");
  EXPECT_EQ(lines[1].message, kClientMessage);
  EXPECT_EQ(LinesContaining(sink_, "E2E initialization failed"), 1U);
  // The connection made before is undone.
  EXPECT_EQ(Calls("SignalComm_SignalGroupCache_Destroy"), 1U);
  EXPECT_EQ(Calls("SignalComm_DestroyContext"), 1U);
}

TEST_F(SignalAdapterE2eProtectionTest, RejectedGroupStopsTheSetUpSoLaterGroupsGetNoProtectionAndNoProperty) {
  ASSERT_TRUE(zol::e2e::testing::RejectProfile5Creation(GroupRecord(kDetn085To089).data_id));
  std::shared_ptr<Impl> impl = MakeImpl(&app_);

  EXPECT_EQ(impl->InitializeE2eProtection(), ErrorCode::kFailure);

  const auto protections = Protections(*impl);
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    EXPECT_EQ(protections[i] != nullptr, i < kDetn085To089) << i;
  }
  EXPECT_FALSE(impl->rsds4detn000to004_);
}

TEST_F(SignalAdapterE2eProtectionTest, FirstAndLastGroupsHaveTheirOwnFixedMessages) {
  for (const std::size_t index : {kDetn000To004, kSigSts2}) {
    sink_.Clear();
    zol::e2e::testing::ClearRejections();
    ASSERT_TRUE(zol::e2e::testing::RejectProfile5Creation(GroupRecord(index).data_id));

    EXPECT_FALSE(SignalAdapter::Create(&app_));

    EXPECT_TRUE(sink_.Contains(LoggingLevel::kError, InitializationMessage(index)));
    EXPECT_TRUE(sink_.Contains(LoggingLevel::kError, kClientMessage));
  }
  EXPECT_EQ(InitializationMessage(kSigSts2), "E2E initialization failed for signal group 'RSDS4SigSts2'.");
}

TEST_F(SignalAdapterE2eProtectionTest, DatabaseWithAllGroupsValidYieldsFiftyTwoProtectionsAndNoLogLine) {
  std::shared_ptr<Impl> impl = MakeImpl(&app_);
  ASSERT_EQ(impl->SetupSignalData(), ErrorCode::kSuccess);

  EXPECT_EQ(impl->InitializeE2eProtection(), ErrorCode::kSuccess);

  const auto protections = Protections(*impl);
  ASSERT_EQ(protections.size(), kGroupCount);
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    ASSERT_NE(protections[i], nullptr) << i;
    // Each in the state creation gives it, made from its own row.
    EXPECT_EQ(protections[i]->profile(), SIGNAL_DB_E2E_PROFILE_05) << i;
    EXPECT_EQ(protections[i]->data_id(), GroupRecord(i).data_id) << i;
    EXPECT_EQ(protections[i]->payload_buffer_length(), PayloadLength(i)) << i;
    EXPECT_EQ(protections[i]->counter(), 0xFFU) << i;
    EXPECT_EQ(protections[i]->last_check_status(), zol::e2e::E2E_P_NOTAVAILABLE) << i;
  }
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(SignalAdapterE2eProtectionTest, AfterConstructionThereAreFiftyTwoContextsAndNoProtection) {
  std::shared_ptr<Impl> impl = MakeImpl(&app_);

  const auto contexts = Contexts(*impl);
  const auto protections = Protections(*impl);
  ASSERT_EQ(contexts.size(), kGroupCount);
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    EXPECT_NE(contexts[i]->signal_group_, nullptr) << i;
    EXPECT_EQ(protections[i], nullptr) << i;
  }
}

TEST_F(SignalAdapterE2eProtectionTest, ContextForIndexFiftyOneRefersToTheSigSts2RecordAndItsFirstSignalRecord) {
  std::shared_ptr<Impl> impl = MakeImpl(&app_);

  const SignalGroupContext& context = impl->rsds4sigsts2_db_info_;

  ASSERT_EQ(context.signal_group_, &initialfrontsideradarlefthal_signal_groups[51]);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(context.signal_group_->name)), "RSDS4SigSts2");
  EXPECT_EQ(context.signals_, &initialfrontsideradarlefthal_signals[GroupRecord(51).signal_start_index]);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(context.signals_->name)).rfind("RSDS4SigSts2", 0), 0U);
  EXPECT_EQ(context.signals_db_, &initialfrontsideradarlefthal_signals[0]);
  EXPECT_EQ(context.tav_sorted_signals_, nullptr);
  EXPECT_EQ(context.tav_sorted_signals_db_, nullptr);
}

TEST_F(SignalAdapterE2eProtectionTest, EveryContextRefersToTheDatabaseRowOfItsOwnIndex) {
  std::shared_ptr<Impl> impl = MakeImpl(&app_);

  const auto contexts = Contexts(*impl);
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    EXPECT_EQ(contexts[i]->signal_group_, &GroupRecord(i)) << i;
    EXPECT_EQ(contexts[i]->signals_, &initialfrontsideradarlefthal_signals[GroupRecord(i).signal_start_index]) << i;
    EXPECT_EQ(contexts[i]->tav_sorted_signals_, nullptr) << i;
  }
}

TEST_F(SignalAdapterE2eProtectionTest, InitializingAgainReplacesEveryProtectionWithAFreshOne) {
  std::shared_ptr<Impl> impl = MakeInitializedImpl();
  Publish(kSigSts1, PatternFrame(kSigSts1, 5));
  initialfrontsideradarlefthal::types::RSDS4SigSts1 record{};
  ASSERT_EQ(impl->get_rsds4sig_sts1()->get(&record), ErrorCode::kSuccess);
  ASSERT_EQ(impl->rsds4sigsts1_e2e_protection_->counter(), 5U);

  EXPECT_EQ(impl->InitializeE2eProtection(), ErrorCode::kSuccess);

  EXPECT_EQ(impl->rsds4sigsts1_e2e_protection_->counter(), 0xFFU);
}

TEST_F(SignalAdapterE2eProtectionTest, CounterStatePersistsAcrossTransactionsAndInvalidations) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);
  const auto property = adapter->rsds4sig_sts2();
  initialfrontsideradarlefthal::types::RSDS4SigSts2 record{};
  SignalPropertyStatus status;
  Publish(kSigSts2, PatternFrame(kSigSts2, 7, 1));
  ASSERT_EQ(property->get(&record, &status), ErrorCode::kSuccess);

  zol::afw::core::Transaction::Begin();
  property->Invalidate();
  Publish(kSigSts2, PatternFrame(kSigSts2, 7, 2));

  // Same counter as the last good frame: the protection remembers it.
  EXPECT_EQ(property->get(&record, &status), ErrorCode::kFailure);
  EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kE2eRepeated);
}

}  // namespace
}  // namespace fsrl_test
