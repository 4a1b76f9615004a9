/// @file
/// @brief Fault injection of the E2E library, for tests: making profile 5 refuse a group.
#ifndef ZOL_E2E_E2E_PROTECTION_TESTING_H
#define ZOL_E2E_E2E_PROTECTION_TESTING_H

#include <cstddef>
#include <cstdint>

namespace zol {
namespace e2e {

/// @name Fault injection, for tests
/// A database row that profile 5 rejects cannot be made from a generated database without changing the database
/// itself; these hooks make E2eProtectionProfile5::Create() refuse a group by its data id instead, so that a reader
/// set up from the real database can be tested against a refused group. Process-wide and thread-safe.
/// @{
namespace testing {

/// @brief How many data ids can be refused at the same time.
constexpr std::size_t kMaxRejectedDataIds = 16U;

/// @brief From now on, E2eProtectionProfile5::Create() returns an empty pointer for every group whose `data_id` is
/// @p data_id, as for a group whose parameters do not allow profile 5.
/// @return true; false (and nothing changes) when kMaxRejectedDataIds other data ids are refused already.
/// Refusing a data id that is refused already changes nothing and returns true.
bool RejectProfile5Creation(std::uint16_t data_id);

/// @brief Ends every refusal made by RejectProfile5Creation().
void ClearRejections();

}  // namespace testing
/// @}

}  // namespace e2e
}  // namespace zol

#endif  // ZOL_E2E_E2E_PROTECTION_TESTING_H
