/// @file
/// @brief Exit statuses of every fsrl command.
#ifndef FSRL_EXIT_STATUS_H
#define FSRL_EXIT_STATUS_H

namespace fsrl {

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;  ///< the environment failed: a file cannot be opened or written, set-up failed
constexpr int kExitUsage = 2;    ///< bad command line or, where the command says so, bad input

}  // namespace fsrl

#endif  // FSRL_EXIT_STATUS_H
