#ifndef ZOL_NODISCARD_H
#define ZOL_NODISCARD_H

/// @file
/// @brief ZOL_NODISCARD: marks a type (or a function) whose value must not be dropped by the caller.
///
/// Put on a class or an enumeration, every function returning that type by value warns when a caller ignores the
/// result; library code builds with -Werror, so there an ignored ErrorCode or StatusOr does not compile. A result
/// that is ignored on purpose is cast to void, with a comment saying why.
///
/// Spelled per language level and compiler, so that it is diagnosed in every build and never warns by itself under
/// -Wpedantic:
///  - C++17 and later: the standard [[nodiscard]].
///  - clang before C++17: [[clang::warn_unused_result]], clang's own spelling, which it accepts on types without the
///    "C++17 extension" warning its [[nodiscard]] gives in C++14.
///  - GCC before C++17: [[nodiscard]], which GCC accepts on types in C++14 mode without a warning, -Wpedantic
///    included (its warn_unused_result would apply to functions only).
///  - any other compiler: nothing; the code stays valid, only the diagnostic is lost.

// A toolchain that needs another spelling defines ZOL_NODISCARD itself, before any platform header.
#if defined(ZOL_NODISCARD)
// Given by the build.
#elif __cplusplus >= 201703L
#define ZOL_NODISCARD [[nodiscard]]
#elif defined(__clang__)
#define ZOL_NODISCARD [[clang::warn_unused_result]]
#elif defined(__GNUC__) && defined(__has_cpp_attribute)
#if __has_cpp_attribute(nodiscard)
#define ZOL_NODISCARD [[nodiscard]]
#endif
#endif

#if !defined(ZOL_NODISCARD)
#define ZOL_NODISCARD
#endif

#endif  // ZOL_NODISCARD_H
