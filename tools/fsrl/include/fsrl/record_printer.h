/// @file
/// @brief Printing any typed signal-group record as JSON, driven by the generated field descriptions.
#ifndef FSRL_RECORD_PRINTER_H
#define FSRL_RECORD_PRINTER_H

#include <cstddef>

#include "fsrl/json_writer.h"

namespace fsrl {

/// @brief Writes `{FIELD: VALUE, ...}` for every field of the record of group @p group_index, in field order.
///
/// Doubles are written as the shortest text that reads back as the same double; integers and enumerations as
/// their integer value (an enumeration value without enumerator included). @p record must point to a record of
/// the group's type (initialfrontsideradarlefthal::types::<group>). A bad group index writes `null`.
void WriteRecord(JsonWriter& json, std::size_t group_index, const void* record);

}  // namespace fsrl

#endif  // FSRL_RECORD_PRINTER_H
