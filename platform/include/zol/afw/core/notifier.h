#ifndef ZOL_AFW_CORE_NOTIFIER_H
#define ZOL_AFW_CORE_NOTIFIER_H

#include <cstddef>
#include <memory>

#include "zol/memory/static_function.h"
#include "zol/nodiscard.h"
#include "zol/pmr/memory_resource.h"
#include "zol/pmr/polymorphic_allocator.h"

namespace zol {
namespace afw {
namespace core {

/// @brief One subscriber's entry in a notifier.
class SubscriptionState {
 public:
  virtual ~SubscriptionState();
  /// @brief Leaves the notifier; the callback is not called again. Idempotent.
  virtual void Cancel() = 0;
  /// @brief True until cancelled or until the notifier is destroyed.
  ZOL_NODISCARD virtual bool IsActive() const = 0;

 protected:
  SubscriptionState() = default;
  SubscriptionState(const SubscriptionState&) = default;
  SubscriptionState(SubscriptionState&&) = default;
  SubscriptionState& operator=(const SubscriptionState&) = default;
  SubscriptionState& operator=(SubscriptionState&&) = default;
};

/// @brief Move-only handle that keeps a subscription alive; the subscription ends when the handle is destroyed.
///
/// @code
///   zol::afw::core::Subscription subscription = notifier.Subscribe([this] { OnNewData(); });
///   ...
///   subscription.Cancel();  // or let it go out of scope
/// @endcode
class Subscription {
 public:
  /// @brief A handle to no subscription.
  Subscription();
  /// @brief Takes over @p state.
  explicit Subscription(std::shared_ptr<SubscriptionState> state);
  Subscription(Subscription&& other) noexcept;
  /// @brief Cancels the subscription held so far, then takes over @p other's.
  Subscription& operator=(Subscription&& other) noexcept;
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;
  /// @brief Cancels the subscription.
  ~Subscription();

  /// @brief Ends the subscription. Safe from inside the subscriber's own callback and after the notifier is gone.
  void Cancel();
  /// @brief True while the subscription is in effect.
  ZOL_NODISCARD bool IsActive() const;

 private:
  std::shared_ptr<SubscriptionState> state_;
};

/// @brief Calls its subscribers' callbacks; specialised per callback signature.
template <typename Signature>
class Notifier;

/// @brief Notifier of events without data: subscribers learn that something happened and then ask for it.
///
/// Not thread-safe by design: a notifier and its subscriptions are used from one execution context. A callback
/// may cancel any subscription, subscribe anew or notify again; it must not destroy the notifier it is called
/// from.
template <>
class Notifier<void()> {
 public:
  /// @brief A subscriber's callback; held inline, never allocates.
  using Callback = zol::memory::StaticFunction<void(), 16>;

  /// @brief The state of one subscription: the callback and the notifier it belongs to.
  ///
  /// Shared between the notifier's list and the Subscription handle, so either may go first. The notifier
  /// clears the back pointer when it lets go of the state (on Cancel, or in its destructor).
  class SubscriptionStateWrapper : public SubscriptionState {
   public:
    /// @brief A state with @p callback belonging to @p notifier. Only constructs; Subscribe adds it to the list.
    SubscriptionStateWrapper(Callback callback, Notifier& notifier);
    SubscriptionStateWrapper(const SubscriptionStateWrapper&) = delete;
    SubscriptionStateWrapper(SubscriptionStateWrapper&&) = delete;
    SubscriptionStateWrapper& operator=(const SubscriptionStateWrapper&) = delete;
    SubscriptionStateWrapper& operator=(SubscriptionStateWrapper&&) = delete;
    ~SubscriptionStateWrapper() override;

    /// @brief Calls the callback with no arguments (nothing happens for an empty callback).
    void Notify();
    void Cancel() override;
    bool IsActive() const override;

   private:
    friend class Notifier;

    Callback callback_;
    Notifier* notifier_;
  };

  /// @brief An empty notifier whose subscriber list lives on @p resource.
  explicit Notifier(zol::pmr::memory_resource* resource = zol::pmr::get_default_resource());
  /// @brief Detaches the remaining states; Subscriptions that still refer to them stay safe to use and destroy.
  ~Notifier();
  // The states point back at their notifier; it must not move.
  Notifier(const Notifier&) = delete;
  Notifier(Notifier&&) = delete;
  Notifier& operator=(const Notifier&) = delete;
  Notifier& operator=(Notifier&&) = delete;

  /// @brief Adds a subscriber whose @p callback runs on every Notify until the returned Subscription ends.
  ///
  /// The state is allocated from the default memory resource. The callback is not called at once.
  Subscription Subscribe(Callback callback);
  /// @brief Appends @p state to the subscriber list (a null state is ignored).
  void AddSubscriptionState(std::shared_ptr<SubscriptionStateWrapper> state);
  /// @brief True when @p state is in the subscriber list.
  bool FindBySubscription(const SubscriptionStateWrapper* state) const;

  /// @brief Calls every subscriber's callback once, in subscription order.
  ///
  /// Iterates over a copy of the list (allocated from the default resource; nothing is allocated without
  /// subscribers), so callbacks may change the list: a subscriber cancelled by an earlier callback of the same
  /// pass is skipped, one added during the pass is first called on the next Notify.
  void Notify();

  /// @brief The number of subscribers.
  ZOL_NODISCARD std::size_t subscriber_count() const { return subscribers_.size(); }
  /// @brief True while Notify is calling callbacks.
  ZOL_NODISCARD bool is_notifying() const { return notifying_; }

 private:
  using StatePointer = std::shared_ptr<SubscriptionStateWrapper>;

  void RemoveSubscriptionState(const SubscriptionStateWrapper* state);

  zol::pmr::vector<StatePointer> subscribers_;
  bool notifying_{false};
};

}  // namespace core
}  // namespace afw
}  // namespace zol

#endif  // ZOL_AFW_CORE_NOTIFIER_H
