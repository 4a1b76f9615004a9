// Writes the seed corpora of the fuzz targets: `fuzz_corpus_generator DIR` fills DIR/<target>/ with a handful of
// small, deterministic inputs. The checked-in fuzz/corpus/ was made with it; run it again after a change to the
// signal database or to an input form, and check the result in.
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "fsrl/candump_reader.h"
#include "fsrl/frame_builder.h"
#include "fsrl/frame_map.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::int64_t kT0 = 1'700'000'000'000'000'000;  // a plausible recording time, in ns
constexpr std::int64_t kMs = 1'000'000;

bool g_failed = false;

void Write(const std::filesystem::path& dir, const std::string& name, const Bytes& content) {
  std::error_code error;
  std::filesystem::create_directories(dir, error);
  const std::filesystem::path path = dir / name;
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr || std::fwrite(content.data(), 1, content.size(), file) != content.size()) {
    std::fprintf(stderr, "fuzz_corpus_generator: cannot write %s: %s\n", path.c_str(), std::strerror(errno));
    g_failed = true;
  }
  if (file != nullptr) {
    std::fclose(file);
  }
}

void Write(const std::filesystem::path& dir, const std::string& name, std::string_view text) {
  Write(dir, name, Bytes(text.begin(), text.end()));
}

// A group's payload with every signal's raw value 1, protected with @p counter.
Bytes Payload(std::size_t group, std::uint8_t counter) {
  fsrl::GroupPayloadBuilder builder(group);
  for (std::size_t slot = 0; slot < fsrl::GroupSignalCount(group); ++slot) {
    builder.SetRaw(slot, 1);
  }
  return builder.Build(counter);
}

// The log line of a group's frame in the default frame map: CAN FD, padded to a CAN FD length.
std::string GroupLine(std::int64_t t, std::size_t group, std::uint8_t counter) {
  Bytes payload = Payload(group, counter);
  payload.resize(fsrl::CanFdLength(payload.size()), 0);
  const fsrl::CanId id{static_cast<std::uint32_t>(fsrl::FrameMap::kDefaultBaseId + group), false};
  return fsrl::FormatCandumpLine(t, "can0", id, payload.data(), payload.size(), true);
}

void Append(Bytes& out, const Bytes& more) { out.insert(out.end(), more.begin(), more.end()); }
void AppendLittle(Bytes& out, std::uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) {
    out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  }
}

void CandumpParser(const std::filesystem::path& dir) {
  Write(dir, "classic_frame.log", "(1700000000.000100) can0 123#DEADBEEF\n");
  Write(dir, "classic_frame_with_length_code_and_direction.log", "(1700000000.000200) can0 123#0011223344556677_C R\n");
  Write(dir, "protected_fd_frame.log", GroupLine(kT0, 0, 0));
  Write(dir, "extended_remote_and_error_frames.log",
        "(1700000000.5) vcan1 1ABCDEF0#R4 T\n"
        "(1700000000.600000000) can0 20000080#0000000000000000\n"
        "(0.000001) can1 7FF##F\n");
  Write(dir, "mixed_lines_crlf_blank_and_malformed.log",
        "(1700000000.000001) can0 400#01\r\n"
        "   \t\r\n"
        "\n"
        "(1700000000.000002) can0 40#0102\n"
        "(1700000000.000003) can0 401#012\n"
        "(9223372036.854775807) can0 402##0\n"
        "(9223372036.854775808) can0 402##0\n"
        "(1700000000.0000000001) can0 403#\n"
        "1700000000.000004 can0 404#00\n"
        "(1700000000.000005) can0 405#00 X");
  Write(dir, "overlong_line_then_frame.log", std::string(5000, 'A') + "\n(1700000000.000006) can0 406#AA\n");
  Write(dir, "empty.log", "");
  Write(dir, "binary_garbage.bin",
        Bytes{0x00, 0xFF, 0x28, 0x31, 0x2E, 0x30, 0x29, 0x20, 0x0A, 0x0D, 0x0A, 0x80, 0x23, 0x23, 0x00, 0x7F, 0x0A});
}

void TypedRead(const std::filesystem::path& dir) {
  const auto seed = [](std::size_t group, const Bytes& payload) {
    Bytes input{static_cast<std::uint8_t>(group)};
    Append(input, payload);
    return input;
  };
  Write(dir, "detection_group_counter_0.bin", seed(0, Payload(0, 0)));
  Write(dir, "detection_group_counter_1.bin", seed(0, Payload(0, 1)));
  Write(dir, "object_group_counter_5.bin", seed(40, Payload(40, 5)));
  Write(dir, "status_group_1.bin", seed(50, Payload(50, 0)));
  Write(dir, "status_group_2.bin", seed(51, Payload(51, 0)));
  Bytes wrong_crc = Payload(1, 0);
  wrong_crc[wrong_crc.size() - 1] ^= 0x01U;
  Write(dir, "detection_group_wrong_crc.bin", seed(1, wrong_crc));
  Bytes short_payload = Payload(50, 1);
  short_payload.resize(10);
  Write(dir, "status_group_short_payload.bin", seed(50, short_payload));
  Bytes long_payload = Payload(51, 1);
  long_payload.resize(64, 0xAA);
  Write(dir, "status_group_padded_to_fd_length.bin", seed(51, long_payload));
  Write(dir, "empty_payload.bin", Bytes{2});
  // Byte 0 an odd multiple of 52 past the group: the target protects the payload itself, so any values pass.
  Bytes all_bits(1 + fsrl::GroupPayloadLength(0), 0xFF);
  all_bits[0] = 52;
  Write(dir, "protected_by_the_target_all_bits_set.bin", all_bits);
  Bytes pattern{static_cast<std::uint8_t>(52 + 50)};
  for (std::size_t i = 0; i < fsrl::GroupPayloadLength(50); ++i) {
    pattern.push_back(static_cast<std::uint8_t>(i * 37U + 11U));
  }
  Write(dir, "protected_by_the_target_status_group_pattern.bin", pattern);
}

void Profile5Check(const std::filesystem::path& dir) {
  // Operation bytes: kind in the low 3 bits, parameter above (see profile5_check_logic.cpp).
  const auto op = [](unsigned kind, unsigned parameter) { return static_cast<std::uint8_t>(kind | (parameter << 3U)); };
  // In sequence, with a loss, a repetition, a jump, no new data, a re-initialisation.
  Write(dir, "protected_sequence.bin",
        Bytes{0, op(1, 0), 0, 0, op(1, 0), 1, 0, op(6, 2), op(6, 0), op(6, 20), op(3, 0), op(4, 0), op(1, 0), 0, 0});
  // Raw payloads: all zeros, and a bit flipped in a protected one.
  Write(dir, "raw_and_corrupted.bin", Bytes{40, op(0, 0), 4, 1, 2, 3, 4, op(2, 0), 7, 2, 0xAB, 0xCD, 0x10, 0x00});
  // The check called directly with the group's length and with others, a null buffer among them.
  Bytes direct{50};
  direct.push_back(op(5, 0));
  direct.push_back(static_cast<std::uint8_t>(fsrl::GroupPayloadLength(50)));
  Append(direct, Payload(50, 0));
  direct.push_back(op(5, 0));
  direct.push_back(3);
  Append(direct, Bytes{1, 2, 3});
  direct.push_back(op(5, 1));
  direct.push_back(0);
  Write(dir, "direct_checks.bin", direct);
  // The producer on buffers of any size with the header anywhere, fitting or not.
  Write(dir, "protect_any_buffer.bin",
        Bytes{51, op(7, 0), 3, 9, 1, 2, 3, op(7, 5), 8, 1, 0, 0, 0, 0, 0, 0, 0, 0, op(7, 31), 2, 0, 1, 2});
  Write(dir, "status_group_walk.bin", Bytes{51, op(6, 1), op(6, 1), op(6, 3), op(6, 31), op(3, 0), op(6, 0)});
}

void Replay(const std::filesystem::path& dir) {
  // Candump text: one full set of groups, then the next 50 ms later.
  std::string text(1, '\0');
  for (int scan = 0; scan < 2; ++scan) {
    for (std::size_t group = 0; group < fsrl::kGroupCount; ++group) {
      text += GroupLine(kT0 + scan * 50 * kMs + static_cast<std::int64_t>(group) * 10'000, group,
                        static_cast<std::uint8_t>(scan));
    }
  }
  Write(dir, "text_two_scans.log", text);
  Write(dir, "text_malformed_and_unmapped.log",
        std::string(1, '\0') + "(1700000000.000000) can0 123#00\n" + "garbage\n" +
            "(1700000000.100000) can0 1ABCDEF0#R\n" + "(1700000000.300000) can0 400#0102\n");

  // Binary frames: one full set of protected groups per scan, 1 ms unit, scans 50 ms apart.
  const auto scans = [](std::uint64_t t0, int count) {
    Bytes input{0x01};
    AppendLittle(input, t0, 8);
    for (int scan = 0; scan < count; ++scan) {
      for (std::size_t group = 0; group < fsrl::kGroupCount; ++group) {
        input.push_back(0x10 | 0x20 | 0x40);  // radar id, protected, step in ms
        input.push_back(static_cast<std::uint8_t>(group));
        AppendLittle(input, group == 0 && scan > 0 ? 50 : 0, 2);  // a scan's groups at one time
        input.push_back(0);                                       // length: taken from the group when protected
        input.push_back(static_cast<std::uint8_t>(scan));
        const Bytes payload = Payload(group, static_cast<std::uint8_t>(scan));
        Append(input, payload);
      }
    }
    return input;
  };
  Write(dir, "binary_two_scans.bin", scans(static_cast<std::uint64_t>(kT0), 2));
  // Remote, error and unmapped frames, and a step back in time.
  Bytes odd{0x03};  // binary form, 10 ms cycle
  AppendLittle(odd, static_cast<std::uint64_t>(kT0), 8);
  odd.push_back(0x04 | 0x40);  // remote, standard id, 1 ms unit
  AppendLittle(odd, 0x123, 4);
  AppendLittle(odd, 0, 2);
  odd.push_back(0);
  odd.push_back(0x01 | 0x08 | 0x40);  // extended error frame
  AppendLittle(odd, 0x1ABCDEF, 4);
  AppendLittle(odd, 5, 2);
  odd.push_back(8);
  Append(odd, Bytes{1, 2, 3, 4, 5, 6, 7, 8});
  odd.push_back(0x10 | 0x40);  // radar id of no group
  odd.push_back(60);
  AppendLittle(odd, static_cast<std::uint64_t>(static_cast<std::uint16_t>(-3)), 2);
  odd.push_back(2);
  Append(odd, Bytes{0xAA, 0xBB});
  Write(dir, "binary_remote_error_unmapped_and_step_back.bin", odd);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: fuzz_corpus_generator DIR  (writes DIR/<target>/...)\n");
    return 2;
  }
  const std::filesystem::path root(argv[1]);
  CandumpParser(root / "fuzz_candump_parser");
  TypedRead(root / "fuzz_typed_read");
  Profile5Check(root / "fuzz_profile5_check");
  Replay(root / "fuzz_replay");
  return g_failed ? 1 : 0;
}
