#include "fsrl/dbc_writer.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <numeric>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fsrl/frame_builder.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "initialfrontsideradarlefthal_signal_descriptions.h"
#include "initialfrontsideradarlefthal_signal_groups_meta.h"

namespace fsrl {

namespace meta = initialfrontsideradarlefthal::meta;

namespace {

// Everything before the first message: the keywords a DBC may use and the one transmitting node.
constexpr std::string_view kHeadAfterVersion =
    "\n"
    "\n"
    "\n"
    "NS_ :\n"
    "\tNS_DESC_\n\tCM_\n\tBA_DEF_\n\tBA_\n\tVAL_\n\tCAT_DEF_\n\tCAT_\n\tFILTER\n\tBA_DEF_DEF_\n\tEV_DATA_\n"
    "\tENVVAR_DATA_\n\tSGTYPE_\n\tSGTYPE_VAL_\n\tBA_DEF_SGTYPE_\n\tBA_SGTYPE_\n\tSIG_TYPE_REF_\n\tVAL_TABLE_\n"
    "\tSIG_GROUP_\n\tSIG_VALTYPE_\n\tSIGTYPE_VALTYPE_\n\tBO_TX_BU_\n\tBA_DEF_REL_\n\tBA_REL_\n\tBA_DEF_DEF_REL_\n"
    "\tBU_SG_REL_\n\tBU_EV_REL_\n\tBU_BO_REL_\n\tSG_MUL_VAL_\n"
    "\n"
    "BS_:\n"
    "\n"
    "BU_: FSRL\n"
    "\n";

constexpr std::string_view kDatabaseComment =
    "CM_ \"Signal database of the left front side radar: one CAN FD message per E2E-protected signal group.\";\n";

// The attribute definitions: the two DBC tools read to treat a message as CAN FD (lengths over 8 need it), and the
// E2E parameters a receiver needs to check a group.
constexpr std::string_view kAttributeDefinitions =
    "BA_DEF_ \"BusType\" STRING ;\n"
    "BA_DEF_ BO_ \"VFrameFormat\" ENUM \"StandardCAN\",\"ExtendedCAN\",\"reserved\",\"reserved\",\"reserved\","
    "\"reserved\",\"reserved\",\"reserved\",\"reserved\",\"reserved\",\"reserved\",\"reserved\",\"reserved\","
    "\"reserved\",\"StandardCAN_FD\",\"ExtendedCAN_FD\";\n"
    "BA_DEF_ BO_ \"E2EDataId\" INT 0 65535;\n"
    "BA_DEF_ BO_ \"E2EProfile\" STRING ;\n"
    "BA_DEF_DEF_ \"BusType\" \"CAN FD\";\n"
    "BA_DEF_DEF_ \"VFrameFormat\" \"StandardCAN_FD\";\n"
    "BA_DEF_DEF_ \"E2EDataId\" 0;\n"
    "BA_DEF_DEF_ \"E2EProfile\" \"\";\n"
    "BA_ \"BusType\" \"CAN FD\";\n";

// Positions of the two CAN FD formats in the VFrameFormat enumeration above.
constexpr int kStandardCanFd = 14;
constexpr int kExtendedCanFd = 15;
// DBC marks an extended identifier by bit 31 of the message id.
constexpr std::uint32_t kDbcExtendedFlag = 0x80000000U;

std::string_view NameOf(const std::uint8_t (&name)[SIGNAL_DB_NAME_SIZE]) {
  const char* text = reinterpret_cast<const char*>(name);
  return std::string_view(text, strnlen(text, SIGNAL_DB_NAME_SIZE));
}

// Shortest text that reads back as the same double (fixed or scientific, whichever is shorter), as the generator
// writes the DBC it checks in.
void AppendNumber(std::string& out, double value) {
  char buffer[32];
  const std::to_chars_result result = std::to_chars(buffer, buffer + sizeof(buffer), value);
  out.append(buffer, result.ptr);
}

void AppendNumber(std::string& out, std::uint64_t value) {
  char buffer[24];
  const std::to_chars_result result = std::to_chars(buffer, buffer + sizeof(buffer), value);
  out.append(buffer, result.ptr);
}

std::string_view ProfileName(SignalAdapter_E2eProfile profile) {
  switch (profile) {
    case SIGNAL_DB_E2E_PROFILE_TAV:
      return "TAV";
    case SIGNAL_DB_E2E_PROFILE_01:
      return "PROFILE_01";
    case SIGNAL_DB_E2E_PROFILE_05:
      return "PROFILE_05";
  }
  // A profile the database does not define has no name a receiver could act on.
  return "";
}

struct Message {
  std::size_t group_index;
  std::uint32_t dbc_id;
  int frame_format;
  // Database indices of the group's signals in bit order, the order a reader of the layout expects.
  std::vector<std::size_t> signals;
};

std::vector<Message> MappedMessages(const FrameMap& map) {
  std::vector<Message> messages;
  for (std::size_t i = 0; i < initialfrontsideradarlefthal_signal_group_count; ++i) {
    CanId can_id;
    if (!map.IdOf(i, can_id)) {
      continue;
    }
    const SignalAdapter_SignalGroup& group = initialfrontsideradarlefthal_signal_groups[i];
    Message message{i,
                    can_id.extended ? (can_id.id | kDbcExtendedFlag) : can_id.id,
                    can_id.extended ? kExtendedCanFd : kStandardCanFd,
                    {}};
    message.signals.resize(group.nbr_of_signals);
    std::iota(message.signals.begin(), message.signals.end(), std::size_t{group.signal_start_index});
    std::stable_sort(message.signals.begin(), message.signals.end(), [](std::size_t a, std::size_t b) {
      const SignalAdapter_Signal& sa = initialfrontsideradarlefthal_signals[a];
      const SignalAdapter_Signal& sb = initialfrontsideradarlefthal_signals[b];
      return std::make_pair(sa.value_relative_bit_offset, sa.value_bit_length) <
             std::make_pair(sb.value_relative_bit_offset, sb.value_bit_length);
    });
    messages.push_back(std::move(message));
  }
  return messages;
}

void AppendSignal(std::string& out, std::size_t index) {
  const SignalAdapter_Signal& signal = initialfrontsideradarlefthal_signals[index];
  out += " SG_ ";
  out += NameOf(signal.name);
  out += " : ";
  AppendNumber(out, std::uint64_t{static_cast<std::uint16_t>(signal.value_relative_bit_offset)});
  out += '|';
  AppendNumber(out, std::uint64_t{signal.value_bit_length});
  // Every raw field of this database is an unsigned little-endian bit field.
  out += "@1+ (";
  if (signal.value_type == SIGNAL_DB_SIGNAL_VALUE_TYPE_FLOAT) {
    AppendNumber(out, signal.value_factor_offset.scale_factor.double_float);
    out += ',';
    AppendNumber(out, signal.value_factor_offset.offset.double_float);
    out += ") [";
    AppendNumber(out, signal.value_min_max.min.double_float);
    out += '|';
    AppendNumber(out, signal.value_min_max.max.double_float);
  } else {
    // Integers and enumerations are carried raw: the database does not scale them.
    out += "1,0) [";
    AppendNumber(out, signal.value_min_max.min.unsigned_int);
    out += '|';
    AppendNumber(out, signal.value_min_max.max.unsigned_int);
  }
  out += "] \"";
  out += meta::kSignalDescriptions[index].unit;
  out += "\" Vector__XXX\n";
}

void AppendValueTable(std::string& out, const Message& message, std::size_t index) {
  const SignalAdapter_Signal& signal = initialfrontsideradarlefthal_signals[index];
  const meta::GroupInfo& group = meta::kSignalGroups[message.group_index];
  const meta::FieldInfo& field = group.fields[signal.value_storage_start_index];
  std::vector<meta::EnumeratorInfo> enumerators(field.enumerators, field.enumerators + field.enumerator_count);
  // Highest value first, as DBC editors write them.
  std::stable_sort(enumerators.begin(), enumerators.end(),
                   [](const meta::EnumeratorInfo& a, const meta::EnumeratorInfo& b) { return a.value > b.value; });
  out += "VAL_ ";
  AppendNumber(out, std::uint64_t{message.dbc_id});
  out += ' ';
  out += NameOf(signal.name);
  for (const meta::EnumeratorInfo& enumerator : enumerators) {
    out += ' ';
    AppendNumber(out, std::uint64_t{enumerator.value});
    out += " \"";
    out += enumerator.name;
    out += '"';
  }
  out += " ;\n";
}

}  // namespace

std::string_view GeneratedDbcVersion() { return meta::kGeneratedDbcVersion; }

std::string DbcText(const FrameMap& map, std::string_view version) {
  const std::vector<Message> messages = MappedMessages(map);
  std::string out;
  out.reserve(600000);  // the default map's file is about 550 kB
  out += "VERSION \"";
  out += version;
  out += '"';
  out += kHeadAfterVersion;

  for (const Message& message : messages) {
    const SignalAdapter_SignalGroup& group = initialfrontsideradarlefthal_signal_groups[message.group_index];
    out += "BO_ ";
    AppendNumber(out, std::uint64_t{message.dbc_id});
    out += ' ';
    out += NameOf(group.name);
    out += ": ";
    AppendNumber(out, std::uint64_t{CanFdLength(group.data_length / 8U)});
    out += " FSRL\n";
    for (const std::size_t index : message.signals) {
      AppendSignal(out, index);
    }
    out += '\n';
  }

  out += kDatabaseComment;
  for (const Message& message : messages) {
    out += "CM_ BO_ ";
    AppendNumber(out, std::uint64_t{message.dbc_id});
    out += " \"";
    out += meta::kGroupComments[message.group_index];
    out += "\";\n";
    for (const std::size_t index : message.signals) {
      const char* const comment = meta::kSignalDescriptions[index].comment;
      if (*comment == '\0') {
        continue;
      }
      out += "CM_ SG_ ";
      AppendNumber(out, std::uint64_t{message.dbc_id});
      out += ' ';
      out += NameOf(initialfrontsideradarlefthal_signals[index].name);
      out += " \"";
      out += comment;
      out += "\";\n";
    }
  }

  out += kAttributeDefinitions;
  for (const Message& message : messages) {
    const SignalAdapter_SignalGroup& group = initialfrontsideradarlefthal_signal_groups[message.group_index];
    const std::string id = std::to_string(message.dbc_id);
    out += "BA_ \"VFrameFormat\" BO_ " + id + ' ' + std::to_string(message.frame_format) + ";\n";
    out += "BA_ \"E2EDataId\" BO_ " + id + ' ' + std::to_string(group.data_id) + ";\n";
    out += "BA_ \"E2EProfile\" BO_ " + id + " \"";
    out += ProfileName(group.profile_name);
    out += "\";\n";
  }

  for (const Message& message : messages) {
    for (const std::size_t index : message.signals) {
      if (initialfrontsideradarlefthal_signals[index].value_type == SIGNAL_DB_SIGNAL_VALUE_TYPE_ENUMERATED) {
        AppendValueTable(out, message, index);
      }
    }
  }

  for (const Message& message : messages) {
    out += "SIG_GROUP_ ";
    AppendNumber(out, std::uint64_t{message.dbc_id});
    out += ' ';
    out += NameOf(initialfrontsideradarlefthal_signal_groups[message.group_index].name);
    out += " 1 :";
    for (const std::size_t index : message.signals) {
      out += ' ';
      out += NameOf(initialfrontsideradarlefthal_signals[index].name);
    }
    out += ";\n";
  }
  return out;
}

bool WriteDbcFile(const FrameMap& map, std::string_view version, const std::string& path, std::string& error) {
  const std::string text = DbcText(map, version);
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (!file) {
    error = path + ": cannot open for writing: " + std::strerror(errno);
    return false;
  }
  file.write(text.data(), static_cast<std::streamsize>(text.size()));
  file.close();
  if (!file) {
    error = path + ": cannot write: " + std::strerror(errno);
    return false;
  }
  return true;
}

}  // namespace fsrl
