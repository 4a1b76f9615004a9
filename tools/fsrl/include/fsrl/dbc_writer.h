/// @file
/// @brief The radar's signal database as a CAN FD DBC file, for any frame map.
///
/// Written from the HAL's own constant tables (the signal database, the record metadata and the generated signal
/// descriptions), so a DBC tool decodes a recording with exactly the layout, scaling and limits the HAL uses. For the
/// default frame map and GeneratedDbcVersion() the text is byte for byte the generator's
/// autogen/signal_adapters/fsrl.dbc.
#ifndef FSRL_DBC_WRITER_H
#define FSRL_DBC_WRITER_H

#include <string>
#include <string_view>

#include "fsrl/frame_map.h"

namespace fsrl {

/// @brief The VERSION text of the generator's autogen/signal_adapters/fsrl.dbc (its "do not edit" banner).
std::string_view GeneratedDbcVersion();

/// @brief The DBC text for @p map.
///
/// One message per mapped group, in group order, named as the group, at its identifier (an extended one with bit
/// 31 set, as DBC writes them), as long as the CAN FD frame that carries the group's payload; every signal named as
/// in the database, little-endian and unsigned, with factor, offset, limits, unit and comment; value tables for
/// enumerations; one signal group per message; the E2E data id and profile as message attributes; and the CAN FD
/// attributes `BusType` "CAN FD" and `VFrameFormat` (StandardCAN_FD or ExtendedCAN_FD). Unmapped groups are left
/// out.
/// @param map which identifier carries which group
/// @param version the text of the VERSION line (no double quotes)
std::string DbcText(const FrameMap& map, std::string_view version);

/// @brief Writes DbcText(map, version) to @p path.
/// @param error receives `PATH: reason` when the file cannot be written
/// @return true on success
bool WriteDbcFile(const FrameMap& map, std::string_view version, const std::string& path, std::string& error);

}  // namespace fsrl

#endif  // FSRL_DBC_WRITER_H
