/// @file
/// @brief A vector whose capacity is fixed once its storage is reserved.
#ifndef ZOL_MEMORY_BOUNDED_VECTOR_H
#define ZOL_MEMORY_BOUNDED_VECTOR_H

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

#include "zol/detail/panic.h"
#include "zol/nodiscard.h"
#include "zol/pmr/polymorphic_allocator.h"

namespace zol {
namespace memory {

/// Contiguous elements in storage that is allocated once and never reallocated.
///
/// The storage is reserved at construction or by one reserve() call while the
/// vector has none; after that the capacity never changes, so pointers and
/// references to elements stay valid until the element is removed. Adding to a
/// full vector fails (returns false) and changes nothing. Movable, not copyable;
/// moving hands the storage over together with the allocator that owns it.
template <typename T, typename Allocator = zol::pmr::polymorphic_allocator<T>>
class BoundedVector {
  using Traits = std::allocator_traits<Allocator>;

 public:
  using value_type = T;
  using allocator_type = Allocator;
  using size_type = std::size_t;
  using reference = T&;
  using const_reference = const T&;
  using pointer = T*;
  using const_pointer = const T*;
  using iterator = T*;
  using const_iterator = const T*;

  /// An empty vector without storage; call reserve() before adding elements.
  explicit BoundedVector(const Allocator& allocator = Allocator())
      : allocator_(allocator), data_(nullptr), size_(0), capacity_(0) {}

  /// An empty vector with storage for @p capacity elements. Throws std::bad_alloc when it cannot be had.
  explicit BoundedVector(size_type capacity, const Allocator& allocator = Allocator())
      : allocator_(allocator), data_(nullptr), size_(0), capacity_(0) {
    reserve(capacity);
  }

  BoundedVector(const BoundedVector&) = delete;
  BoundedVector& operator=(const BoundedVector&) = delete;

  /// Takes over the storage and elements of @p other, which is left empty and without storage.
  BoundedVector(BoundedVector&& other) noexcept
      : allocator_(std::move(other.allocator_)), data_(other.data_), size_(other.size_), capacity_(other.capacity_) {
    other.data_ = nullptr;
    other.size_ = 0;
    other.capacity_ = 0;
  }

  /// Releases this vector's elements and storage, then takes over those of @p other with its allocator.
  BoundedVector& operator=(BoundedVector&& other) noexcept {
    if (this != &other) {
      Release();
      allocator_ = std::move(other.allocator_);
      data_ = other.data_;
      size_ = other.size_;
      capacity_ = other.capacity_;
      other.data_ = nullptr;
      other.size_ = 0;
      other.capacity_ = 0;
    }
    return *this;
  }

  ~BoundedVector() { Release(); }

  /// Allocates storage for @p capacity elements.
  ///
  /// Only possible once, while the vector is empty and has no storage; returns
  /// false otherwise and changes nothing. A capacity of zero allocates nothing.
  /// Throws std::bad_alloc when the storage cannot be had.
  bool reserve(size_type capacity) {
    if (data_ != nullptr || size_ != 0) {
      return false;
    }
    if (capacity > 0) {
      data_ = Traits::allocate(allocator_, capacity);
      capacity_ = capacity;
    }
    return true;
  }

  /// Appends a copy of @p value; false, and nothing changes, when full.
  bool push_back(const T& value) { return emplace_back(value); }

  /// Appends @p value by moving; false, and @p value is untouched, when full.
  bool push_back(T&& value) { return emplace_back(std::move(value)); }

  /// Constructs an element in place from @p args; false, and nothing changes, when full.
  /// If the constructor throws, the vector is unchanged.
  template <typename... A>
  bool emplace_back(A&&... args) {
    if (size_ >= capacity_) {
      return false;
    }
    Traits::construct(allocator_, data_ + size_, std::forward<A>(args)...);
    ++size_;
    return true;
  }

  /// Destroys the last element; the vector must not be empty.
  void pop_back() noexcept {
    if (size_ == 0) {
      zol::detail::Panic("BoundedVector::pop_back on an empty vector");
    }
    --size_;
    Traits::destroy(allocator_, data_ + size_);
  }

  /// Destroys all elements; the storage and capacity stay.
  void clear() noexcept {
    while (size_ > 0) {
      --size_;
      Traits::destroy(allocator_, data_ + size_);
    }
  }

  /// Number of elements.
  ZOL_NODISCARD size_type size() const noexcept { return size_; }
  /// Number of elements the storage holds (zero without storage).
  ZOL_NODISCARD size_type capacity() const noexcept { return capacity_; }
  /// True without elements.
  ZOL_NODISCARD bool empty() const noexcept { return size_ == 0; }
  /// True when no further element fits (also without storage).
  ZOL_NODISCARD bool full() const noexcept { return size_ == capacity_; }

  /// First element, null without storage.
  T* data() noexcept { return data_; }
  ZOL_NODISCARD const T* data() const noexcept { return data_; }

  /// Element @p index; @p index must be less than size() (not checked, as for std::vector).
  T& operator[](size_type index) noexcept { return data_[index]; }
  const T& operator[](size_type index) const noexcept { return data_[index]; }

  iterator begin() noexcept { return data_; }
  iterator end() noexcept { return data_ + size_; }
  ZOL_NODISCARD const_iterator begin() const noexcept { return data_; }
  ZOL_NODISCARD const_iterator end() const noexcept { return data_ + size_; }
  ZOL_NODISCARD const_iterator cbegin() const noexcept { return data_; }
  ZOL_NODISCARD const_iterator cend() const noexcept { return data_ + size_; }

  /// First element; the vector must not be empty.
  T& front() noexcept {
    CheckedLast("BoundedVector::front on an empty vector");
    return data_[0];
  }
  ZOL_NODISCARD const T& front() const noexcept {
    CheckedLast("BoundedVector::front on an empty vector");
    return data_[0];
  }
  /// Last element; the vector must not be empty.
  T& back() noexcept { return data_[CheckedLast("BoundedVector::back on an empty vector")]; }
  ZOL_NODISCARD const T& back() const noexcept { return data_[CheckedLast("BoundedVector::back on an empty vector")]; }

  /// A copy of the allocator.
  ZOL_NODISCARD allocator_type get_allocator() const { return allocator_; }

 private:
  // Index of the last element; aborts with @p what when there is none.
  size_type CheckedLast(const char* what) const noexcept {
    if (size_ == 0) {
      zol::detail::Panic(what);
    }
    return size_ - 1;
  }

  void Release() noexcept {
    clear();
    if (data_ != nullptr) {
      Traits::deallocate(allocator_, data_, capacity_);
      data_ = nullptr;
      capacity_ = 0;
    }
  }

  Allocator allocator_;
  T* data_;
  size_type size_;
  size_type capacity_;
};

}  // namespace memory
}  // namespace zol

#endif  // ZOL_MEMORY_BOUNDED_VECTOR_H
