/// @file
/// @brief Last resort for broken preconditions.
#ifndef ZOL_DETAIL_PANIC_H
#define ZOL_DETAIL_PANIC_H

namespace zol {
namespace detail {

/// Writes "zol panic: <what>" to stderr and aborts the process.
///
/// Used where a caller broke a documented precondition (calling an empty
/// StaticFunction, reading the value of an empty StatusOr, ...). Continuing
/// would mean undefined behaviour, and the platform does not throw on purpose,
/// so the only safe reaction is to stop with a message that names the cause.
/// @param what Description of the broken precondition; may be null.
[[noreturn]] void Panic(const char* what) noexcept;

}  // namespace detail
}  // namespace zol

#endif  // ZOL_DETAIL_PANIC_H
