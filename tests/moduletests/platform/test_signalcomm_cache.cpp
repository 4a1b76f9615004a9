#include <cstddef>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "signalcomm_test_support.h"
#include "zol/pmr/counting_resource.h"
#include "zol/signalcomm/service.h"
#include "zol/signalcomm/signal_comm.h"

namespace {

using zol::signalcomm::Service;
using Bytes = std::vector<std::uint8_t>;

using fsrl_test::IgnoreNotification;

struct ResetAtExit {
  ResetAtExit() = default;
  ResetAtExit(const ResetAtExit&) = delete;
  ResetAtExit(ResetAtExit&&) = delete;
  ResetAtExit& operator=(const ResetAtExit&) = delete;
  ResetAtExit& operator=(ResetAtExit&&) = delete;
  ~ResetAtExit() { Service::Instance().Reset(); }
};

class SignalCommCache : public fsrl_test::ThreeSignalGroups {
 protected:
  void SetUp() override {
    ThreeSignalGroups::SetUp();
    ASSERT_EQ(SignalComm_CreateContext("Client", "cl", &IgnoreNotification, nullptr, &context_), SIGNALCOMM_OK);
  }

  SignalComm_SignalGroupCache_t Create(std::vector<SignalComm_Name_t> consumed) const {
    SignalComm_SignalGroupCache_t cache = 0;
    EXPECT_EQ(SignalComm_SignalGroupCache_Create(context_, nullptr, 0, consumed.data(), consumed.size(), &cache),
              SIGNALCOMM_OK);
    return cache;
  }

  static const SignalComm_SignalGroup* Slot(SignalComm_SignalGroupCache_t cache, std::size_t index) {
    const SignalComm_SignalGroup* group = nullptr;
    EXPECT_EQ(SignalComm_SignalGroupCache_GetByIndex(cache, index, &group), SIGNALCOMM_OK);
    return group;
  }

  // The snapshot's bytes as handed out without copying.
  static Bytes View(SignalComm_SignalGroupCache_t cache, const SignalComm_SignalGroup* group) {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
    EXPECT_EQ(SignalComm_Signal_GetByteArrayBuffer(cache, group->signals_p, &data, &size), SIGNALCOMM_OK);
    return Bytes(data, data + size);
  }

  static std::uint16_t FlagsAfterRetrieve(SignalComm_SignalGroupCache_t cache, const SignalComm_SignalGroup* group) {
    EXPECT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);
    return group->status_flags;
  }

  static void Publish(const char* group, const Bytes& payload) {
    ASSERT_EQ(Service::Instance().Publish(group, payload), SIGNALCOMM_OK);
  }

  static constexpr std::uint16_t kUpdated = SIGNAL_GROUP_STATUS_VALUE_UPDATED;
  static constexpr std::uint16_t kModified = SIGNAL_GROUP_STATUS_VALUE_MODIFIED;
  static constexpr std::uint16_t kInitial = SIGNAL_GROUP_STATUS_VALUE_INITIAL;

  SignalComm_Context_t context_ = 0;
};

TEST_F(SignalCommCache, SlotsFollowTheOrderOfTheConsumedGroupsAtCreation) {
  const SignalComm_SignalGroupCache_t cache = Create({gamma_, alpha_, beta_});

  const SignalComm_Name_t expected[] = {gamma_, alpha_, beta_};
  for (std::size_t i = 0; i < 3; ++i) {
    const SignalComm_SignalGroup* group = Slot(cache, i);
    ASSERT_NE(group, nullptr);
    EXPECT_EQ(group->name, expected[i]);
    EXPECT_EQ(group->nbr_of_signals, 1U);
    ASSERT_NE(group->signals_p, nullptr);
    EXPECT_EQ(group->signals_p->group, expected[i]);
    EXPECT_EQ(group->signals_p->index, 0U);
  }
}

TEST_F(SignalCommCache, ASlotStaysAtItsAddressAcrossRetrievals) {
  const SignalComm_SignalGroupCache_t cache = Create({alpha_, beta_});
  const SignalComm_SignalGroup* before = Slot(cache, 1);

  Publish("Beta", Bytes(8, 1));
  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);

  EXPECT_EQ(Slot(cache, 1), before);
}

TEST_F(SignalCommCache, GetByIndexBeyondTheConsumedGroupsIsInvalid) {
  const SignalComm_SignalGroupCache_t cache = Create({alpha_, beta_});
  const SignalComm_SignalGroup* group = nullptr;

  EXPECT_EQ(SignalComm_SignalGroupCache_GetByIndex(cache, 2, &group), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(group, nullptr);
  EXPECT_EQ(SignalComm_SignalGroupCache_GetByIndex(cache, 0, nullptr), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_SignalGroupCache_GetByIndex(cache + 1000, 0, &group), SIGNALCOMM_E_INVALID);
}

TEST_F(SignalCommCache, ProducedGroupsAreNotSupported) {
  const SignalComm_Name_t produced[] = {alpha_};
  const SignalComm_Name_t consumed[] = {beta_};
  SignalComm_SignalGroupCache_t cache = 0;

  EXPECT_EQ(SignalComm_SignalGroupCache_Create(context_, produced, 1, consumed, 1, &cache), SIGNALCOMM_E_NOT_SUPPORTED);
  EXPECT_EQ(cache, 0U);
}

TEST_F(SignalCommCache, CreateWithAnUnknownGroupFailsWithNotFound) {
  const SignalComm_Name_t consumed[] = {alpha_, gamma_ + 1};
  SignalComm_SignalGroupCache_t cache = 0;

  EXPECT_EQ(SignalComm_SignalGroupCache_Create(context_, nullptr, 0, consumed, 2, &cache), SIGNALCOMM_E_NOT_FOUND);
  EXPECT_EQ(cache, 0U);
}

TEST_F(SignalCommCache, CreateRejectsNullArraysANullOutputAndAnUnknownContext) {
  const SignalComm_Name_t consumed[] = {alpha_};
  SignalComm_SignalGroupCache_t cache = 0;

  EXPECT_EQ(SignalComm_SignalGroupCache_Create(context_, nullptr, 0, nullptr, 1, &cache), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_SignalGroupCache_Create(context_, nullptr, 1, consumed, 1, &cache), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_SignalGroupCache_Create(context_, nullptr, 0, consumed, 1, nullptr), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_SignalGroupCache_Create(0, nullptr, 0, consumed, 1, &cache), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(cache, 0U);
}

TEST_F(SignalCommCache, BeforeAnyArrivalTheSnapshotIsInitialAndAllZerosOfTheGroupLength) {
  const SignalComm_SignalGroupCache_t cache = Create({beta_});
  const SignalComm_SignalGroup* group = Slot(cache, 0);

  EXPECT_EQ(group->status_flags, kInitial);
  EXPECT_EQ(FlagsAfterRetrieve(cache, group), kInitial);
  EXPECT_EQ(View(cache, group), Bytes(8, 0));

  Bytes buffer(8, 0xAA);
  std::size_t written = 0;
  ASSERT_EQ(SignalComm_Signal_GetByteArray(cache, group->signals_p, buffer.size(), buffer.data(), &written),
            SIGNALCOMM_OK);
  EXPECT_EQ(written, 8U);
  EXPECT_EQ(buffer, Bytes(8, 0));
}

TEST_F(SignalCommCache, UntilTheFirstRetrievalTheSlotHoldsTheInitialSnapshot) {
  Publish("Alpha", {1, 2, 3, 4});
  const SignalComm_SignalGroupCache_t cache = Create({alpha_});
  const SignalComm_SignalGroup* group = Slot(cache, 0);

  EXPECT_EQ(group->status_flags, kInitial);
  EXPECT_EQ(View(cache, group), Bytes(4, 0));
}

TEST_F(SignalCommCache, APayloadThatArrivedBeforeTheCacheExistedIsNewToItsFirstRetrieval) {
  Publish("Alpha", {1, 2, 3, 4});
  const SignalComm_SignalGroupCache_t cache = Create({alpha_});
  const SignalComm_SignalGroup* group = Slot(cache, 0);

  EXPECT_EQ(FlagsAfterRetrieve(cache, group), kUpdated | kModified);
  EXPECT_EQ(View(cache, group), (Bytes{1, 2, 3, 4}));
}

TEST_F(SignalCommCache, TheFirstArrivalIsUpdatedAndModified) {
  const SignalComm_SignalGroupCache_t cache = Create({alpha_});
  const SignalComm_SignalGroup* group = Slot(cache, 0);
  ASSERT_EQ(FlagsAfterRetrieve(cache, group), kInitial);

  Publish("Alpha", {9, 8, 7, 6});

  EXPECT_EQ(FlagsAfterRetrieve(cache, group), kUpdated | kModified);
  EXPECT_EQ(View(cache, group), (Bytes{9, 8, 7, 6}));
}

TEST_F(SignalCommCache, AFirstPayloadOfZerosStillCountsAsModified) {
  const SignalComm_SignalGroupCache_t cache = Create({alpha_});
  const SignalComm_SignalGroup* group = Slot(cache, 0);

  Publish("Alpha", Bytes(4, 0));

  EXPECT_EQ(FlagsAfterRetrieve(cache, group), kUpdated | kModified);
}

TEST_F(SignalCommCache, WithoutAnArrivalSinceThePreviousRetrievalNoFlagIsSetAndTheBytesStay) {
  const SignalComm_SignalGroupCache_t cache = Create({alpha_});
  const SignalComm_SignalGroup* group = Slot(cache, 0);
  Publish("Alpha", {1, 2, 3, 4});
  ASSERT_EQ(FlagsAfterRetrieve(cache, group), kUpdated | kModified);

  EXPECT_EQ(FlagsAfterRetrieve(cache, group), 0U);
  EXPECT_EQ(FlagsAfterRetrieve(cache, group), 0U);
  EXPECT_EQ(View(cache, group), (Bytes{1, 2, 3, 4}));
}

TEST_F(SignalCommCache, TheSameBytesAgainAreUpdatedButNotModified) {
  const SignalComm_SignalGroupCache_t cache = Create({alpha_});
  const SignalComm_SignalGroup* group = Slot(cache, 0);
  Publish("Alpha", {1, 2, 3, 4});
  ASSERT_EQ(FlagsAfterRetrieve(cache, group), kUpdated | kModified);

  Publish("Alpha", {1, 2, 3, 4});

  EXPECT_EQ(FlagsAfterRetrieve(cache, group), kUpdated);
}

TEST_F(SignalCommCache, ChangedBytesAreUpdatedAndModified) {
  const SignalComm_SignalGroupCache_t cache = Create({alpha_});
  const SignalComm_SignalGroup* group = Slot(cache, 0);
  Publish("Alpha", {1, 2, 3, 4});
  ASSERT_EQ(FlagsAfterRetrieve(cache, group), kUpdated | kModified);

  Publish("Alpha", {1, 2, 3, 5});

  EXPECT_EQ(FlagsAfterRetrieve(cache, group), kUpdated | kModified);
  EXPECT_EQ(View(cache, group), (Bytes{1, 2, 3, 5}));
}

TEST_F(SignalCommCache, AChangeAndItsReversalBetweenTwoRetrievalsIsNotAModification) {
  const SignalComm_SignalGroupCache_t cache = Create({alpha_});
  const SignalComm_SignalGroup* group = Slot(cache, 0);
  Publish("Alpha", {1, 2, 3, 4});
  ASSERT_EQ(FlagsAfterRetrieve(cache, group), kUpdated | kModified);

  Publish("Alpha", {5, 5, 5, 5});
  Publish("Alpha", {1, 2, 3, 4});

  EXPECT_EQ(FlagsAfterRetrieve(cache, group), kUpdated);
}

TEST_F(SignalCommCache, EachGroupOfACacheHasItsOwnFlags) {
  const SignalComm_SignalGroupCache_t cache = Create({alpha_, beta_, gamma_});
  Publish("Alpha", {1, 2, 3, 4});
  Publish("Beta", Bytes(8, 3));
  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);

  Publish("Beta", Bytes(8, 3));
  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);

  EXPECT_EQ(Slot(cache, 0)->status_flags, 0U);
  EXPECT_EQ(Slot(cache, 1)->status_flags, kUpdated);
  EXPECT_EQ(Slot(cache, 2)->status_flags, kInitial);
}

TEST_F(SignalCommCache, TwoCachesSeeArrivalsIndependently) {
  const SignalComm_SignalGroupCache_t first = Create({alpha_});
  const SignalComm_SignalGroupCache_t second = Create({alpha_});
  Publish("Alpha", {1, 2, 3, 4});

  EXPECT_EQ(FlagsAfterRetrieve(first, Slot(first, 0)), kUpdated | kModified);
  EXPECT_EQ(FlagsAfterRetrieve(first, Slot(first, 0)), 0U);
  EXPECT_EQ(FlagsAfterRetrieve(second, Slot(second, 0)), kUpdated | kModified);
}

TEST_F(SignalCommCache, TheSnapshotKeepsItsBytesUntilTheNextRetrieval) {
  const SignalComm_SignalGroupCache_t cache = Create({alpha_});
  const SignalComm_SignalGroup* group = Slot(cache, 0);
  Publish("Alpha", {1, 2, 3, 4});
  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);
  const std::uint8_t* data = nullptr;
  std::size_t size = 0;
  ASSERT_EQ(SignalComm_Signal_GetByteArrayBuffer(cache, group->signals_p, &data, &size), SIGNALCOMM_OK);

  Publish("Alpha", {9, 9, 9, 9});

  EXPECT_EQ(Bytes(data, data + size), (Bytes{1, 2, 3, 4}));
  EXPECT_EQ(group->status_flags, kUpdated | kModified);
  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);
  EXPECT_EQ(View(cache, group), (Bytes{9, 9, 9, 9}));
}

TEST_F(SignalCommCache, APayloadLongerThanTheGroupIsCutToTheGroupLength) {
  const SignalComm_SignalGroupCache_t cache = Create({alpha_});
  const SignalComm_SignalGroup* group = Slot(cache, 0);

  Publish("Alpha", {1, 2, 3, 4, 5, 6});
  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);

  EXPECT_EQ(View(cache, group), (Bytes{1, 2, 3, 4}));
  Bytes buffer(4, 0xAA);
  std::size_t written = 0;
  ASSERT_EQ(SignalComm_Signal_GetByteArray(cache, group->signals_p, buffer.size(), buffer.data(), &written),
            SIGNALCOMM_OK);
  EXPECT_EQ(written, 4U);
  EXPECT_EQ(buffer, (Bytes{1, 2, 3, 4}));
}

TEST_F(SignalCommCache, AShortPayloadKeepsItsReceivedLengthAndGetByteArrayFillsTheRestWithZeros) {
  const SignalComm_SignalGroupCache_t cache = Create({beta_});
  const SignalComm_SignalGroup* group = Slot(cache, 0);
  Publish("Beta", Bytes(8, 0x11));
  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);

  Publish("Beta", {7, 8, 9});
  ASSERT_EQ(FlagsAfterRetrieve(cache, group), kUpdated | kModified);

  EXPECT_EQ(View(cache, group), (Bytes{7, 8, 9}));
  Bytes buffer(8, 0xAA);
  std::size_t written = 0;
  ASSERT_EQ(SignalComm_Signal_GetByteArray(cache, group->signals_p, buffer.size(), buffer.data(), &written),
            SIGNALCOMM_OK);
  EXPECT_EQ(written, 3U);
  EXPECT_EQ(buffer, (Bytes{7, 8, 9, 0, 0, 0, 0, 0}));
}

TEST_F(SignalCommCache, AShortPayloadWithTheSameLeadingBytesIsStillAModification) {
  const SignalComm_SignalGroupCache_t cache = Create({alpha_});
  const SignalComm_SignalGroup* group = Slot(cache, 0);
  Publish("Alpha", {1, 2, 0, 0});
  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);

  Publish("Alpha", {1, 2});

  EXPECT_EQ(FlagsAfterRetrieve(cache, group), kUpdated | kModified);
}

TEST_F(SignalCommCache, AnEmptyPayloadReadsAsZeroBytesWritten) {
  const SignalComm_SignalGroupCache_t cache = Create({gamma_});
  const SignalComm_SignalGroup* group = Slot(cache, 0);
  Publish("Gamma", {});
  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);

  Bytes buffer(2, 0xAA);
  std::size_t written = 99;
  ASSERT_EQ(SignalComm_Signal_GetByteArray(cache, group->signals_p, buffer.size(), buffer.data(), &written),
            SIGNALCOMM_OK);
  EXPECT_EQ(written, 0U);
  EXPECT_EQ(buffer, Bytes(2, 0));
  EXPECT_TRUE(View(cache, group).empty());
}

TEST_F(SignalCommCache, GetByteArrayZeroFillsABufferLargerThanTheGroup) {
  const SignalComm_SignalGroupCache_t cache = Create({gamma_});
  const SignalComm_SignalGroup* group = Slot(cache, 0);
  Publish("Gamma", {5, 6});
  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);

  Bytes buffer(5, 0xAA);
  std::size_t written = 0;
  ASSERT_EQ(SignalComm_Signal_GetByteArray(cache, group->signals_p, buffer.size(), buffer.data(), &written),
            SIGNALCOMM_OK);

  EXPECT_EQ(written, 2U);
  EXPECT_EQ(buffer, (Bytes{5, 6, 0, 0, 0}));
}

TEST_F(SignalCommCache, GetByteArrayRefusesABufferShorterThanThePayloadAndWritesNothing) {
  const SignalComm_SignalGroupCache_t cache = Create({alpha_});
  const SignalComm_SignalGroup* group = Slot(cache, 0);
  Publish("Alpha", {1, 2, 3, 4});
  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);

  Bytes buffer(3, 0xAA);
  std::size_t written = 99;
  EXPECT_EQ(SignalComm_Signal_GetByteArray(cache, group->signals_p, buffer.size(), buffer.data(), &written),
            SIGNALCOMM_E_INVALID);
  EXPECT_EQ(buffer, Bytes(3, 0xAA));
  EXPECT_EQ(written, 99U);
}

TEST_F(SignalCommCache, ByteArrayReadsRejectNullArguments) {
  const SignalComm_SignalGroupCache_t cache = Create({alpha_});
  const SignalComm_SignalGroup* group = Slot(cache, 0);
  std::uint8_t buffer[4] = {};
  std::size_t written = 0;
  const std::uint8_t* data = nullptr;
  std::size_t size = 0;

  EXPECT_EQ(SignalComm_Signal_GetByteArray(cache, nullptr, sizeof(buffer), buffer, &written), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_Signal_GetByteArray(cache, group->signals_p, sizeof(buffer), nullptr, &written),
            SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_Signal_GetByteArray(cache, group->signals_p, sizeof(buffer), buffer, nullptr),
            SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_Signal_GetByteArrayBuffer(cache, nullptr, &data, &size), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_Signal_GetByteArrayBuffer(cache, group->signals_p, nullptr, &size), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_Signal_GetByteArrayBuffer(cache, group->signals_p, &data, nullptr), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_Signal_GetByteArrayBuffer(cache + 1000, group->signals_p, &data, &size), SIGNALCOMM_E_INVALID);
}

TEST_F(SignalCommCache, ACopyOfTheSignalRecordReadsTheSameGroup) {
  const SignalComm_SignalGroupCache_t cache = Create({alpha_, beta_});
  Publish("Beta", {1, 2, 3, 4, 5, 6, 7, 8});
  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);
  const SignalComm_Signal copy{beta_, 0};

  const std::uint8_t* data = nullptr;
  std::size_t size = 0;
  ASSERT_EQ(SignalComm_Signal_GetByteArrayBuffer(cache, &copy, &data, &size), SIGNALCOMM_OK);
  EXPECT_EQ(Bytes(data, data + size), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(SignalCommCache, ASignalOutsideTheCacheIsNotFound) {
  const SignalComm_SignalGroupCache_t cache = Create({alpha_});
  const SignalComm_Signal other_group{beta_, 0};
  const SignalComm_Signal second_signal{alpha_, 1};
  const std::uint8_t* data = nullptr;
  std::size_t size = 0;
  std::uint8_t buffer[8] = {};
  std::size_t written = 0;

  EXPECT_EQ(SignalComm_Signal_GetByteArrayBuffer(cache, &other_group, &data, &size), SIGNALCOMM_E_NOT_FOUND);
  EXPECT_EQ(SignalComm_Signal_GetByteArrayBuffer(cache, &second_signal, &data, &size), SIGNALCOMM_E_NOT_FOUND);
  EXPECT_EQ(SignalComm_Signal_GetByteArray(cache, &other_group, sizeof(buffer), buffer, &written),
            SIGNALCOMM_E_NOT_FOUND);
}

TEST_F(SignalCommCache, AGroupConsumedTwiceHasTwoSlotsWithTheirOwnSnapshots) {
  const SignalComm_SignalGroupCache_t cache = Create({alpha_, alpha_});
  const SignalComm_SignalGroup* first = Slot(cache, 0);
  const SignalComm_SignalGroup* second = Slot(cache, 1);
  Publish("Alpha", {1, 1, 1, 1});

  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);

  EXPECT_NE(first, second);
  EXPECT_EQ(first->status_flags, kUpdated | kModified);
  EXPECT_EQ(second->status_flags, kUpdated | kModified);
  EXPECT_EQ(View(cache, first), (Bytes{1, 1, 1, 1}));
  EXPECT_EQ(View(cache, second), (Bytes{1, 1, 1, 1}));
}

TEST_F(SignalCommCache, RetrievalAndReadsAllocateNothing) {
  zol::pmr::CountingResource counting;
  const zol::pmr::ScopedDefaultResource scoped(&counting);
  // Should an assertion end the test early, the cache must go back to the counting resource while it lives.
  const ResetAtExit reset_at_exit;
  SignalComm_SignalGroupCache_t cache = Create({alpha_, beta_, gamma_});
  ASSERT_GT(counting.allocation_count(), 0U);
  const SignalComm_SignalGroup* group = Slot(cache, 1);
  counting.ResetCounts();

  std::uint8_t buffer[8] = {};
  for (std::uint8_t round = 0; round < 20; ++round) {
    Publish("Beta", Bytes(8, round));
    ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);
    std::size_t written = 0;
    ASSERT_EQ(SignalComm_Signal_GetByteArray(cache, group->signals_p, sizeof(buffer), buffer, &written), SIGNALCOMM_OK);
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
    ASSERT_EQ(SignalComm_Signal_GetByteArrayBuffer(cache, group->signals_p, &data, &size), SIGNALCOMM_OK);
  }

  EXPECT_EQ(counting.allocation_count(), 0U);
  EXPECT_EQ(buffer[7], 19U);
  ASSERT_EQ(SignalComm_SignalGroupCache_Destroy(&cache), SIGNALCOMM_OK);
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

TEST_F(SignalCommCache, DestroySetsTheHandleToZeroAndTheOldHandleIsRejectedAfterwards) {
  SignalComm_SignalGroupCache_t cache = Create({alpha_});
  const SignalComm_SignalGroupCache_t old = cache;

  ASSERT_EQ(SignalComm_SignalGroupCache_Destroy(&cache), SIGNALCOMM_OK);

  EXPECT_EQ(cache, 0U);
  EXPECT_EQ(SignalComm_SignalGroupCache_Retrieve(old), SIGNALCOMM_E_INVALID);
  cache = old;
  EXPECT_EQ(SignalComm_SignalGroupCache_Destroy(&cache), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_SignalGroupCache_Destroy(nullptr), SIGNALCOMM_E_INVALID);
}

TEST_F(SignalCommCache, ACacheStaysUsableAfterItsContextIsDestroyed) {
  SignalComm_SignalGroupCache_t cache = Create({alpha_});
  ASSERT_EQ(SignalComm_DestroyContext(&context_), SIGNALCOMM_OK);
  Publish("Alpha", {4, 3, 2, 1});

  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);

  EXPECT_EQ(View(cache, Slot(cache, 0)), (Bytes{4, 3, 2, 1}));
  EXPECT_EQ(SignalComm_SignalGroupCache_Destroy(&cache), SIGNALCOMM_OK);
}

TEST_F(SignalCommCache, AnEmptyCacheCanBeRetrieved) {
  SignalComm_SignalGroupCache_t cache = 0;
  ASSERT_EQ(SignalComm_SignalGroupCache_Create(context_, nullptr, 0, nullptr, 0, &cache), SIGNALCOMM_OK);

  EXPECT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);
  const SignalComm_SignalGroup* group = nullptr;
  EXPECT_EQ(SignalComm_SignalGroupCache_GetByIndex(cache, 0, &group), SIGNALCOMM_E_INVALID);
}

}  // namespace
