/// @file
/// @brief Sole owner of a property that disconnects it from its provider when letting go of it.
#ifndef ZOL_AFW_CORE_PROPERTY_OWNER_H
#define ZOL_AFW_CORE_PROPERTY_OWNER_H

#include <memory>
#include <utility>

#include "zol/nodiscard.h"
#include "zol/pmr/memory_resource.h"
#include "zol/pmr/polymorphic_allocator.h"

namespace zol {
namespace afw {
namespace core {

/// @brief Holds the provider's reference to a property of type P (a SignalGroupProperty or derived).
///
/// The provider hands out shared references to its properties, and their read functions reach back into the
/// provider. Whenever the owner lets go of its property (destruction, Make() again, ResetWrapped(), being
/// move-assigned over) it first calls the property's Reset(), which empties those functions; whoever still holds
/// the property keeps a valid object that answers kNotImplemented instead of calling into a provider that is gone.
///
/// Movable (the property moves along, untouched), not copyable. Used from the provider's execution context.
template <typename P>
class PropertyOwner {
 public:
  /// @brief An owner without a property.
  PropertyOwner() noexcept = default;
  /// @brief Takes over @p property (may be null).
  explicit PropertyOwner(std::shared_ptr<P> property) noexcept : wrapped_(std::move(property)) {}
  /// @brief Resets the property, then drops this reference.
  ~PropertyOwner() { ResetWrapped(); }

  PropertyOwner(PropertyOwner&& other) noexcept : wrapped_(std::move(other.wrapped_)) {}
  /// @brief Resets and drops the property held so far, then takes over @p other's.
  PropertyOwner& operator=(PropertyOwner&& other) noexcept {
    if (this != &other) {
      ResetWrapped();
      wrapped_ = std::move(other.wrapped_);
    }
    return *this;
  }
  PropertyOwner(const PropertyOwner&) = delete;
  PropertyOwner& operator=(const PropertyOwner&) = delete;

  /// @brief Creates a new P from @p args on the default memory resource (std::allocate_shared). A property held
  /// so far is reset and dropped first.
  template <class... A>
  void Make(A&&... args) {
    ResetWrapped();
    wrapped_ = std::allocate_shared<P>(zol::pmr::polymorphic_allocator<P>(zol::pmr::get_default_resource()),
                                       std::forward<A>(args)...);
  }

  /// @brief Resets the property (see class comment) and drops this reference; the owner is empty afterwards.
  void ResetWrapped() noexcept {
    if (wrapped_) {
      wrapped_->Reset();
      wrapped_.reset();
    }
  }

  /// @brief A new shared reference to the property, or null when the owner is empty.
  ZOL_NODISCARD std::shared_ptr<P> get() const { return wrapped_; }
  /// @brief The property; the owner must not be empty.
  P* operator->() const noexcept { return wrapped_.get(); }
  /// @brief The property; the owner must not be empty.
  P& operator*() const noexcept { return *wrapped_; }
  /// @brief True while a property is held.
  explicit operator bool() const noexcept { return static_cast<bool>(wrapped_); }

 private:
  std::shared_ptr<P> wrapped_;
};

}  // namespace core
}  // namespace afw
}  // namespace zol

#endif  // ZOL_AFW_CORE_PROPERTY_OWNER_H
