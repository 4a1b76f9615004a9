// What a stretch of a test allocates at a counting memory resource: the counts at construction are subtracted from
// those at Take(). Shared by the tests that hold the HAL to its allocation budget.
#ifndef FSRL_TESTS_SUPPORT_ALLOCATION_WINDOW_H
#define FSRL_TESTS_SUPPORT_ALLOCATION_WINDOW_H

#include <cstddef>

#include "zol/pmr/counting_resource.h"

namespace fsrl_test {

class AllocationWindow {
 public:
  /// @param resource the counting resource to watch
  /// @param around a count the test keeps of allocations that bypass the resource (for instance a thread-local
  ///        count kept by a replaced operator new), or null when it keeps none
  explicit AllocationWindow(const zol::pmr::CountingResource& resource, const std::size_t* around = nullptr)
      : resource_(resource),
        around_counter_(around),
        allocations_(resource.allocation_count()),
        deallocations_(resource.deallocation_count()),
        bytes_(resource.bytes_allocated()),
        outstanding_(resource.outstanding_allocations()),
        around_(around != nullptr ? *around : 0U) {}

  struct Counts {
    std::size_t allocations;          // at the counting resource
    std::size_t deallocations;        // at the counting resource
    std::size_t bytes;                // allocated at the counting resource
    std::size_t outstanding_change;   // at the counting resource
    std::size_t around_the_resource;  // counted by the test outside the resource (0 without such a count)
  };

  Counts Take() const {
    return Counts{resource_.allocation_count() - allocations_, resource_.deallocation_count() - deallocations_,
                  resource_.bytes_allocated() - bytes_, resource_.outstanding_allocations() - outstanding_,
                  around_counter_ != nullptr ? *around_counter_ - around_ : 0U};
  }

 private:
  const zol::pmr::CountingResource& resource_;
  const std::size_t* around_counter_;
  std::size_t allocations_;
  std::size_t deallocations_;
  std::size_t bytes_;
  std::size_t outstanding_;
  std::size_t around_;
};

}  // namespace fsrl_test

#endif  // FSRL_TESTS_SUPPORT_ALLOCATION_WINDOW_H
