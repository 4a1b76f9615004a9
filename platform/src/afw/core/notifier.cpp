#include "zol/afw/core/notifier.h"

#include <algorithm>
#include <utility>

namespace zol {
namespace afw {
namespace core {

SubscriptionState::~SubscriptionState() = default;

Subscription::Subscription() = default;

Subscription::Subscription(std::shared_ptr<SubscriptionState> state) : state_(std::move(state)) {}

Subscription::Subscription(Subscription&& other) noexcept : state_(std::move(other.state_)) {}

Subscription& Subscription::operator=(Subscription&& other) noexcept {
  if (this != &other) {
    Cancel();
    state_ = std::move(other.state_);
  }
  return *this;
}

Subscription::~Subscription() { Cancel(); }

void Subscription::Cancel() {
  // Our reference moves to a local first: cancelling drops the notifier's reference, and the state must stay
  // alive until its Cancel has returned.
  std::shared_ptr<SubscriptionState> state = std::move(state_);
  if (state) {
    state->Cancel();
  }
}

bool Subscription::IsActive() const { return state_ && state_->IsActive(); }

Notifier<void()>::SubscriptionStateWrapper::SubscriptionStateWrapper(Callback callback, Notifier& notifier)
    : callback_(std::move(callback)), notifier_(&notifier) {}

Notifier<void()>::SubscriptionStateWrapper::~SubscriptionStateWrapper() = default;

void Notifier<void()>::SubscriptionStateWrapper::Notify() {
  if (callback_) {
    callback_();
  }
}

void Notifier<void()>::SubscriptionStateWrapper::Cancel() {
  // Cleared before removal, so that a second Cancel (say, from the destructor of a Subscription that a callback
  // cancelled already) finds nothing to do.
  Notifier* notifier = notifier_;
  notifier_ = nullptr;
  if (notifier != nullptr) {
    notifier->RemoveSubscriptionState(this);
  }
}

bool Notifier<void()>::SubscriptionStateWrapper::IsActive() const { return notifier_ != nullptr; }

Notifier<void()>::Notifier(zol::pmr::memory_resource* resource)
    : subscribers_(zol::pmr::polymorphic_allocator<StatePointer>(resource)) {}

Notifier<void()>::~Notifier() {
  for (const StatePointer& state : subscribers_) {
    state->notifier_ = nullptr;
  }
}

Subscription Notifier<void()>::Subscribe(Callback callback) {
  const zol::pmr::polymorphic_allocator<SubscriptionStateWrapper> allocator(zol::pmr::get_default_resource());
  StatePointer state = std::allocate_shared<SubscriptionStateWrapper>(allocator, std::move(callback), *this);
  AddSubscriptionState(state);
  return Subscription(std::move(state));
}

void Notifier<void()>::AddSubscriptionState(std::shared_ptr<SubscriptionStateWrapper> state) {
  if (state) {
    subscribers_.push_back(std::move(state));
  }
}

bool Notifier<void()>::FindBySubscription(const SubscriptionStateWrapper* state) const {
  return std::any_of(subscribers_.begin(), subscribers_.end(),
                     [state](const StatePointer& entry) { return entry.get() == state; });
}

void Notifier<void()>::Notify() {
  if (subscribers_.empty()) {
    return;
  }
  // Restores the mark of an outer pass when a callback notifies again, and clears it if a callback throws.
  class BusyMark {
   public:
    explicit BusyMark(bool& flag) : flag_(flag), previous_(flag) { flag = true; }
    ~BusyMark() { flag_ = previous_; }
    BusyMark(const BusyMark&) = delete;
    BusyMark(BusyMark&&) = delete;
    BusyMark& operator=(const BusyMark&) = delete;
    BusyMark& operator=(BusyMark&&) = delete;

   private:
    bool& flag_;
    bool previous_;
  };
  const BusyMark busy(notifying_);

  // The copy keeps every state of this pass alive and lets callbacks change the live list meanwhile. Reserved
  // to size so that it costs exactly one allocation.
  zol::pmr::vector<StatePointer> pass{zol::pmr::polymorphic_allocator<StatePointer>(zol::pmr::get_default_resource())};
  pass.reserve(subscribers_.size());
  pass.assign(subscribers_.begin(), subscribers_.end());
  for (const StatePointer& state : pass) {
    if (FindBySubscription(state.get())) {
      state->Notify();
    }
  }
}

void Notifier<void()>::RemoveSubscriptionState(const SubscriptionStateWrapper* state) {
  const auto found = std::find_if(subscribers_.begin(), subscribers_.end(),
                                  [state](const StatePointer& entry) { return entry.get() == state; });
  if (found != subscribers_.end()) {
    subscribers_.erase(found);
  }
}

}  // namespace core
}  // namespace afw
}  // namespace zol
