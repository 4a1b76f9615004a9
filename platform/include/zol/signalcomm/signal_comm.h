/// @file
/// @brief C interface of the signal communication service, as its clients (signal adapters) call it.
///
/// A client opens a context, looks up the groups it consumes by name, creates one signal group cache
/// for them and then, once per processing step, retrieves the cache: a snapshot of the latest payload
/// of every consumed group with flags telling what changed since the previous retrieval. The payload
/// of a group travels as one byte-array signal. The service calls the context's notification callback
/// on a thread of its own with the identities of groups that received data, as configured per group.
///
/// Every function returns 0 (SIGNALCOMM_OK) on success or a negative code. Every pointer argument is
/// checked: a null pointer gives SIGNALCOMM_E_INVALID (a null array is accepted only with a count of 0).
/// A handle that is not (or no longer) known gives SIGNALCOMM_E_INVALID. All functions are thread-safe.
///
/// The producer side (defining groups, publishing payloads) and test support are in
/// zol/signalcomm/service.h.
#ifndef ZOL_SIGNALCOMM_SIGNAL_COMM_H
#define ZOL_SIGNALCOMM_SIGNAL_COMM_H

#include <cstddef>
#include <cstdint>

/// Success.
#define SIGNALCOMM_OK 0
/// An argument is null, out of range, or a handle that is not known.
#define SIGNALCOMM_E_INVALID (-22)
/// A signal group (by name or identity) or a signal is not known.
#define SIGNALCOMM_E_NOT_FOUND (-2)
/// The service ran out of memory.
#define SIGNALCOMM_E_NO_MEMORY (-12)
/// The service cannot do it now.
#define SIGNALCOMM_E_BUSY (-16)
/// The request is valid but not offered by this service.
#define SIGNALCOMM_E_NOT_SUPPORTED (-95)

/// SignalComm_SignalGroup::status_flags: at least one payload arrived since the cache's previous retrieval.
#define SIGNAL_GROUP_STATUS_VALUE_UPDATED 1u
/// SignalComm_SignalGroup::status_flags: the snapshot's bytes differ from the previous snapshot.
#define SIGNAL_GROUP_STATUS_VALUE_MODIFIED 2u
/// SignalComm_SignalGroup::status_flags: the group never received a payload; the snapshot is all zeros.
#define SIGNAL_GROUP_STATUS_VALUE_INITIAL 4u

extern "C" {

// typedef rather than using: a C interface, kept in C's own spelling.
// NOLINTBEGIN(modernize-use-using)

/// Identity of a signal group at the service: non-zero, opaque, valid until the service is reset.
typedef unsigned long SignalComm_Name_t;
/// Handle of a client context; 0 is no context.
typedef std::uint64_t SignalComm_Context_t;
/// Handle of a signal group cache; 0 is no cache.
typedef std::uint64_t SignalComm_SignalGroupCache_t;

/// What the service knows about one signal group.
struct SignalComm_SignalGroupInfo {
  SignalComm_Name_t name;  ///< the group's identity, used by every other call
  const char* group_name;  ///< NUL-terminated name
  std::uint32_t length;    ///< payload length in bytes
};

/// One signal of a group in a cache. Every group carries exactly one signal, index 0: its payload as bytes.
struct SignalComm_Signal {
  SignalComm_Name_t group;  ///< identity of the group the signal belongs to
  std::uint32_t index;      ///< position of the signal within its group
};

/// One consumed group's entry in a cache: a snapshot taken by SignalComm_SignalGroupCache_Retrieve.
struct SignalComm_SignalGroup {
  SignalComm_Name_t name;        ///< the group's identity
  std::uint16_t status_flags;    ///< SIGNAL_GROUP_STATUS_VALUE_* bits of the last retrieval
  std::uint32_t nbr_of_signals;  ///< number of entries of signals_p (always 1)
  SignalComm_Signal* signals_p;  ///< the group's signals
};

/// When the service notifies a context about a group.
enum SignalComm_SignalGroupNotificationConfig {
  SIGNAL_GROUP_NOTIFICATION_CONFIG_DISABLED = 0,  ///< never (the initial setting)
  SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED = 1,   ///< on every arrival of a payload
  SIGNAL_GROUP_NOTIFICATION_CONFIG_MODIFIED = 3,  ///< on an arrival whose bytes differ from the previous payload
  SIGNAL_GROUP_NOTIFICATION_CONFIG_MASK = 65535   ///< width of the setting; not a setting itself
};

/// Called on the service's notification thread with @p count group identities (the same identity may
/// appear more than once, once per arrival) and the user pointer given at context creation.
typedef void (*SignalComm_NotificationCallback)(const unsigned long* names, unsigned long count, void* user);

/// @brief Opens a client context.
/// @param client_name Name of the client (copied).
/// @param short_name Short name of the client (copied).
/// @param callback Notification callback; must not be null.
/// @param user Passed to @p callback unchanged; may be null.
/// @param context Receives the new handle.
int SignalComm_CreateContext(const char* client_name, const char* short_name, SignalComm_NotificationCallback callback,
                             void* user, SignalComm_Context_t* context);

/// @brief Closes a client context and sets @p *context to 0.
///
/// When it returns, no callback of the context runs any more or will run: a callback running on the
/// notification thread at the time is waited for. Called from inside a callback (on the notification
/// thread) it does not wait, and the callback in progress may finish. Caches created with the context
/// stay valid until they are destroyed.
int SignalComm_DestroyContext(SignalComm_Context_t* context);

/// @brief Looks up @p count groups by name.
///
/// On success @p infos[i] points to the record of @p group_names[i]; the records stay valid as long as the
/// context. Fails with SIGNALCOMM_E_NOT_FOUND when a name is not known, and then writes nothing.
int SignalComm_GetSignalGroupInfo(SignalComm_Context_t context, const char* const* group_names, std::size_t count,
                                  const SignalComm_SignalGroupInfo** infos);

/// @brief Creates a cache holding one snapshot slot per consumed group, in the order given.
///
/// All memory of the cache is taken here, from the default zol::pmr memory resource current at the call
/// (which must outlive the cache); retrievals and reads allocate nothing. Before the first retrieval every
/// slot holds the initial snapshot (flag INITIAL, all zeros). Producing groups is not offered: a
/// @p produced_count above 0 gives SIGNALCOMM_E_NOT_SUPPORTED. An unknown identity gives
/// SIGNALCOMM_E_NOT_FOUND.
int SignalComm_SignalGroupCache_Create(SignalComm_Context_t context, const SignalComm_Name_t* produced,
                                       std::size_t produced_count, const SignalComm_Name_t* consumed,
                                       std::size_t consumed_count, SignalComm_SignalGroupCache_t* cache);

/// @brief Destroys a cache, returns its memory and sets @p *cache to 0. Pointers into it become invalid.
int SignalComm_SignalGroupCache_Destroy(SignalComm_SignalGroupCache_t* cache);

/// @brief The slot of the @p index-th consumed group (order of creation); stable for the cache's life.
///
/// An @p index beyond the consumed groups gives SIGNALCOMM_E_INVALID.
int SignalComm_SignalGroupCache_GetByIndex(SignalComm_SignalGroupCache_t cache, std::size_t index,
                                           const SignalComm_SignalGroup** group);

/// @brief Takes a new snapshot of every consumed group and sets each slot's status_flags.
///
/// UPDATED: a payload arrived since this cache's previous retrieval (for the first retrieval: ever).
/// MODIFIED: the snapshot differs from the previous one in its bytes or its received length; the first
/// snapshot holding a received payload always counts as modified. INITIAL: the group never received a
/// payload; its snapshot is all zeros of the group's length. No flag: nothing arrived since the previous
/// retrieval. Allocates nothing.
int SignalComm_SignalGroupCache_Retrieve(SignalComm_SignalGroupCache_t cache);

/// @brief Sets when @p context is notified about @p group.
///
/// @p config must be DISABLED, UPDATED or MODIFIED (else SIGNALCOMM_E_INVALID); an unknown group gives
/// SIGNALCOMM_E_NOT_FOUND.
int SignalComm_SetNotificationConfig(SignalComm_Context_t context, SignalComm_Name_t group,
                                     SignalComm_SignalGroupNotificationConfig config);

/// @brief Copies the snapshot's payload of @p signal into @p buffer.
///
/// Copies the received bytes, fills the rest of @p buffer with zeros and sets @p *written to the number of
/// received bytes copied. A @p buffer_length below the received length gives SIGNALCOMM_E_INVALID and
/// writes nothing. A signal that is not in the cache gives SIGNALCOMM_E_NOT_FOUND. @p buffer may be null
/// only with a @p buffer_length of 0.
int SignalComm_Signal_GetByteArray(SignalComm_SignalGroupCache_t cache, const SignalComm_Signal* signal,
                                   std::size_t buffer_length, std::uint8_t* buffer, std::size_t* written);

/// @brief Points @p *data at the snapshot's payload of @p signal and sets @p *size to its received length.
///
/// The bytes stay valid until the cache's next retrieval or its destruction.
int SignalComm_Signal_GetByteArrayBuffer(SignalComm_SignalGroupCache_t cache, const SignalComm_Signal* signal,
                                         const std::uint8_t** data, std::size_t* size);

// NOLINTEND(modernize-use-using)

}  // extern "C"

#endif  // ZOL_SIGNALCOMM_SIGNAL_COMM_H
