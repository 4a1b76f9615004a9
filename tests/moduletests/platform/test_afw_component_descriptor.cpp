#include "zol/afw/core/component_descriptor.h"

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "zol/pmr/counting_resource.h"

namespace {

using zol::afw::core::ComponentDescriptor;
using zol::afw::core::ComponentDescriptorCollection;

// The collection is process-wide; each test uses component names of its own so that tests cannot see each other.
ComponentDescriptorCollection& Collection() { return ComponentDescriptorCollection::instance(); }

std::vector<std::string> InstanceIds(zol::string_view component_name) {
  std::vector<std::string> ids;
  for (const zol::pmr::string& id : Collection().instance_ids(component_name)) {
    ids.emplace_back(id.data(), id.size());
  }
  return ids;
}

class RadarDescriptor : public ComponentDescriptor {
 public:
  explicit RadarDescriptor(zol::string_view instance_id) : ComponentDescriptor("radar", instance_id) {}
  int Create() const { return 7; }
};

TEST(ComponentDescriptorCollection, IsOneObjectForTheWholeProcess) {
  EXPECT_EQ(&ComponentDescriptorCollection::instance(), &ComponentDescriptorCollection::instance());
}

TEST(ComponentDescriptor, EntersTheCollectionOnConstructionAndLeavesItOnDestruction) {
  EXPECT_EQ(Collection().Find("lifetime", "Initial"), nullptr);
  {
    const ComponentDescriptor descriptor("lifetime", "Initial");
    EXPECT_EQ(descriptor.component_name(), "lifetime");
    EXPECT_EQ(descriptor.instance_id(), "Initial");
    EXPECT_EQ(Collection().Find("lifetime", "Initial"), &descriptor);
    EXPECT_EQ(InstanceIds("lifetime"), std::vector<std::string>{"Initial"});
  }
  EXPECT_EQ(Collection().Find("lifetime", "Initial"), nullptr);
  EXPECT_TRUE(InstanceIds("lifetime").empty());
}

TEST(ComponentDescriptorCollection, FindMatchesBothNames) {
  const ComponentDescriptor first("find_a", "One");
  const ComponentDescriptor second("find_a", "Two");
  const ComponentDescriptor other_component("find_b", "One");

  EXPECT_EQ(Collection().Find("find_a", "One"), &first);
  EXPECT_EQ(Collection().Find("find_a", "Two"), &second);
  EXPECT_EQ(Collection().Find("find_b", "One"), &other_component);
  EXPECT_EQ(Collection().Find("find_b", "Two"), nullptr);
  EXPECT_EQ(Collection().Find("find_c", "One"), nullptr);
  EXPECT_EQ(Collection().Find("find_a", ""), nullptr);
}

TEST(ComponentDescriptorCollection, FindReturnsTheFirstRegisteredOfEqualDescriptors) {
  const ComponentDescriptor first("duplicate", "Same");
  const ComponentDescriptor second("duplicate", "Same");

  EXPECT_EQ(Collection().Find("duplicate", "Same"), &first);
}

TEST(ComponentDescriptorCollection, FindsAnEmptyInstanceId) {
  const ComponentDescriptor descriptor("empty_id", "");

  EXPECT_EQ(Collection().Find("empty_id", zol::string_view()), &descriptor);
  EXPECT_EQ(InstanceIds("empty_id"), std::vector<std::string>{""});
}

TEST(ComponentDescriptorCollection, InstanceIdOfAnotherLetterCaseIsADifferentId) {
  const ComponentDescriptor upper("case", "Initial");
  EXPECT_EQ(Collection().Find("case", "initial"), nullptr);
  EXPECT_EQ(Collection().Find("Case", "Initial"), nullptr);

  const ComponentDescriptor lower("case", "initial");
  EXPECT_EQ(Collection().Find("case", "Initial"), &upper);
  EXPECT_EQ(Collection().Find("case", "initial"), &lower);
  EXPECT_EQ(InstanceIds("case"), (std::vector<std::string>{"Initial", "initial"}));
}

TEST(ComponentDescriptorCollection, InstanceIdsListsOneComponentInRegistrationOrder) {
  const ComponentDescriptor b("ordered", "B");
  const ComponentDescriptor unrelated("ordered_not", "X");
  const ComponentDescriptor a("ordered", "A");
  auto c = std::make_unique<ComponentDescriptor>("ordered", "C");
  const ComponentDescriptor d("ordered", "D");

  EXPECT_EQ(InstanceIds("ordered"), (std::vector<std::string>{"B", "A", "C", "D"}));
  c.reset();
  EXPECT_EQ(InstanceIds("ordered"), (std::vector<std::string>{"B", "A", "D"}));
  EXPECT_TRUE(InstanceIds("no_such_component").empty());
}

TEST(ComponentDescriptorCollection, InstanceIdsAreAllocatedFromTheDefaultResource) {
  const ComponentDescriptor descriptor("allocated", "An instance id too long for a small-string buffer");
  zol::pmr::CountingResource counting;
  {
    const zol::pmr::ScopedDefaultResource scoped(&counting);
    const zol::pmr::vector<zol::pmr::string> ids = Collection().instance_ids("allocated");

    ASSERT_EQ(ids.size(), 1U);
    EXPECT_EQ(ids.get_allocator().resource(), &counting);
    EXPECT_EQ(ids[0].get_allocator().resource(), &counting);
    EXPECT_EQ(counting.allocation_count(), 2U);  // the list and the long id
  }
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

TEST(ComponentDescriptorCollection, FoundDescriptorKeepsItsDerivedType) {
  const RadarDescriptor descriptor("Initial");

  const ComponentDescriptor* found = Collection().Find("radar", "Initial");
  const auto* radar = dynamic_cast<const RadarDescriptor*>(found);

  ASSERT_NE(radar, nullptr);
  EXPECT_EQ(radar->Create(), 7);
}

TEST(ComponentDescriptorCollection, RegistersAndUnregistersFromSeveralThreadsAtOnce) {
  constexpr int kThreads = 4;
  constexpr int kPerThread = 200;
  std::vector<std::thread> threads;
  std::vector<std::vector<std::unique_ptr<ComponentDescriptor>>> kept(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &kept] {
      for (int i = 0; i < kPerThread; ++i) {
        kept[t].push_back(std::make_unique<ComponentDescriptor>("threaded", std::to_string(t * kPerThread + i)));
        // Churn: one more that registers and leaves again right away.
        const ComponentDescriptor passing("threaded", "passing");
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }

  EXPECT_EQ(InstanceIds("threaded").size(), static_cast<std::size_t>(kThreads * kPerThread));
  EXPECT_EQ(Collection().Find("threaded", "passing"), nullptr);
  EXPECT_NE(Collection().Find("threaded", "0"), nullptr);
  EXPECT_NE(Collection().Find("threaded", std::to_string(kThreads * kPerThread - 1)), nullptr);
}

}  // namespace
