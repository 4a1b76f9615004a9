/// @file
/// @brief A memory resource that counts and checks what passes through it, for tests.
#ifndef ZOL_PMR_COUNTING_RESOURCE_H
#define ZOL_PMR_COUNTING_RESOURCE_H

#include <cstddef>
#include <mutex>
#include <unordered_map>

#include "zol/nodiscard.h"
#include "zol/pmr/memory_resource.h"

namespace zol {
namespace pmr {

/// Forwards to an upstream resource and counts allocations, deallocations and bytes.
///
/// Remembers every live allocation, so it can tell when a deallocation does not
/// match: a size or alignment other than the allocation's, or an address it never
/// gave out (or already took back). Such a call is counted as mismatched and is
/// not forwarded; a live allocation stays live. Thread-safe. Its own bookkeeping
/// uses the global heap, never a zol::pmr resource, so it can serve as the
/// default resource.
class CountingResource : public memory_resource {
 public:
  /// Counts in front of @p upstream (default: new_delete_resource()), which must outlive this resource.
  explicit CountingResource(memory_resource* upstream = new_delete_resource());
  CountingResource(const CountingResource&) = delete;
  CountingResource(CountingResource&&) = delete;
  CountingResource& operator=(const CountingResource&) = delete;
  CountingResource& operator=(CountingResource&&) = delete;
  /// Allocations still outstanding are not given back (the caller still holds them).
  ~CountingResource() override;

  /// Successful allocations since construction or ResetCounts().
  std::size_t allocation_count() const;
  /// Forwarded (matching) deallocations since construction or ResetCounts().
  std::size_t deallocation_count() const;
  /// Bytes of all successful allocations, cumulative.
  std::size_t bytes_allocated() const;
  /// Bytes of all forwarded deallocations, cumulative.
  std::size_t bytes_deallocated() const;
  /// Allocations not yet deallocated (independent of ResetCounts()).
  std::size_t outstanding_allocations() const;
  /// Bytes not yet deallocated (independent of ResetCounts()).
  std::size_t outstanding_bytes() const;
  /// Deallocations that did not match a live allocation, since construction or ResetCounts().
  std::size_t mismatched_deallocations() const;

  /// Zeroes the cumulative counters; the live allocations are still tracked.
  void ResetCounts();

  /// The resource this one forwards to.
  memory_resource* upstream() const noexcept { return upstream_; }

 private:
  struct Block {
    std::size_t bytes;
    std::size_t alignment;
  };

  void* do_allocate(std::size_t bytes, std::size_t alignment) override;
  void do_deallocate(void* p, std::size_t bytes, std::size_t alignment) override;
  bool do_is_equal(const memory_resource& other) const noexcept override;

  memory_resource* const upstream_;
  mutable std::mutex mutex_;
  std::unordered_map<void*, Block> live_;
  std::size_t allocation_count_{0};
  std::size_t deallocation_count_{0};
  std::size_t bytes_allocated_{0};
  std::size_t bytes_deallocated_{0};
  std::size_t outstanding_bytes_{0};
  std::size_t mismatched_deallocations_{0};
};

/// Installs a resource as the process-wide default for its lifetime and restores the previous one.
class ScopedDefaultResource {
 public:
  /// Makes @p resource the default (null: new_delete_resource()).
  explicit ScopedDefaultResource(memory_resource* resource) noexcept : previous_(set_default_resource(resource)) {}
  ScopedDefaultResource(const ScopedDefaultResource&) = delete;
  ScopedDefaultResource(ScopedDefaultResource&&) = delete;
  ScopedDefaultResource& operator=(const ScopedDefaultResource&) = delete;
  ScopedDefaultResource& operator=(ScopedDefaultResource&&) = delete;
  /// Restores the default that was current at construction.
  ~ScopedDefaultResource() { set_default_resource(previous_); }

  /// The default resource that will be restored.
  ZOL_NODISCARD memory_resource* previous() const noexcept { return previous_; }

 private:
  memory_resource* previous_;
};

}  // namespace pmr
}  // namespace zol

#endif  // ZOL_PMR_COUNTING_RESOURCE_H
