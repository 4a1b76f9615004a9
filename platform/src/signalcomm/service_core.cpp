#include "service_core.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

#include "zol/format/format.h"

namespace zol {
namespace signalcomm {
namespace detail {

namespace {

// Identities are opaque to clients. Starting far from 0 and 1 makes a client that confuses a group's index
// with its identity fail at once instead of reading the neighbouring group.
constexpr SignalComm_Name_t kFirstIdentity = 0x1001UL;

// Context and cache handles share one sequence that survives Reset, so a handle from before a reset, or a
// handle of the other kind, is never taken for a live one.
constexpr std::uint64_t kHandleBase = 0x5C00000000000000ULL;

constexpr std::array<const char*, kFunctionCount> kFunctionNames = {{
    "SignalComm_CreateContext",
    "SignalComm_DestroyContext",
    "SignalComm_GetSignalGroupInfo",
    "SignalComm_SignalGroupCache_Create",
    "SignalComm_SignalGroupCache_Destroy",
    "SignalComm_SignalGroupCache_GetByIndex",
    "SignalComm_SignalGroupCache_Retrieve",
    "SignalComm_SetNotificationConfig",
    "SignalComm_Signal_GetByteArray",
    "SignalComm_Signal_GetByteArrayBuffer",
}};

bool IsConfig(SignalComm_SignalGroupNotificationConfig config) {
  return config == SIGNAL_GROUP_NOTIFICATION_CONFIG_DISABLED || config == SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED ||
         config == SIGNAL_GROUP_NOTIFICATION_CONFIG_MODIFIED;
}

}  // namespace

const char* FunctionName(Function function) {
  const auto index = static_cast<std::size_t>(function);
  return index < kFunctionCount ? kFunctionNames[index] : "SignalComm";
}

bool FunctionByName(zol::string_view name, Function* function) {
  for (std::size_t i = 0; i < kFunctionCount; ++i) {
    if (name == zol::string_view(kFunctionNames[i])) {
      *function = static_cast<Function>(i);
      return true;
    }
  }
  return false;
}

ServiceCore& ServiceCore::Instance() {
  // Deliberately never destroyed: signal adapters are owned by objects that may be destroyed during static
  // destruction, in an order against ours that nobody controls, and they close their contexts then. The
  // worker thread waits for work until the process ends.
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): the one process-wide service, behind its mutex
  static auto* const core = new ServiceCore();
  return *core;
}

ServiceCore::ServiceCore()
    : log_("SCOM", "Signal communication service"), started_at_(zol::MonoClock::now()), last_arrival_(started_at_) {}

void ServiceCore::Misuse(zol::string_view message) const { log_.Log(zol::log::LoggingLevel::kWarn, message); }

void ServiceCore::Failure(zol::string_view message) const { log_.Log(zol::log::LoggingLevel::kError, message); }

ServiceCore::Group* ServiceCore::FindGroup(SignalComm_Name_t name) const {
  if (name < kFirstIdentity || name - kFirstIdentity >= groups_.size()) {
    return nullptr;
  }
  return groups_[name - kFirstIdentity].get();
}

ServiceCore::Group* ServiceCore::FindGroup(zol::string_view name) const {
  for (const auto& group : groups_) {
    if (zol::string_view(group->text.data(), group->text.size()) == name) {
      return group.get();
    }
  }
  return nullptr;
}

ServiceCore::ContextRecord* ServiceCore::FindContext(SignalComm_Context_t handle) const {
  const auto found = contexts_.find(handle);
  return found == contexts_.end() ? nullptr : found->second.get();
}

ServiceCore::Cache* ServiceCore::FindCache(SignalComm_SignalGroupCache_t handle) const {
  const auto found = caches_.find(handle);
  return found == caches_.end() ? nullptr : found->second.get();
}

const ServiceCore::Slot* ServiceCore::FindSlot(const Cache& cache, const SignalComm_Signal& signal) {
  // The usual caller passes the signal record of the slot itself; that also tells apart two slots of the
  // same group. The slots lie in one array, so such a record gives its slot's index by its address, without a
  // search over the slots on every read. A copy of the record is found by its group.
  if (!cache.slots.empty()) {
    const auto address = reinterpret_cast<std::uintptr_t>(&signal);
    const auto first = reinterpret_cast<std::uintptr_t>(&cache.slots.front().signal);
    if (address >= first) {
      const std::uintptr_t index = (address - first) / sizeof(Slot);
      if (index < cache.slots.size() && &cache.slots[index].signal == &signal) {
        return &cache.slots[index];
      }
    }
  }
  if (signal.index != 0) {
    return nullptr;
  }
  for (const Slot& slot : cache.slots) {
    if (slot.group.name == signal.group) {
      return &slot;
    }
  }
  return nullptr;
}

std::uint64_t ServiceCore::NextHandle() { return kHandleBase + ++last_handle_; }

bool ServiceCore::OnWorkerThread() const { return worker_id_ == std::this_thread::get_id(); }

// ---------------------------------------------------------------------------------------------------------
// Configuration

void ServiceCore::DefineLocked(zol::string_view name, std::size_t length) {
  if (name.empty()) {
    Misuse("DefineSignalGroup: a signal group needs a name");
    return;
  }
  if (length > std::numeric_limits<std::uint32_t>::max()) {
    MisuseFormatted("DefineSignalGroup: length {} of '{}' is too large", length, name);
    return;
  }
  if (const Group* known = FindGroup(name)) {
    if (known->latest.size() != length) {
      MisuseFormatted("DefineSignalGroup: '{}' is already defined with length {}, not {}; ignored", name,
                      known->latest.size(), length);
    }
    return;
  }
  std::unique_ptr<Group> group(new Group());
  group->index = groups_.size();
  group->name = kFirstIdentity + group->index;
  group->text.assign(name.data(), name.size());
  group->latest.assign(length, 0U);
  group->info.name = group->name;
  group->info.group_name = group->text.c_str();
  group->info.length = static_cast<std::uint32_t>(length);
  groups_.push_back(std::move(group));
}

void ServiceCore::DefineSignalGroup(zol::string_view name, std::size_t length) {
  const std::lock_guard<std::mutex> lock(mutex_);
  DefineLocked(name, length);
}

void ServiceCore::DefineSignalGroups(const SignalAdapter_SignalGroup* groups, std::size_t count) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (groups == nullptr && count > 0) {
    Misuse("DefineSignalGroups: null group table");
    return;
  }
  for (std::size_t i = 0; i < count; ++i) {
    // The name field is NUL-terminated by contract; a full field without NUL is still bounded by its size.
    const char* name = reinterpret_cast<const char*>(groups[i].name);
    const void* end = std::memchr(name, '\0', SIGNAL_DB_NAME_SIZE);
    const std::size_t name_length =
        end == nullptr ? SIGNAL_DB_NAME_SIZE : static_cast<std::size_t>(static_cast<const char*>(end) - name);
    DefineLocked(zol::string_view(name, name_length), groups[i].data_length / 8U);
  }
}

void ServiceCore::Reset() {
  std::unique_lock<std::mutex> lock(mutex_);
  // A callback in progress may still use its context's caches; let it finish first. From inside a callback
  // waiting would never end, and the caller has taken on that no one else uses the service.
  if (!OnWorkerThread()) {
    delivered_cv_.wait(lock, [this] { return running_context_ == 0; });
  }
  caches_.clear();
  contexts_.clear();
  groups_.clear();
  // Dropped notifications count as done, so that a FlushNotifications waiting for them returns.
  delivered_ += queue_.size();
  queue_.clear();
  started_at_ = zol::MonoClock::now();
  last_arrival_ = started_at_;
  arrival_count_ = 0;
  failures_.Reset();
  delivered_cv_.notify_all();
}

SignalComm_Name_t ServiceCore::IdentityOf(zol::string_view name) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const Group* group = FindGroup(name);
  return group == nullptr ? 0 : group->name;
}

// ---------------------------------------------------------------------------------------------------------
// Producer side and notifications

template <typename Key>
int ServiceCore::PublishTo(const Key& key, zol::string_view unknown, zol::memory::span<const std::uint8_t> payload) {
  const std::lock_guard<std::mutex> lock(mutex_);
  Group* group = FindGroup(key);
  if (group == nullptr) {
    MisuseFormatted(unknown, key);
    return SIGNALCOMM_E_NOT_FOUND;
  }
  return PublishLocked(*group, payload);
}

int ServiceCore::Publish(zol::string_view group_name, zol::memory::span<const std::uint8_t> payload) {
  return PublishTo(group_name, "Publish: unknown signal group '{}'", payload);
}

int ServiceCore::Publish(SignalComm_Name_t group_name, zol::memory::span<const std::uint8_t> payload) {
  return PublishTo(group_name, "Publish: unknown signal group identity {}", payload);
}

int ServiceCore::PublishLocked(Group& group, zol::memory::span<const std::uint8_t> payload) {
  if (payload.data() == nullptr && !payload.empty()) {
    Misuse("Publish: null payload");
    return SIGNALCOMM_E_INVALID;
  }
  const std::size_t length = std::min(payload.size(), group.latest.size());
  const bool changed = group.generation == 0 || length != group.received_length ||
                       (length > 0 && std::memcmp(group.latest.data(), payload.data(), length) != 0);
  if (length > 0) {
    std::memcpy(group.latest.data(), payload.data(), length);
  }
  std::fill(group.latest.begin() + static_cast<std::ptrdiff_t>(length), group.latest.end(), std::uint8_t{0});
  group.received_length = length;
  ++group.generation;
  last_arrival_ = zol::MonoClock::now();
  ++arrival_count_;

  bool queued = false;
  for (const auto& entry : contexts_) {
    const auto& configs = entry.second->configs;
    const SignalComm_SignalGroupNotificationConfig config =
        group.index < configs.size() ? configs[group.index] : SIGNAL_GROUP_NOTIFICATION_CONFIG_DISABLED;
    if (config == SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED ||
        (config == SIGNAL_GROUP_NOTIFICATION_CONFIG_MODIFIED && changed)) {
      queue_.push_back(Pending{entry.first, group.name});
      ++queued_;
      queued = true;
    }
  }
  if (queued) {
    StartWorkerLocked();
    work_cv_.notify_one();
  }
  return SIGNALCOMM_OK;
}

void ServiceCore::StartWorkerLocked() {
  if (worker_.joinable()) {
    return;
  }
  worker_ = std::thread([this] { RunWorker(); });
  // Set under the lock the worker needs before it does anything, so it is known before the first callback.
  worker_id_ = worker_.get_id();
}

void ServiceCore::RunWorker() {
  std::unique_lock<std::mutex> lock(mutex_);
  std::vector<Pending> batch;
  std::map<SignalComm_Context_t, std::vector<SignalComm_Name_t>> by_context;
  for (;;) {
    work_cv_.wait(lock, [this] { return !queue_.empty(); });
    batch.swap(queue_);
    queue_.clear();
    // One call per context carries all its identities of the batch, in arrival order; contexts are served
    // in the order of their creation.
    for (const Pending& pending : batch) {
      by_context[pending.context].push_back(pending.group);
    }
    for (const auto& entry : by_context) {
      Deliver(lock, entry.first, entry.second);
    }
    delivered_ += batch.size();
    batch.clear();
    by_context.clear();
    delivered_cv_.notify_all();
  }
}

void ServiceCore::Deliver(std::unique_lock<std::mutex>& lock, SignalComm_Context_t handle,
                          const std::vector<SignalComm_Name_t>& names) {
  // The context may have been destroyed (or the service reset) since the notification was queued.
  const ContextRecord* context = FindContext(handle);
  if (context == nullptr) {
    return;
  }
  const SignalComm_NotificationCallback callback = context->callback;
  void* const user = context->user;
  running_context_ = handle;
  lock.unlock();
  try {
    callback(names.data(), static_cast<unsigned long>(names.size()), user);
  } catch (...) {
    // A C callback has no business throwing; keeping the worker alive serves every other client.
    Failure("A notification callback threw an exception; it was dropped");
  }
  lock.lock();
  running_context_ = 0;
  delivered_cv_.notify_all();
}

void ServiceCore::FlushNotifications() {
  std::unique_lock<std::mutex> lock(mutex_);
  if (OnWorkerThread()) {
    Misuse("FlushNotifications called from a notification callback; not waiting");
    return;
  }
  const std::uint64_t target = queued_;
  delivered_cv_.wait(lock, [this, target] { return delivered_ >= target; });
}

zol::MonoClock::time_point ServiceCore::started_at() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return started_at_;
}

bool ServiceCore::has_arrivals() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return arrival_count_ > 0;
}

zol::MonoClock::time_point ServiceCore::last_arrival() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return last_arrival_;
}

std::uint64_t ServiceCore::arrival_count() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return arrival_count_;
}

// ---------------------------------------------------------------------------------------------------------
// Failure injection

void ServiceCore::InjectFailure(zol::string_view function_name, std::size_t nth_call, int code) {
  const std::lock_guard<std::mutex> lock(mutex_);
  Function function{};
  if (!FunctionByName(function_name, &function)) {
    MisuseFormatted("InjectFailure: unknown function '{}'; ignored", function_name);
    return;
  }
  if (nth_call == 0 || code >= 0 || !failures_.Inject(function, nth_call, code)) {
    MisuseFormatted("InjectFailure: call {} with code {} for '{}' is not a failure to inject; ignored", nth_call, code,
                    function_name);
  }
}

void ServiceCore::ClearInjections() {
  const std::lock_guard<std::mutex> lock(mutex_);
  failures_.ClearInjections();
}

std::size_t ServiceCore::CallCount(zol::string_view function_name) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  Function function{};
  return FunctionByName(function_name, &function) ? failures_.calls(function) : 0;
}

ServiceCore::Call::Call(ServiceCore& core, Function function) : core_(core), function_(function), lock_(core.mutex_) {}

void ServiceCore::Call::Misuse(zol::string_view what) const { MisuseFormatted("{}", what); }

// ---------------------------------------------------------------------------------------------------------
// Client side

int ServiceCore::CreateContext(Call& call, const char* client_name, const char* short_name,
                               SignalComm_NotificationCallback callback, void* user, SignalComm_Context_t* context) {
  if (client_name == nullptr || short_name == nullptr || callback == nullptr || context == nullptr) {
    return call.Refuse("null argument", SIGNALCOMM_E_INVALID);
  }
  std::unique_ptr<ContextRecord> record(new ContextRecord());
  record->client_name = client_name;
  record->short_name = short_name;
  record->callback = callback;
  record->user = user;
  return Register(contexts_, std::move(record), context);
}

int ServiceCore::DestroyContext(Call& call, SignalComm_Context_t* context) {
  if (context == nullptr) {
    return call.Refuse("null argument", SIGNALCOMM_E_INVALID);
  }
  const SignalComm_Context_t handle = *context;
  const auto found = contexts_.find(handle);
  if (found == contexts_.end()) {
    return call.Refuse("unknown context", SIGNALCOMM_E_INVALID);
  }
  // Once erased, the worker calls nothing more for it; only a callback already running is left to wait for.
  contexts_.erase(found);
  if (!OnWorkerThread()) {
    delivered_cv_.wait(call.lock(), [this, handle] { return running_context_ != handle; });
  }
  *context = 0;
  return SIGNALCOMM_OK;
}

int ServiceCore::GetSignalGroupInfo(Call& call, SignalComm_Context_t context, const char* const* group_names,
                                    std::size_t count, const SignalComm_SignalGroupInfo** infos) {
  if (count > 0 && (group_names == nullptr || infos == nullptr)) {
    return call.Refuse("null argument", SIGNALCOMM_E_INVALID);
  }
  if (FindContext(context) == nullptr) {
    return call.Refuse("unknown context", SIGNALCOMM_E_INVALID);
  }
  // All names are checked before anything is written, so a failure leaves the caller's array as it was.
  for (std::size_t i = 0; i < count; ++i) {
    if (group_names[i] == nullptr) {
      return call.Refuse("null group name", SIGNALCOMM_E_INVALID);
    }
    if (FindGroup(zol::string_view(group_names[i])) == nullptr) {
      call.MisuseFormatted("unknown signal group '{}'", group_names[i]);
      return SIGNALCOMM_E_NOT_FOUND;
    }
  }
  for (std::size_t i = 0; i < count; ++i) {
    infos[i] = &FindGroup(zol::string_view(group_names[i]))->info;
  }
  return SIGNALCOMM_OK;
}

int ServiceCore::CacheCreate(Call& call, SignalComm_Context_t context, const SignalComm_Name_t* produced,
                             std::size_t produced_count, const SignalComm_Name_t* consumed, std::size_t consumed_count,
                             SignalComm_SignalGroupCache_t* cache) {
  if (cache == nullptr || (produced_count > 0 && produced == nullptr) || (consumed_count > 0 && consumed == nullptr)) {
    return call.Refuse("null argument", SIGNALCOMM_E_INVALID);
  }
  if (FindContext(context) == nullptr) {
    return call.Refuse("unknown context", SIGNALCOMM_E_INVALID);
  }
  if (produced_count > 0) {
    return call.Refuse("producing signal groups is not offered", SIGNALCOMM_E_NOT_SUPPORTED);
  }
  std::size_t total_bytes = 0;
  for (std::size_t i = 0; i < consumed_count; ++i) {
    const Group* group = FindGroup(consumed[i]);
    if (group == nullptr) {
      call.MisuseFormatted("unknown signal group identity {}", consumed[i]);
      return SIGNALCOMM_E_NOT_FOUND;
    }
    total_bytes += group->latest.size();
  }

  // Everything the cache will ever need is taken now: the slots and one block for all snapshots.
  zol::pmr::memory_resource* const resource = zol::pmr::get_default_resource();
  CachePtr created = zol::pmr::MakeUniqueSized<Cache>(resource, resource);
  created->context = context;
  created->bytes.assign(total_bytes, 0U);
  created->slots.reserve(consumed_count);
  std::size_t offset = 0;
  for (std::size_t i = 0; i < consumed_count; ++i) {
    const Group* group = FindGroup(consumed[i]);
    Slot slot{};
    slot.group.name = group->name;
    slot.group.status_flags = SIGNAL_GROUP_STATUS_VALUE_INITIAL;
    slot.group.nbr_of_signals = 1;
    slot.signal.group = group->name;
    slot.signal.index = 0;
    slot.source = group;
    slot.offset = offset;
    slot.length = group->latest.size();
    slot.received_length = slot.length;
    slot.seen_generation = 0;
    slot.holds_payload = false;
    created->slots.push_back(slot);
    offset += slot.length;
  }
  // The slots do not move any more; only now may they point at their own signal records.
  for (Slot& slot : created->slots) {
    slot.group.signals_p = &slot.signal;
  }
  return Register(caches_, std::move(created), cache);
}

int ServiceCore::CacheDestroy(Call& call, SignalComm_SignalGroupCache_t* cache) {
  if (cache == nullptr) {
    return call.Refuse("null argument", SIGNALCOMM_E_INVALID);
  }
  const auto found = caches_.find(*cache);
  if (found == caches_.end()) {
    return call.Refuse("unknown cache", SIGNALCOMM_E_INVALID);
  }
  caches_.erase(found);
  *cache = 0;
  return SIGNALCOMM_OK;
}

int ServiceCore::CacheGetByIndex(Call& call, SignalComm_SignalGroupCache_t cache, std::size_t index,
                                 const SignalComm_SignalGroup** group) {
  if (group == nullptr) {
    return call.Refuse("null argument", SIGNALCOMM_E_INVALID);
  }
  const Cache* found = FindCache(cache);
  if (found == nullptr) {
    return call.Refuse("unknown cache", SIGNALCOMM_E_INVALID);
  }
  if (index >= found->slots.size()) {
    call.MisuseFormatted("index {} beyond the {} consumed groups", index, found->slots.size());
    return SIGNALCOMM_E_INVALID;
  }
  *group = &found->slots[index].group;
  return SIGNALCOMM_OK;
}

int ServiceCore::CacheRetrieve(Call& call, SignalComm_SignalGroupCache_t cache) {
  Cache* found = FindCache(cache);
  if (found == nullptr) {
    return call.Refuse("unknown cache", SIGNALCOMM_E_INVALID);
  }
  // Runs every processing step: copies into the slots' own storage, allocates nothing.
  for (Slot& slot : found->slots) {
    const Group& group = *slot.source;
    std::uint8_t* const snapshot = found->bytes.data() + slot.offset;
    if (group.generation == 0) {
      // Nothing ever arrived; the snapshot is still the zero-filled initial one.
      slot.group.status_flags = SIGNAL_GROUP_STATUS_VALUE_INITIAL;
      continue;
    }
    if (group.generation == slot.seen_generation) {
      slot.group.status_flags = 0;
      continue;
    }
    const bool modified = !slot.holds_payload || group.received_length != slot.received_length ||
                          (slot.length > 0 && std::memcmp(snapshot, group.latest.data(), slot.length) != 0);
    if (slot.length > 0) {
      // The group's bytes beyond its received length are zeros, so one copy keeps the snapshot's tail zero.
      std::memcpy(snapshot, group.latest.data(), slot.length);
    }
    slot.received_length = group.received_length;
    slot.seen_generation = group.generation;
    slot.holds_payload = true;
    slot.group.status_flags = static_cast<std::uint16_t>(SIGNAL_GROUP_STATUS_VALUE_UPDATED |
                                                         (modified ? SIGNAL_GROUP_STATUS_VALUE_MODIFIED : 0U));
  }
  return SIGNALCOMM_OK;
}

int ServiceCore::SetNotificationConfig(Call& call, SignalComm_Context_t context, SignalComm_Name_t group,
                                       SignalComm_SignalGroupNotificationConfig config) {
  if (!IsConfig(config)) {
    call.MisuseFormatted("{} is not a setting", static_cast<int>(config));
    return SIGNALCOMM_E_INVALID;
  }
  ContextRecord* record = FindContext(context);
  if (record == nullptr) {
    return call.Refuse("unknown context", SIGNALCOMM_E_INVALID);
  }
  const Group* found = FindGroup(group);
  if (found == nullptr) {
    call.MisuseFormatted("unknown signal group {}", group);
    return SIGNALCOMM_E_NOT_FOUND;
  }
  if (record->configs.size() <= found->index) {
    record->configs.resize(groups_.size(), SIGNAL_GROUP_NOTIFICATION_CONFIG_DISABLED);
  }
  record->configs[found->index] = config;
  return SIGNALCOMM_OK;
}

inline int ServiceCore::ResolvePayload(Call& call, SignalComm_SignalGroupCache_t cache, const SignalComm_Signal& signal,
                                       const std::uint8_t*& bytes, std::size_t& length) const {
  const Cache* found = FindCache(cache);
  if (found == nullptr) {
    return call.Refuse("unknown cache", SIGNALCOMM_E_INVALID);
  }
  const Slot* slot = FindSlot(*found, signal);
  if (slot == nullptr) {
    return call.Refuse("signal not in the cache", SIGNALCOMM_E_NOT_FOUND);
  }
  bytes = found->bytes.data() + slot->offset;
  length = slot->received_length;
  return SIGNALCOMM_OK;
}

int ServiceCore::GetByteArray(Call& call, SignalComm_SignalGroupCache_t cache, const SignalComm_Signal* signal,
                              std::size_t buffer_length, std::uint8_t* buffer, std::size_t* written) {
  if (signal == nullptr || written == nullptr || (buffer == nullptr && buffer_length > 0)) {
    return call.Refuse("null argument", SIGNALCOMM_E_INVALID);
  }
  const std::uint8_t* payload = nullptr;
  std::size_t length = 0;
  const int resolved = ResolvePayload(call, cache, *signal, payload, length);
  if (resolved != SIGNALCOMM_OK) {
    return resolved;
  }
  if (buffer_length < length) {
    call.MisuseFormatted("buffer of {} bytes for a payload of {} bytes", buffer_length, length);
    return SIGNALCOMM_E_INVALID;
  }
  if (length > 0) {
    std::memcpy(buffer, payload, length);
  }
  if (buffer_length > length) {
    std::memset(buffer + length, 0, buffer_length - length);
  }
  *written = length;
  return SIGNALCOMM_OK;
}

int ServiceCore::GetByteArrayBuffer(Call& call, SignalComm_SignalGroupCache_t cache, const SignalComm_Signal* signal,
                                    const std::uint8_t** data, std::size_t* size) {
  if (signal == nullptr || data == nullptr || size == nullptr) {
    return call.Refuse("null argument", SIGNALCOMM_E_INVALID);
  }
  return ResolvePayload(call, cache, *signal, *data, *size);
}

}  // namespace detail
}  // namespace signalcomm
}  // namespace zol
