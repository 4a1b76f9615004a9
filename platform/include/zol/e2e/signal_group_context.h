/// @file
/// @brief Ties one signal group to its rows of a constant signal database.
#ifndef ZOL_E2E_SIGNAL_GROUP_CONTEXT_H
#define ZOL_E2E_SIGNAL_GROUP_CONTEXT_H

#include "zol/e2e/signal_database.h"

namespace zol {
namespace e2e {

/// @brief Pointers into a signal database that describe one signal group.
///
/// A plain value: it owns nothing and is valid as long as the database it points into (a constant database
/// lives for the whole process). All pointers are null in a default-constructed context.
struct SignalGroupContext {
  /// The group's record.
  const SignalAdapter_SignalGroup* signal_group_{nullptr};
  /// The group's first signal record in the signal table (the group's signals follow contiguously).
  const SignalAdapter_Signal* signals_{nullptr};
  /// The group's first record in the re-sorted signal table; null when the database has none.
  const SignalAdapter_Signal* tav_sorted_signals_{nullptr};
  /// Start of the whole signal table.
  const SignalAdapter_Signal* signals_db_{nullptr};
  /// Start of the whole re-sorted signal table; null when the database has none.
  const SignalAdapter_Signal* tav_sorted_signals_db_{nullptr};
};

/// @brief Makes the context of the group at @p index of @p groups.
///
/// The group's signal records are found through its `signal_start_index` in @p signals and, when given, in
/// @p tav_sorted_signals. Nothing is validated or reported here (the tables carry no length): a bad database row
/// shows up when a protection is created for the context. A null @p groups gives an all-null context; a null
/// @p signals or @p tav_sorted_signals gives null pointers for that table.
/// @param index position of the group in @p groups
/// @param groups the database's group table
/// @param signals the database's signal table
/// @param tav_sorted_signals the re-sorted signal table, or null
SignalGroupContext InitializeSignalGroup(unsigned int index, const SignalAdapter_SignalGroup* groups,
                                         const SignalAdapter_Signal* signals,
                                         const SignalAdapter_Signal* tav_sorted_signals);

}  // namespace e2e
}  // namespace zol

#endif  // ZOL_E2E_SIGNAL_GROUP_CONTEXT_H
