#include "fuzz_support.h"

#include <sys/mman.h>
#include <unistd.h>

#include "fuzz_targets.h"

namespace fsrl_fuzz {

void SilenceLog() {
  // Never destroyed: the sink must outlive every component that may still log at exit.
  static NullSink* const sink = [] {
    auto* created = new NullSink();
    zol::log::SetSink(created);
    return created;
  }();
  static_cast<void>(sink);
}

std::uint64_t& SignalServiceGeneration() {
  static std::uint64_t generation = 0;
  return generation;
}

InputFile::InputFile(const std::uint8_t* data, std::size_t size) {
  fd_ = ::memfd_create("fsrl_fuzz_input", MFD_CLOEXEC);
  if (fd_ < 0) {
    file_ = std::tmpfile();
    fd_ = file_ != nullptr ? ::fileno(file_) : -1;
  }
  FuzzCheck(fd_ >= 0, "no file for the reader's input");
  std::size_t written = 0;
  while (written < size) {
    const ssize_t n = ::write(fd_, data + written, size - written);
    FuzzCheck(n > 0, "the reader's input cannot be written");
    written += static_cast<std::size_t>(n);
  }
  FuzzCheck(::lseek(fd_, 0, SEEK_SET) == 0, "the reader's input cannot be rewound");
}

InputFile::~InputFile() {
  if (file_ != nullptr) {
    std::fclose(file_);
  } else if (fd_ >= 0) {
    ::close(fd_);
  }
}

std::uint16_t Profile5CrcOracle(std::uint16_t data_id, const std::uint8_t* data, std::size_t length,
                                std::size_t offset_bytes) {
  std::uint16_t crc = 0xFFFFU;
  const auto feed = [&crc](std::uint8_t byte) {
    crc = static_cast<std::uint16_t>(crc ^ (static_cast<unsigned int>(byte) << 8U));
    for (int bit = 0; bit < 8; ++bit) {
      crc = (crc & 0x8000U) != 0U ? static_cast<std::uint16_t>((crc << 1U) ^ 0x1021U)
                                  : static_cast<std::uint16_t>(crc << 1U);
    }
  };
  for (std::size_t i = 0; i < offset_bytes && i < length; ++i) {
    feed(data[i]);
  }
  for (std::size_t i = offset_bytes + 2U; i < length; ++i) {
    feed(data[i]);
  }
  feed(static_cast<std::uint8_t>(data_id & 0xFFU));
  feed(static_cast<std::uint8_t>(data_id >> 8U));
  return crc;
}

}  // namespace fsrl_fuzz
