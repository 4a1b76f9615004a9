#include "zol/pmr/counting_resource.h"

#include "zol/detail/panic.h"

namespace zol {
namespace pmr {

CountingResource::CountingResource(memory_resource* upstream) : upstream_(upstream) {
  if (upstream_ == nullptr) {
    zol::detail::Panic("CountingResource: null upstream resource");
  }
}

CountingResource::~CountingResource() = default;

std::size_t CountingResource::allocation_count() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return allocation_count_;
}

std::size_t CountingResource::deallocation_count() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return deallocation_count_;
}

std::size_t CountingResource::bytes_allocated() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return bytes_allocated_;
}

std::size_t CountingResource::bytes_deallocated() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return bytes_deallocated_;
}

std::size_t CountingResource::outstanding_allocations() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return live_.size();
}

std::size_t CountingResource::outstanding_bytes() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return outstanding_bytes_;
}

std::size_t CountingResource::mismatched_deallocations() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return mismatched_deallocations_;
}

void CountingResource::ResetCounts() {
  std::lock_guard<std::mutex> lock(mutex_);
  allocation_count_ = 0;
  deallocation_count_ = 0;
  bytes_allocated_ = 0;
  bytes_deallocated_ = 0;
  mismatched_deallocations_ = 0;
}

void* CountingResource::do_allocate(std::size_t bytes, std::size_t alignment) {
  // Allocate outside the lock: the upstream may be slow or itself counted.
  void* p = upstream_->allocate(bytes, alignment);
  std::lock_guard<std::mutex> lock(mutex_);
  try {
    live_[p] = Block{bytes, alignment};
  } catch (...) {
    upstream_->deallocate(p, bytes, alignment);
    throw;
  }
  ++allocation_count_;
  bytes_allocated_ += bytes;
  outstanding_bytes_ += bytes;
  return p;
}

void CountingResource::do_deallocate(void* p, std::size_t bytes, std::size_t alignment) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = live_.find(p);
    if (it == live_.end() || it->second.bytes != bytes || it->second.alignment != alignment) {
      // Forwarding would hand the upstream a block it cannot take back correctly.
      ++mismatched_deallocations_;
      return;
    }
    live_.erase(it);
    ++deallocation_count_;
    bytes_deallocated_ += bytes;
    outstanding_bytes_ -= bytes;
  }
  upstream_->deallocate(p, bytes, alignment);
}

bool CountingResource::do_is_equal(const memory_resource& other) const noexcept { return this == &other; }

}  // namespace pmr
}  // namespace zol
