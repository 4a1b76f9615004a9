#include "device_activator/device_activator.h"
#include "device_activator/device_activation_service.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <iterator>
#include <map>
#include <mutex>
#include <new>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "detail/failure_injector.h"
#include "zol/format/format.h"
#include "zol/log/logging.h"
#include "zol/nodiscard.h"
#include "zol/pmr/deleters.h"
#include "zol/pmr/memory_resource.h"
#include "zol/signalcomm/service.h"

namespace device_activator {

using zol::afw::core::ErrorCode;
using zol::afw::core::Notifier;
using zol::afw::core::StatusOr;
using zol::afw::core::Subscription;
using Operation = DeviceActivationService::Operation;
using Callback = zol::memory::StaticFunction<void(), 16>;

namespace {

constexpr std::size_t kOperationCount = 8;
static_assert(static_cast<std::size_t>(Operation::kGetRequestedDevicesAreOk) + 1 == kOperationCount,
              "kOperationCount must follow DeviceActivationService::Operation");

// The only device with alive supervision: its liveness is what the signal communication service receives.
constexpr zol::string_view kSupervisedDevice("FSRL", 4);
constexpr zol::MonoClock::duration kDefaultAliveTimeout = std::chrono::milliseconds(200);

// The values a client can subscribe to, as bits of a mask of changed values.
constexpr unsigned kStatesValue = 1U;
constexpr unsigned kErrorsValue = 2U;
constexpr unsigned kActiveValue = 4U;
constexpr unsigned kOkValue = 8U;

}  // namespace

namespace detail {

/// What the service and the subscriptions share with one client: the component's identity, whether it is
/// connected, and its notifiers.
///
/// Notifications may come from any thread that changes the requests, so the notifiers are used only under the
/// client's own mutex. It is recursive because a callback may subscribe, cancel or trigger a further
/// notification of the same client on the same thread. The service never takes it while holding its own lock.
class ClientState {
 public:
  explicit ClientState(std::string component)
      : component_(std::move(component)),
        notifiers_(zol::pmr::MakeUniqueAllocated<Notifiers>(zol::pmr::get_default_resource())) {}
  ClientState(const ClientState&) = delete;
  ClientState(ClientState&&) = delete;
  ClientState& operator=(const ClientState&) = delete;
  ClientState& operator=(ClientState&&) = delete;
  ~ClientState() = default;

  const std::string& component() const { return component_; }

  // Touched only under the service's lock.
  bool connected() const { return connected_; }
  void set_connected() { connected_ = true; }
  std::set<std::string>& requested() { return requested_; }
  const std::set<std::string>& requested() const { return requested_; }

  Subscription Subscribe(unsigned value, Callback callback, const std::shared_ptr<ClientState>& self);
  void Notify(unsigned changed);
  // Ends every subscription. Deferred while a callback of this client runs, as a notifier must not be
  // destroyed from inside its own Notify.
  void Close();

  void CancelSubscription(Subscription& inner) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    inner.Cancel();
  }
  bool SubscriptionIsActive(const Subscription& inner) const {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    return inner.IsActive();
  }

 private:
  struct Notifiers {
    Notifier<void()> states;
    Notifier<void()> errors;
    Notifier<void()> active;
    Notifier<void()> ok;
  };
  using NotifiersPointer =
      std::unique_ptr<Notifiers, zol::pmr::AllocationDeleter<zol::pmr::polymorphic_allocator<Notifiers>>>;

  Notifier<void()>& NotifierFor(unsigned value) {
    switch (value) {
      case kStatesValue:
        return notifiers_->states;
      case kErrorsValue:
        return notifiers_->errors;
      case kActiveValue:
        return notifiers_->active;
      default:
        return notifiers_->ok;
    }
  }

  // A std::string rather than a pmr one: the service keeps a copy in its own bookkeeping on the global heap.
  const std::string component_;
  bool connected_{false};
  // The devices this client asked for and has not cancelled. The service holds requests per component, so
  // another client of the same component may cancel one of them, and a device may be removed.
  std::set<std::string> requested_;
  mutable std::recursive_mutex mutex_;
  NotifiersPointer notifiers_;
  bool closed_{false};
  int notifying_{0};
};

namespace {

/// The subscription handed out by a client: cancels and inspects the notifier's own subscription under the
/// client's mutex, so that a subscriber on one thread and a notification on another do not race.
class GuardedSubscriptionState final : public zol::afw::core::SubscriptionState {
 public:
  GuardedSubscriptionState(std::shared_ptr<ClientState> owner, Subscription inner)
      : owner_(std::move(owner)), inner_(std::move(inner)) {}
  GuardedSubscriptionState(const GuardedSubscriptionState&) = delete;
  GuardedSubscriptionState(GuardedSubscriptionState&&) = delete;
  GuardedSubscriptionState& operator=(const GuardedSubscriptionState&) = delete;
  GuardedSubscriptionState& operator=(GuardedSubscriptionState&&) = delete;
  // The inner subscription is cancelled here, under the lock, before the members go.
  ~GuardedSubscriptionState() override { GuardedSubscriptionState::Cancel(); }

  void Cancel() override { owner_->CancelSubscription(inner_); }
  ZOL_NODISCARD bool IsActive() const override { return owner_->SubscriptionIsActive(inner_); }

 private:
  std::shared_ptr<ClientState> owner_;
  Subscription inner_;
};

}  // namespace

Subscription ClientState::Subscribe(unsigned value, Callback callback, const std::shared_ptr<ClientState>& self) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (closed_ || !notifiers_) {
    return {};
  }
  Subscription inner = NotifierFor(value).Subscribe(std::move(callback));
  const zol::pmr::polymorphic_allocator<GuardedSubscriptionState> allocator(zol::pmr::get_default_resource());
  return Subscription(std::allocate_shared<GuardedSubscriptionState>(allocator, self, std::move(inner)));
}

void ClientState::Notify(unsigned changed) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (closed_ || !notifiers_) {
    return;
  }
  ++notifying_;
  for (const unsigned value : {kStatesValue, kErrorsValue, kActiveValue, kOkValue}) {
    if ((changed & value) != 0U && !closed_) {
      NotifierFor(value).Notify();
    }
  }
  --notifying_;
  if (closed_ && notifying_ == 0) {
    notifiers_.reset();
  }
}

void ClientState::Close() {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  closed_ = true;
  if (notifying_ == 0) {
    notifiers_.reset();
  }
}

}  // namespace detail

namespace {

using detail::ClientState;
using ErrorSet = std::set<DeviceErrorCode>;

struct Device {
  std::set<std::string> requesters;  // components
  ErrorSet raised;
};

// Every value a client can subscribe to, as last reported to it.
struct Snapshot {
  std::map<std::string, bool> states;
  std::map<std::string, ErrorSet> errors;
  bool active{true};
  bool ok{true};
};

struct Connection {
  // Weak: the client's lifetime is its owner's. Disconnecting removes the entry at once, so the service never
  // keeps the client's memory (from the default resource at its creation) beyond the client.
  std::weak_ptr<ClientState> client;
  const ClientState* key;
  Snapshot last;
};

// What the alive supervision is computed from, read before taking the service's lock so that the two
// services' locks are never nested.
struct AliveInputs {
  zol::MonoClock::time_point now;
  zol::MonoClock::time_point reference;  // the later of the signal service's start and its last arrival
};

// A notification to deliver once the lock is released.
struct Delivery {
  std::shared_ptr<ClientState> client;
  unsigned changed;
};

std::string ToStdString(zol::string_view text) { return {text.data(), text.size()}; }

struct ServiceState {
  std::mutex mutex;
  zol::log::Context log{"DACT", "Device activation service"};
  std::map<std::string, Device> devices;
  zol::MonoClock::duration alive_timeout{kDefaultAliveTimeout};
  zol::detail::FailureInjector<Operation, kOperationCount, ErrorCode> failures;
  std::vector<Connection> connections;

  ServiceState() { devices.emplace(ToStdString(kSupervisedDevice), Device{}); }
};

// Never destroyed: clients held by static objects of other libraries may still call in at process exit.
ServiceState& State() {
  static typename std::aligned_storage<sizeof(ServiceState), alignof(ServiceState)>::type storage;
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): the one process-wide state, behind its mutex
  static auto* const state = ::new (static_cast<void*>(&storage)) ServiceState();
  return *state;
}

std::size_t IndexOf(Operation op) { return static_cast<std::size_t>(op); }

void LogWarning(const ServiceState& state, zol::string_view message) {
  state.log.Log(zol::log::LoggingLevel::kWarn, message);
}

template <typename... Args>
void LogWarningFormatted(const ServiceState& state, zol::string_view format, const Args&... args) {
  std::array<char, 192> message{};
  const std::size_t length = zol::format::FormatTo(message.data(), message.size(), format, args...);
  LogWarning(state, zol::string_view(message.data(), length));
}

AliveInputs ReadAliveInputs() {
  const zol::signalcomm::Service& signals = zol::signalcomm::Service::Instance();
  const zol::MonoClock::time_point started = signals.started_at();
  zol::MonoClock::time_point reference = started;
  if (signals.has_arrivals()) {
    reference = std::max(started, signals.last_arrival());
  }
  // Read last, so that an arrival seen above is never later than now.
  return AliveInputs{zol::MonoClock::now(), reference};
}

// Counts the call and fires the injection due for it. Caller holds the lock.
ErrorCode Enter(ServiceState& state, Operation op) {
  ErrorCode injected = ErrorCode::kSuccess;
  return state.failures.Intercept(op, &injected) ? injected : ErrorCode::kSuccess;
}

// The common entry of client operations that need a connection. Caller holds the lock.
ErrorCode EnterConnected(ServiceState& state, Operation op, const ClientState& client) {
  const ErrorCode entered = Enter(state, op);
  if (entered != ErrorCode::kSuccess) {
    return entered;
  }
  return client.connected() ? ErrorCode::kSuccess : ErrorCode::kBadState;
}

// Caller holds the lock.
ErrorSet ErrorsOf(const ServiceState& state, const std::string& name, const Device& device, const AliveInputs& inputs) {
  ErrorSet errors = device.raised;
  if (zol::string_view(name) == kSupervisedDevice && inputs.now - inputs.reference > state.alive_timeout) {
    errors.insert(DeviceErrorCode::kAliveTimeoutExceeded);
  }
  return errors;
}

// Caller holds the lock.
bool AreActive(const ServiceState& state, const ClientState& client) {
  return std::all_of(client.requested().begin(), client.requested().end(), [&state](const std::string& name) {
    const auto found = state.devices.find(name);
    return found != state.devices.end() && !found->second.requesters.empty();
  });
}

// A device that is no longer known reports no errors. Caller holds the lock.
bool AreOk(const ServiceState& state, const ClientState& client, const AliveInputs& inputs) {
  return std::none_of(client.requested().begin(), client.requested().end(), [&state, &inputs](const std::string& name) {
    const auto found = state.devices.find(name);
    return found != state.devices.end() && !ErrorsOf(state, found->first, found->second, inputs).empty();
  });
}

// Caller holds the lock.
Snapshot Evaluate(const ServiceState& state, const ClientState& client, const AliveInputs& inputs) {
  Snapshot snapshot;
  for (const auto& entry : state.devices) {
    snapshot.states.emplace(entry.first, !entry.second.requesters.empty());
    snapshot.errors.emplace(entry.first, ErrorsOf(state, entry.first, entry.second, inputs));
  }
  snapshot.active = AreActive(state, client);
  snapshot.ok = AreOk(state, client, inputs);
  return snapshot;
}

// Re-evaluates every value for every connected client and returns the notifications that are due. Caller holds
// the lock; the notifications are delivered after it is released, so that callbacks may call the service.
std::vector<Delivery> EvaluateAll(ServiceState& state, const AliveInputs& inputs) {
  std::vector<Delivery> deliveries;
  for (auto it = state.connections.begin(); it != state.connections.end();) {
    std::shared_ptr<ClientState> client = it->client.lock();
    if (!client) {
      it = state.connections.erase(it);
      continue;
    }
    Snapshot now = Evaluate(state, *client, inputs);
    unsigned changed = 0U;
    if (now.states != it->last.states) {
      changed |= kStatesValue;
    }
    if (now.errors != it->last.errors) {
      changed |= kErrorsValue;
    }
    if (now.active != it->last.active) {
      changed |= kActiveValue;
    }
    if (now.ok != it->last.ok) {
      changed |= kOkValue;
    }
    it->last = std::move(now);
    if (changed != 0U) {
      deliveries.push_back(Delivery{std::move(client), changed});
    }
    ++it;
  }
  return deliveries;
}

// Notifications caused from inside a callback wait on this thread's queue until that callback has returned.
// Callbacks thus never run while another client's mutex is held by the same thread, so two threads whose callbacks
// change requests seen by each other's clients cannot deadlock; and no callback is re-entered.
void Deliver(std::vector<Delivery> deliveries) {
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): this thread's delivery in progress
  thread_local std::vector<Delivery>* queue = nullptr;
  if (queue != nullptr) {
    std::move(deliveries.begin(), deliveries.end(), std::back_inserter(*queue));
    return;
  }
  struct QueueScope {
    explicit QueueScope(std::vector<Delivery>* own) { queue = own; }
    QueueScope(const QueueScope&) = delete;
    QueueScope(QueueScope&&) = delete;
    QueueScope& operator=(const QueueScope&) = delete;
    QueueScope& operator=(QueueScope&&) = delete;
    ~QueueScope() { queue = nullptr; }
  };
  const QueueScope scope(&deliveries);
  // By index and by copy: callbacks may append, which moves the elements.
  // NOLINTNEXTLINE(modernize-loop-convert): a range-for's iterators would not survive the appends
  for (std::size_t i = 0; i < deliveries.size(); ++i) {
    const Delivery delivery = deliveries[i];
    delivery.client->Notify(delivery.changed);
  }
}

ErrorCode ChangeRequest(ClientState& client, zol::string_view device, bool active) {
  const AliveInputs inputs = ReadAliveInputs();
  ServiceState& state = State();
  std::vector<Delivery> deliveries;
  {
    std::lock_guard<std::mutex> lock(state.mutex);
    const ErrorCode entered =
        EnterConnected(state, active ? Operation::kRequestDeviceActive : Operation::kCancelDeviceActiveRequest, client);
    if (entered != ErrorCode::kSuccess) {
      return entered;
    }
    const auto found = state.devices.find(ToStdString(device));
    if (found == state.devices.end()) {
      return ErrorCode::kNotFound;
    }
    std::set<std::string>& requesters = found->second.requesters;
    bool changed = false;
    if (active) {
      changed = requesters.insert(client.component()).second;
      changed = client.requested().insert(found->first).second || changed;
    } else {
      changed = requesters.erase(client.component()) != 0U;
      changed = client.requested().erase(found->first) != 0U || changed;
    }
    if (!changed) {
      return ErrorCode::kSuccess;
    }
    deliveries = EvaluateAll(state, inputs);
  }
  Deliver(std::move(deliveries));
  return ErrorCode::kSuccess;
}

void Unregister(const ClientState& client) {
  ServiceState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  const auto removed = std::remove_if(state.connections.begin(), state.connections.end(),
                                      [&client](const Connection& connection) { return connection.key == &client; });
  state.connections.erase(removed, state.connections.end());
}

}  // namespace

// ---------------------------------------------------------------------------------------------------------------
// DeviceActivator

DeviceActivator::DeviceActivator() = default;

DeviceActivator::DeviceActivator(std::shared_ptr<detail::ClientState> state) : state_(std::move(state)) {}

DeviceActivator::DeviceActivator(DeviceActivator&& other) noexcept : state_(std::move(other.state_)) {}

DeviceActivator& DeviceActivator::operator=(DeviceActivator&& other) noexcept {
  if (this != &other) {
    Disconnect();
    state_ = std::move(other.state_);
  }
  return *this;
}

DeviceActivator::~DeviceActivator() { Disconnect(); }

void DeviceActivator::Disconnect() noexcept {
  if (state_) {
    Unregister(*state_);
    state_->Close();
    state_.reset();
  }
}

StatusOr<DeviceActivator> DeviceActivator::Create(const zol::afw::core::ContextualObject* parent) {
  ServiceState& state = State();
  {
    std::lock_guard<std::mutex> lock(state.mutex);
    const ErrorCode entered = Enter(state, Operation::kCreate);
    if (entered != ErrorCode::kSuccess) {
      return entered;
    }
  }
  std::string component = parent != nullptr ? parent->qualified_name() : std::string();
  const zol::pmr::polymorphic_allocator<detail::ClientState> allocator(zol::pmr::get_default_resource());
  return DeviceActivator(std::allocate_shared<detail::ClientState>(allocator, std::move(component)));
}

ErrorCode DeviceActivator::Init() {
  if (!state_) {
    return ErrorCode::kNotAvailable;
  }
  const AliveInputs inputs = ReadAliveInputs();
  ServiceState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  const ErrorCode entered = Enter(state, Operation::kInit);
  if (entered != ErrorCode::kSuccess) {
    return entered;
  }
  if (!state_->connected()) {
    // The values at connection are the baseline: subscribers hear of changes after it.
    state.connections.push_back(Connection{state_, state_.get(), Evaluate(state, *state_, inputs)});
    state_->set_connected();
  }
  return ErrorCode::kSuccess;
}

ErrorCode DeviceActivator::RequestDeviceActive(const DeviceName& device) {
  if (!state_) {
    return ErrorCode::kNotAvailable;
  }
  return ChangeRequest(*state_, zol::string_view(device.data(), device.size()), true);
}

ErrorCode DeviceActivator::CancelDeviceActiveRequest(const DeviceName& device) {
  if (!state_) {
    return ErrorCode::kNotAvailable;
  }
  return ChangeRequest(*state_, zol::string_view(device.data(), device.size()), false);
}

StatusOr<DeviceStates> DeviceActivator::GetRequestedDeviceStates() const {
  if (!state_) {
    return ErrorCode::kNotAvailable;
  }
  ServiceState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  const ErrorCode entered = EnterConnected(state, Operation::kGetRequestedDeviceStates, *state_);
  if (entered != ErrorCode::kSuccess) {
    return entered;
  }
  DeviceStates states;
  for (const auto& entry : state.devices) {
    states.emplace(DeviceName(entry.first.data(), entry.first.size(), states.get_allocator()),
                   !entry.second.requesters.empty());
  }
  return states;
}

StatusOr<DeviceErrors> DeviceActivator::GetRequestedDeviceErrors() const {
  // An unconnected client (default constructed, or created and not initialised) knows of no device errors, and
  // says so: components poll this every cycle, and failing the query would blame the device activation service
  // in each cycle for what is a set-up problem of the component, reported once where it happened.
  if (!state_) {
    return DeviceErrors();
  }
  const AliveInputs inputs = ReadAliveInputs();
  ServiceState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  // Counted, and failed when a failure is injected, like every call that reaches the service.
  const ErrorCode entered = Enter(state, Operation::kGetRequestedDeviceErrors);
  if (entered != ErrorCode::kSuccess) {
    return entered;
  }
  DeviceErrors errors;
  if (!state_->connected()) {
    return errors;
  }
  for (const auto& entry : state.devices) {
    const ErrorSet current = ErrorsOf(state, entry.first, entry.second, inputs);
    DeviceErrorSet codes(current.begin(), current.end(), errors.get_allocator());
    errors.emplace(DeviceName(entry.first.data(), entry.first.size(), errors.get_allocator()), std::move(codes));
  }
  return errors;
}

StatusOr<bool> DeviceActivator::GetRequestedDevicesAreActive() const {
  if (!state_) {
    return ErrorCode::kNotAvailable;
  }
  ServiceState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  const ErrorCode entered = EnterConnected(state, Operation::kGetRequestedDevicesAreActive, *state_);
  if (entered != ErrorCode::kSuccess) {
    return entered;
  }
  return AreActive(state, *state_);
}

StatusOr<bool> DeviceActivator::GetRequestedDevicesAreOk() const {
  if (!state_) {
    return ErrorCode::kNotAvailable;
  }
  const AliveInputs inputs = ReadAliveInputs();
  ServiceState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  const ErrorCode entered = EnterConnected(state, Operation::kGetRequestedDevicesAreOk, *state_);
  if (entered != ErrorCode::kSuccess) {
    return entered;
  }
  return AreOk(state, *state_, inputs);
}

Subscription DeviceActivator::SubscribeToRequestedDeviceStates(Callback callback) {
  return state_ ? state_->Subscribe(kStatesValue, std::move(callback), state_) : Subscription();
}

Subscription DeviceActivator::SubscribeToRequestedDeviceErrors(Callback callback) {
  return state_ ? state_->Subscribe(kErrorsValue, std::move(callback), state_) : Subscription();
}

Subscription DeviceActivator::SubscribeToRequestedDevicesAreActive(Callback callback) {
  return state_ ? state_->Subscribe(kActiveValue, std::move(callback), state_) : Subscription();
}

Subscription DeviceActivator::SubscribeToRequestedDevicesAreOk(Callback callback) {
  return state_ ? state_->Subscribe(kOkValue, std::move(callback), state_) : Subscription();
}

// ---------------------------------------------------------------------------------------------------------------
// DeviceActivationService

DeviceActivationService& DeviceActivationService::Instance() {
  // Stateless front of State(): the state must survive static destruction, the front need not.
  static DeviceActivationService service;
  return service;
}

// The members stay members although they reach only State(): callers hold the service as an object, and a
// vehicle platform's service keeps its state in it.
// NOLINTBEGIN(readability-convert-member-functions-to-static)

void DeviceActivationService::Reset() {
  ServiceState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  state.devices.clear();
  state.devices.emplace(ToStdString(kSupervisedDevice), Device{});
  state.alive_timeout = kDefaultAliveTimeout;
  state.failures.Reset();
  for (const Connection& connection : state.connections) {
    if (const std::shared_ptr<ClientState> client = connection.client.lock()) {
      client->requested().clear();
    }
  }
}

void DeviceActivationService::DefineDevice(zol::string_view name) {
  ServiceState& state = State();
  if (name.empty() || name.size() > kMaxDeviceNameLength) {
    LogWarningFormatted(state, "DefineDevice ignored: a device name needs 1 to {} characters, \"{}\" has {}",
                        kMaxDeviceNameLength, name, name.size());
    return;
  }
  std::lock_guard<std::mutex> lock(state.mutex);
  state.devices.emplace(ToStdString(name), Device{});
}

void DeviceActivationService::RemoveDevice(zol::string_view name) {
  ServiceState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  state.devices.erase(ToStdString(name));
}

void DeviceActivationService::SetAliveTimeout(zol::MonoClock::duration timeout) {
  ServiceState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  state.alive_timeout = timeout;
}

void DeviceActivationService::RaiseError(zol::string_view device, DeviceErrorCode code) {
  ServiceState& state = State();
  bool known = false;
  {
    std::lock_guard<std::mutex> lock(state.mutex);
    const auto found = state.devices.find(ToStdString(device));
    if (found != state.devices.end()) {
      found->second.raised.insert(code);
      known = true;
    }
  }
  if (!known) {
    LogWarningFormatted(state, "RaiseError ignored: unknown device \"{}\"", device);
  }
}

void DeviceActivationService::ClearError(zol::string_view device, DeviceErrorCode code) {
  ServiceState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  const auto found = state.devices.find(ToStdString(device));
  if (found != state.devices.end()) {
    found->second.raised.erase(code);
  }
}

void DeviceActivationService::InjectFailure(Operation op, std::size_t nth_call, ErrorCode code) {
  ServiceState& state = State();
  const std::size_t index = IndexOf(op);
  if (index >= kOperationCount || nth_call == 0U || !zol::afw::core::IsFailure(code)) {
    LogWarningFormatted(state, "InjectFailure ignored: operation {}, call {}, code {} (needs call >= 1, code < 0)",
                        index, nth_call, code);
    return;
  }
  std::lock_guard<std::mutex> lock(state.mutex);
  static_cast<void>(state.failures.Inject(op, nth_call, code));  // the arguments were checked above
}

void DeviceActivationService::ClearInjections() {
  ServiceState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  state.failures.ClearInjections();
}

std::size_t DeviceActivationService::CallCount(Operation op) const {
  ServiceState& state = State();
  const std::size_t index = IndexOf(op);
  if (index >= kOperationCount) {
    return 0U;
  }
  std::lock_guard<std::mutex> lock(state.mutex);
  return state.failures.calls(op);
}

std::size_t DeviceActivationService::RequestCount(zol::string_view device) const {
  ServiceState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  const auto found = state.devices.find(ToStdString(device));
  return found != state.devices.end() ? found->second.requesters.size() : 0U;
}

void DeviceActivationService::NotifySubscribers() {
  const AliveInputs inputs = ReadAliveInputs();
  ServiceState& state = State();
  std::vector<Delivery> deliveries;
  {
    std::lock_guard<std::mutex> lock(state.mutex);
    deliveries = EvaluateAll(state, inputs);
  }
  Deliver(std::move(deliveries));
}

// NOLINTEND(readability-convert-member-functions-to-static)

}  // namespace device_activator
