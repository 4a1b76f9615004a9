// The logic of every fuzz target, callable from a libFuzzer entry point and from the regression tests alike.
//
// Each function takes one input as libFuzzer hands it over, runs it through the code under test and checks the
// invariants that must hold for every input. A broken invariant is reported through FuzzFail: by default it
// prints the message and aborts, which libFuzzer records as a crash together with the input.
#ifndef FSRL_FUZZ_FUZZ_TARGETS_H
#define FSRL_FUZZ_FUZZ_TARGETS_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace fsrl_fuzz {

/// The candump line parser on the input as one line, and the log reader on the input as a whole file.
void RunCandumpParser(const std::uint8_t* data, std::size_t size);

/// The typed and raw read of one signal group through the signal adapter. Byte 0 selects the group (mod 52), the
/// remaining bytes are the payload handed to the signal service, of whatever length; when byte 0 / 52 is odd, the
/// payload is first cut or zero-filled to the group's length and protected with its own counter byte.
void RunTypedRead(const std::uint8_t* data, std::size_t size);

/// The profile 5 check and protection of one group over a sequence of operations. Byte 0 selects the group
/// (mod 52); the rest is a list of operations (see profile5_check_logic.cpp).
void RunProfile5Check(const std::uint8_t* data, std::size_t size);

/// A whole replay of the HAL over a bounded number of frames. Byte 0 bit 0 selects the input form: candump text
/// (the rest of the input, read by the log reader) or a binary list of frames (see replay_logic.cpp).
void RunReplay(const std::uint8_t* data, std::size_t size);

/// The human-readable candump reader (byte 0 bit 0: time stamps as deltas), the ASC reader and the BLF reader on
/// the rest of the input as a whole recording and on a prefix of it (which must give a prefix of the frames), and
/// format detection on the input.
void RunCandumpLongReader(const std::uint8_t* data, std::size_t size);
void RunAscReader(const std::uint8_t* data, std::size_t size);
void RunBlfReader(const std::uint8_t* data, std::size_t size);

/// Called with a description when an invariant does not hold.
using FailureHandler = void (*)(const std::string& message);

/// Installs @p handler (null restores the default: print to stderr and abort). A handler that returns leaves the
/// abort to FuzzFail: the target's state after a broken invariant is not trusted any further.
void SetFailureHandler(FailureHandler handler);

/// Reports a broken invariant; does not return.
[[noreturn]] void FuzzFail(const std::string& message);

/// FuzzFail(message) unless @p condition holds.
inline void FuzzCheck(bool condition, const char* message) {
  if (!condition) {
    FuzzFail(message);
  }
}

}  // namespace fsrl_fuzz

#endif  // FSRL_FUZZ_FUZZ_TARGETS_H
