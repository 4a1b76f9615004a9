#include "fsrl/record_printer.h"

#include <charconv>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "initialfrontsideradarlefthal_signal_groups_meta.h"

namespace fsrl {

namespace meta = initialfrontsideradarlefthal::meta;

namespace {

// What comes before each field's value, prepared once per process: the separator (none before the first field,
// the object's opening brace instead) and the quoted key with its colon, padded to a fixed size so that copying it
// is a few fixed-size moves rather than a library call. A recording prints the same 2,465 keys millions of times.
struct FieldPrefix {
  static constexpr std::size_t kCapacity = 64;
  char text[kCapacity];
  std::uint8_t length;
};

struct GroupLayout {
  std::vector<FieldPrefix> prefixes;
  // Longest possible text of the whole record, to check that it fits the buffer WriteRecord builds it in.
  std::size_t max_text = 0;
};

// Longest text of one value: a double as FormatDouble writes it (at most 32 bytes), or a 64-bit integer (20).
constexpr std::size_t kMaxValueText = 32;

const std::vector<GroupLayout>& Layouts() {
  static const std::vector<GroupLayout> layouts = [] {
    std::vector<GroupLayout> all(initialfrontsideradarlefthal::types::kSignalGroupCount);
    for (std::size_t group = 0; group < all.size(); ++group) {
      const meta::GroupInfo& info = meta::kSignalGroups[group];
      GroupLayout& layout = all[group];
      layout.max_text = 2;  // the braces
      for (std::size_t i = 0; i < info.field_count; ++i) {
        // What JsonWriter writes for an object member: ", " between members, then the key as QuotedKey gives it.
        const std::string prefix = (i == 0 ? std::string("{") : std::string(", ")) + QuotedKey(info.fields[i].name);
        FieldPrefix field{};
        if (prefix.size() > FieldPrefix::kCapacity) {
          layout.prefixes.clear();  // never for this database; WriteRecord then writes member by member
          break;
        }
        std::memcpy(field.text, prefix.data(), prefix.size());
        field.length = static_cast<std::uint8_t>(prefix.size());
        layout.prefixes.push_back(field);
        layout.max_text += FieldPrefix::kCapacity + kMaxValueText;
      }
    }
    return all;
  }();
  return layouts;
}

// The text of recently printed doubles, by bit pattern. The shortest decimal that reads back as the same double
// costs hundreds of instructions per value, and a record has up to 48 of them; but a radar's physical values are
// quantised (raw value times factor, narrowed to single precision), so the same few thousand values recur frame
// after frame. A hit copies the text the formatter gave for exactly these bits, so the output is unchanged.
class DoubleTextCache {
 public:
  DoubleTextCache() : entries_(new Entry[kEntries]) {
    for (std::size_t i = 0; i < kEntries; ++i) {
      entries_[i].bits = kEmpty;
    }
  }

  /// The text of @p value, at most 32 bytes, into @p out; returns its length.
  std::size_t Format(double value, char* out) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    if ((bits & kExponentMask) == kExponentMask) {
      return FormatDouble(value, out);  // infinite or NaN: never kept, so never confused with the empty mark
    }
    // Fibonacci hashing spreads neighbouring bit patterns over the table.
    Entry& entry = entries_[(bits * 0x9E3779B97F4A7C15ULL) >> (64 - kIndexBits)];
    if (entry.bits == bits) {
      std::memcpy(out, entry.text, sizeof entry.text);
      return entry.length;
    }
    const std::size_t length = FormatDouble(value, out);
    if (length <= sizeof entry.text) {
      entry.bits = bits;
      entry.length = static_cast<std::uint8_t>(length);
      std::memcpy(entry.text, out, length);
    }
    return length;
  }

 private:
  static constexpr unsigned kIndexBits = 15;  // 32768 entries of 32 bytes
  static constexpr std::size_t kEntries = std::size_t{1} << kIndexBits;
  static constexpr std::uint64_t kExponentMask = 0x7FF0000000000000ULL;
  static constexpr std::uint64_t kEmpty = 0x7FF8DEADBEEF0001ULL;  // a NaN: never a cached value

  struct Entry {
    std::uint64_t bits;
    std::uint8_t length;
    char text[23];
  };

  std::unique_ptr<Entry[]> entries_;
};

// One cache per thread: records may be printed from several threads at once.
DoubleTextCache& DoubleTexts() {
  thread_local DoubleTextCache cache;
  return cache;
}

}  // namespace

namespace {

// The record's members as JsonWriter writes them, member by member: for a layout that does not fit WriteRecord's
// buffer.
void WriteMembers(JsonWriter& json, const meta::GroupInfo& group, const unsigned char* base, DoubleTextCache& texts) {
  json.BeginObject();
  for (std::size_t i = 0; i < group.field_count; ++i) {
    const meta::FieldInfo& field = group.fields[i];
    const unsigned char* at = base + field.byte_offset;
    json.Key(field.name);
    switch (field.kind) {
      case meta::FieldKind::kDouble: {
        double value = 0.0;
        std::memcpy(&value, at, sizeof value);
        char text[kMaxValueText];
        json.RawNumber(std::string_view(text, texts.Format(value, text)));
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

// Decimal text of an unsigned integer, as std::to_chars writes it. Counters, scan ids and enumerations are mostly
// below 100: those take one or two characters without the general conversion.
char* WriteUnsigned(char* out, std::uint64_t value) {
  if (value < 10U) {
    *out = static_cast<char>('0' + value);
    return out + 1;
  }
  if (value < 100U) {
    out[0] = static_cast<char>('0' + value / 10U);
    out[1] = static_cast<char>('0' + value % 10U);
    return out + 2;
  }
  return std::to_chars(out, out + 20, value).ptr;
}

}  // namespace

void WriteRecord(JsonWriter& json, std::size_t group_index, const void* record) {
  if (group_index >= initialfrontsideradarlefthal::types::kSignalGroupCount || record == nullptr) {
    json.Null();
    return;
  }
  const meta::GroupInfo& group = meta::kSignalGroups[group_index];
  const GroupLayout& layout = Layouts()[group_index];
  const auto* base = static_cast<const unsigned char*>(record);
  DoubleTextCache& texts = DoubleTexts();

  // The whole object is written into one buffer and handed over at once: the same text as member by member through
  // the writer, without its per-member bookkeeping and copies.
  constexpr std::size_t kBufferSize = 8192;
  if (group.field_count == 0 || layout.prefixes.size() != group.field_count || layout.max_text > kBufferSize) {
    WriteMembers(json, group, base, texts);
    return;
  }
  char buffer[kBufferSize];
  char* out = buffer;
  for (std::size_t i = 0; i < group.field_count; ++i) {
    const meta::FieldInfo& field = group.fields[i];
    const unsigned char* at = base + field.byte_offset;
    // The whole padded prefix is copied; only its length counts, and the value overwrites the rest.
    std::memcpy(out, layout.prefixes[i].text, FieldPrefix::kCapacity);
    out += layout.prefixes[i].length;
    // memcpy reads the field whatever its declared type; an enumeration has the layout of its underlying type.
    switch (field.kind) {
      case meta::FieldKind::kDouble: {
        double value = 0.0;
        std::memcpy(&value, at, sizeof value);
        // The text JsonWriter::Double writes, from the cache when the value was printed before.
        out += texts.Format(value, out);
        break;
      }
      case meta::FieldKind::kUInt8:
      case meta::FieldKind::kEnum8:
        out = WriteUnsigned(out, *at);
        break;
      case meta::FieldKind::kUInt16:
      case meta::FieldKind::kEnum16: {
        std::uint16_t value = 0;
        std::memcpy(&value, at, sizeof value);
        out = WriteUnsigned(out, value);
        break;
      }
      case meta::FieldKind::kUInt64: {
        std::uint64_t value = 0;
        std::memcpy(&value, at, sizeof value);
        out = WriteUnsigned(out, value);
        break;
      }
    }
  }
  *out++ = '}';
  json.RawValue(std::string_view(buffer, static_cast<std::size_t>(out - buffer)));
}

}  // namespace fsrl
