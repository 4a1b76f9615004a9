#include "fsrl/record_printer.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "initialfrontsideradarlefthal_signal_groups_meta.h"

namespace fsrl {

namespace meta = initialfrontsideradarlefthal::meta;

namespace {

// Every field name quoted once per process: a recording prints the same 2,465 keys millions of times.
const std::vector<std::vector<std::string>>& PreparedKeys() {
  static const std::vector<std::vector<std::string>> keys = [] {
    std::vector<std::vector<std::string>> all(initialfrontsideradarlefthal::types::kSignalGroupCount);
    for (std::size_t group = 0; group < all.size(); ++group) {
      const meta::GroupInfo& info = meta::kSignalGroups[group];
      for (std::size_t i = 0; i < info.field_count; ++i) {
        all[group].push_back(QuotedKey(info.fields[i].name));
      }
    }
    return all;
  }();
  return keys;
}

}  // namespace

void WriteRecord(JsonWriter& json, std::size_t group_index, const void* record) {
  if (group_index >= initialfrontsideradarlefthal::types::kSignalGroupCount || record == nullptr) {
    json.Null();
    return;
  }
  const meta::GroupInfo& group = meta::kSignalGroups[group_index];
  const std::vector<std::string>& keys = PreparedKeys()[group_index];
  const auto* base = static_cast<const unsigned char*>(record);
  json.BeginObject();
  for (std::size_t i = 0; i < group.field_count; ++i) {
    const meta::FieldInfo& field = group.fields[i];
    const unsigned char* at = base + field.byte_offset;
    json.PreparedKey(keys[i]);
    // memcpy reads the field whatever its declared type; an enumeration has the layout of its underlying type.
    switch (field.kind) {
      case meta::FieldKind::kDouble: {
        double value = 0.0;
        std::memcpy(&value, at, sizeof value);
        json.Double(value);
        break;
      }
      case meta::FieldKind::kUInt8:
      case meta::FieldKind::kEnum8:
        json.UInt(*at);
        break;
      case meta::FieldKind::kUInt16:
      case meta::FieldKind::kEnum16: {
        std::uint16_t value = 0;
        std::memcpy(&value, at, sizeof value);
        json.UInt(value);
        break;
      }
      case meta::FieldKind::kUInt64: {
        std::uint64_t value = 0;
        std::memcpy(&value, at, sizeof value);
        json.UInt(value);
        break;
      }
    }
  }
  json.EndObject();
}

}  // namespace fsrl
