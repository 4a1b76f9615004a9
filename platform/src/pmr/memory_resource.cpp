#include "zol/pmr/memory_resource.h"

#include <atomic>
#include <cstdint>
#include <new>

#include "zol/detail/panic.h"

namespace zol {
namespace pmr {

memory_resource::~memory_resource() = default;

namespace {

constexpr std::size_t kNaturalAlignment = alignof(std::max_align_t);

bool IsPowerOfTwo(std::size_t n) noexcept { return n != 0 && (n & (n - 1)) == 0; }

// C++14 has no aligned operator new. Memory with a stricter alignment than
// operator new guarantees is over-allocated by `alignment` bytes; the block
// handed out starts at the next multiple of `alignment` past the raw pointer,
// and the raw pointer is kept in the word just before it. Both pointers are
// multiples of kNaturalAlignment, so that gap is always at least one word.
class NewDeleteResource final : public memory_resource {
 private:
  void* do_allocate(std::size_t bytes, std::size_t alignment) override {
    if (!IsPowerOfTwo(alignment)) {
      zol::detail::Panic("new_delete_resource: alignment is not a power of two");
    }
    if (alignment <= kNaturalAlignment) {
      return ::operator new(bytes);
    }
    if (bytes > static_cast<std::size_t>(-1) - alignment) {
      throw std::bad_alloc();
    }
    void* raw = ::operator new(bytes + alignment);
    // Step forward from the raw pointer rather than casting an integer back to a pointer.
    const std::size_t misalignment = reinterpret_cast<std::uintptr_t>(raw) & (alignment - 1U);
    void* block = static_cast<unsigned char*>(raw) + (alignment - misalignment);
    static_cast<void**>(block)[-1] = raw;
    return block;
  }

  void do_deallocate(void* p, std::size_t /*bytes*/, std::size_t alignment) override {
    if (p == nullptr) {
      return;
    }
    if (alignment <= kNaturalAlignment) {
      ::operator delete(p);
    } else {
      ::operator delete(static_cast<void**>(p)[-1]);
    }
  }

  ZOL_NODISCARD bool do_is_equal(const memory_resource& other) const noexcept override {
    // Stateless: any instance can free what another allocated (there is only one).
    return dynamic_cast<const NewDeleteResource*>(&other) != nullptr;
  }
};

// Never destroyed: objects destroyed at exit may still give memory back to it.
NewDeleteResource* TheNewDeleteResource() noexcept {
  alignas(NewDeleteResource) static unsigned char storage[sizeof(NewDeleteResource)];
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): allocating needs a non-const resource
  static auto* const instance = ::new (static_cast<void*>(storage)) NewDeleteResource();
  return instance;
}

// Null stands for new_delete_resource(): constant-initialised, so it is valid
// before any dynamic initialisation in any library that links this one.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): the one process-wide setting
std::atomic<memory_resource*> g_default_resource{nullptr};

}  // namespace

memory_resource* new_delete_resource() noexcept { return TheNewDeleteResource(); }

memory_resource* get_default_resource() noexcept {
  memory_resource* r = g_default_resource.load(std::memory_order_acquire);
  return r != nullptr ? r : new_delete_resource();
}

memory_resource* set_default_resource(memory_resource* r) noexcept {
  memory_resource* previous = g_default_resource.exchange(r, std::memory_order_acq_rel);
  return previous != nullptr ? previous : new_delete_resource();
}

}  // namespace pmr
}  // namespace zol
