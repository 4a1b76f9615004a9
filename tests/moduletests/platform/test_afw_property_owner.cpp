#include "zol/afw/core/property_owner.h"

#include <memory>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include "zol/afw/core/property.h"
#include "zol/e2e/e2e_signal_group_property.h"
#include "zol/memory/span.h"
#include "zol/pmr/counting_resource.h"

namespace {

using zol::afw::core::ErrorCode;
using zol::afw::core::PropertyOwner;
using zol::afw::core::SignalGroupProperty;
using zol::afw::core::SignalPropertyStatus;
using zol::e2e::E2ESignalGroupProperty;
using Bytes = zol::memory::span<const unsigned char>;

struct Record {
  int value{0};
};
using Property = E2ESignalGroupProperty<Record>;
using Owner = PropertyOwner<Property>;

static_assert(!std::is_copy_constructible<Owner>::value, "an owner is the only owner");
static_assert(!std::is_copy_assignable<Owner>::value, "an owner is the only owner");
static_assert(std::is_nothrow_move_constructible<Owner>::value, "owners move");
static_assert(std::is_nothrow_move_assignable<Owner>::value, "owners move");

// Stands for the provider: its read functions reach into it, as an adapter's reach into its implementation.
struct Provider {
  int reads{0};
  int raw_reads{0};

  void MakeInto(Owner& owner, int value) {
    Provider* self = this;
    owner.Make(
        nullptr, "Client.group", true,
        [self, value](Record* record, SignalPropertyStatus*) {
          ++self->reads;
          record->value = value;
          return ErrorCode::kSuccess;
        },
        nullptr,
        [self](Bytes&, SignalPropertyStatus*) {
          ++self->raw_reads;
          return ErrorCode::kSuccess;
        },
        nullptr, nullptr, nullptr);
  }
};

TEST(PropertyOwner, StartsEmpty) {
  const Owner owner;

  EXPECT_FALSE(owner);
  EXPECT_EQ(owner.get(), nullptr);
}

TEST(PropertyOwner, MakeCreatesThePropertyFromTheGivenArguments) {
  Provider provider;
  Owner owner;

  provider.MakeInto(owner, 5);

  ASSERT_TRUE(owner);
  Record record;
  EXPECT_EQ(owner->get(&record), ErrorCode::kSuccess);
  EXPECT_EQ(record.value, 5);
  EXPECT_EQ((*owner).name(), "Client.group");
  EXPECT_EQ(provider.reads, 1);
}

TEST(PropertyOwner, MakeAllocatesTheWholePropertyFromTheDefaultResource) {
  zol::pmr::CountingResource resource;
  const zol::pmr::ScopedDefaultResource scoped(&resource);
  Provider provider;
  {
    Owner owner;
    provider.MakeInto(owner, 1);
    EXPECT_GT(resource.outstanding_allocations(), 0U);
  }
  EXPECT_EQ(resource.outstanding_allocations(), 0U);
  EXPECT_EQ(resource.mismatched_deallocations(), 0U);
}

TEST(PropertyOwner, GetHandsOutNewReferencesToTheSameProperty) {
  Provider provider;
  Owner owner;
  provider.MakeInto(owner, 1);

  const std::shared_ptr<Property> first = owner.get();
  const std::shared_ptr<Property> second = owner.get();

  EXPECT_EQ(first, second);
  EXPECT_EQ(first.get(), owner.operator->());
  EXPECT_EQ(first.use_count(), 3);
}

TEST(PropertyOwner, APropertyKeptAfterTheOwnerIsGoneStillExistsButNoLongerReachesTheProvider) {
  Provider provider;
  std::shared_ptr<Property> kept;
  {
    Owner owner;
    provider.MakeInto(owner, 1);
    kept = owner.get();
  }

  ASSERT_NE(kept, nullptr);
  EXPECT_EQ(kept.use_count(), 1);
  EXPECT_EQ(kept->name(), "Client.group");
  Record record;
  Bytes bytes;
  EXPECT_EQ(kept->get(&record), ErrorCode::kNotImplemented);
  EXPECT_EQ(kept->get_raw(bytes), ErrorCode::kNotImplemented);
  EXPECT_EQ(provider.reads, 0);
  EXPECT_EQ(provider.raw_reads, 0);
}

TEST(PropertyOwner, MakeAgainResetsAndDropsTheFirstProperty) {
  Provider provider;
  Owner owner;
  provider.MakeInto(owner, 1);
  const std::shared_ptr<Property> first = owner.get();

  provider.MakeInto(owner, 2);

  EXPECT_NE(owner.get(), first);
  EXPECT_EQ(first.use_count(), 1);
  Record record;
  EXPECT_EQ(first->get(&record), ErrorCode::kNotImplemented);
  EXPECT_EQ(owner->get(&record), ErrorCode::kSuccess);
  EXPECT_EQ(record.value, 2);
}

TEST(PropertyOwner, ResetWrappedDisconnectsAndEmptiesTheOwner) {
  Provider provider;
  Owner owner;
  provider.MakeInto(owner, 1);
  const std::shared_ptr<Property> kept = owner.get();

  owner.ResetWrapped();
  owner.ResetWrapped();

  EXPECT_FALSE(owner);
  Record record;
  EXPECT_EQ(kept->get(&record), ErrorCode::kNotImplemented);
}

TEST(PropertyOwner, MovingAnOwnerMovesThePropertyStillConnected) {
  Provider provider;
  Owner source;
  provider.MakeInto(source, 3);
  const std::shared_ptr<Property> kept = source.get();

  Owner target(std::move(source));

  EXPECT_FALSE(source);  // NOLINT(bugprone-use-after-move): a moved-from owner is empty by contract
  EXPECT_EQ(target.get(), kept);
  Record record;
  EXPECT_EQ(kept->get(&record), ErrorCode::kSuccess);
  EXPECT_EQ(record.value, 3);
}

TEST(PropertyOwner, MoveAssignmentResetsTheOverwrittenPropertyOnly) {
  Provider provider;
  Owner target;
  Owner source;
  provider.MakeInto(target, 1);
  provider.MakeInto(source, 2);
  const std::shared_ptr<Property> overwritten = target.get();
  const std::shared_ptr<Property> moved = source.get();

  target = std::move(source);

  Record record;
  EXPECT_EQ(overwritten->get(&record), ErrorCode::kNotImplemented);
  EXPECT_EQ(target.get(), moved);
  EXPECT_EQ(moved->get(&record), ErrorCode::kSuccess);
  EXPECT_EQ(record.value, 2);
}

TEST(PropertyOwner, TakesOverAPropertyMadeElsewhereAndResetsItWhenDone) {
  auto fresh = std::make_shared<SignalGroupProperty<Record>>(
      nullptr, "fresh", true, [](Record*, SignalPropertyStatus*) { return ErrorCode::kSuccess; }, nullptr);
  const std::shared_ptr<SignalGroupProperty<Record>> kept = fresh;

  { const PropertyOwner<SignalGroupProperty<Record>> owner(std::move(fresh)); }

  Record record;
  EXPECT_EQ(kept->get(&record), ErrorCode::kNotImplemented);
}

}  // namespace
