#include "platform/base/UUID.h"

#include <pthread.h>
#include <sys/random.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace qw {

namespace {

constexpr std::size_t kTextSize = 36;
// Offset of each of the 16 bytes' two digits in the text.
constexpr std::uint8_t kOffsets[16] = {0, 2, 4, 6, 9, 11, 14, 16, 19, 21, 24, 26, 28, 30, 32, 34};

constexpr auto kDigits = [] {
  std::array<std::array<char, 2>, 256> table{};
  for (std::size_t i = 0; i < 256; ++i) table[i] = {"0123456789ABCDEF"[i >> 4], "0123456789ABCDEF"[i & 15]};
  return table;
}();

// The value of an upper-case hexadecimal digit; bit 7 marks every other character.
constexpr auto kValues = [] {
  std::array<std::uint8_t, 256> table{};
  table.fill(0x80);
  for (std::uint8_t i = 0; i < 16; ++i) table[static_cast<std::uint8_t>("0123456789ABCDEF"[i])] = i;
  return table;
}();

// Counts forks, so that a child process does not hand out the identifiers that its parent has buffered.
std::atomic<unsigned> forks{0};

void fillWithEntropy(void* bytes, std::size_t size) {
  auto* out = static_cast<std::uint8_t*>(bytes);
  while (size > 0) {
    const ssize_t count = getrandom(out, size, 0);
    if (count < 0) {
      // Without entropy no identifier would be unique, and records would overwrite each other.
      if (errno != EINTR) std::abort();
      continue;
    }
    out += count;
    size -= static_cast<std::size_t>(count);
  }
}

}  // namespace

UUID UUID::random() {
  struct Buffer {
    std::array<UUID, 128> identifiers;
    std::size_t left = 0;
    unsigned forks = 0;
  };
  static const int registered =
      pthread_atfork(nullptr, nullptr, [] { forks.fetch_add(1, std::memory_order_relaxed); });
  (void)registered;
  thread_local Buffer buffer;
  const unsigned now = forks.load(std::memory_order_relaxed);
  if (buffer.left == 0 || buffer.forks != now) {
    fillWithEntropy(buffer.identifiers.data(), sizeof buffer.identifiers);
    buffer.left = buffer.identifiers.size();
    buffer.forks = now;
  }
  UUID result = buffer.identifiers[--buffer.left];
  result.high = (result.high & ~0xF000ULL) | 0x4000ULL;
  result.low = (result.low & ~(3ULL << 62)) | 2ULL << 62;
  return result;
}

std::optional<UUID> UUID::fromCanonicalText(std::string_view text) {
  if (text.size() != kTextSize) return std::nullopt;
  if (text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-') return std::nullopt;
  std::uint64_t words[2] = {0, 0};
  std::uint8_t seen = 0;
  for (std::size_t i = 0; i < 16; ++i) {
    const std::uint8_t first = kValues[static_cast<std::uint8_t>(text[kOffsets[i]])];
    const std::uint8_t second = kValues[static_cast<std::uint8_t>(text[kOffsets[i] + 1U])];
    seen = static_cast<std::uint8_t>(seen | first | second);
    words[i / 8] = words[i / 8] << 8 | static_cast<std::uint64_t>(first << 4 | second);
  }
  if (seen & 0x80) return std::nullopt;
  return UUID{words[0], words[1]};
}

void UUID::write(char* out) const {
  for (std::size_t i = 0; i < 16; ++i) {
    const std::uint64_t word = i < 8 ? high : low;
    std::memcpy(out + kOffsets[i], kDigits[(word >> (56 - 8 * (i % 8))) & 0xFF].data(), 2);
  }
  out[8] = out[13] = out[18] = out[23] = '-';
}

std::string UUID::text() const {
  std::string result(kTextSize, '\0');
  write(result.data());
  return result;
}

}  // namespace qw
