#pragma once

#include <cstdint>
#include <cstring>

namespace zentrova::monitoring_modules::framework::utils {

// The end of the run of plain ASCII text that starts at `at`: the first quote, backslash,
// control character or byte beyond ASCII, or `end`. JSON texts are mostly such runs, and the
// readers of the settings buffer and of answers pass them eight bytes at a time.
inline const char* plain_ascii_run_end(const char* at, const char* end) {
    constexpr std::uint64_t ones = 0x0101010101010101U;
    constexpr std::uint64_t highs = 0x8080808080808080U;
    const auto zero_bytes = [](std::uint64_t bytes) { return (bytes - ones) & ~bytes & highs; };
    while (end - at >= 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, at, sizeof word);
        // The top bit of each byte that ends the run; above the first such byte other bits may
        // be set too, the lowest one is exact (the usual tests of all bytes of a word at once).
        const std::uint64_t ends = zero_bytes(word ^ (ones * '"')) |
                                   zero_bytes(word ^ (ones * '\\')) |
                                   ((word - ones * 0x20U) & ~word & highs) | (word & highs);
        if (ends != 0U) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
            return at + __builtin_ctzll(ends) / 8;
#else
            break;
#endif
        }
        at += 8;
    }
    while (at != end) {
        const auto byte = static_cast<unsigned char>(*at);
        if (byte == '"' || byte == '\\' || byte < 0x20U || byte >= 0x80U) {
            break;
        }
        ++at;
    }
    return at;
}

}  // namespace zentrova::monitoring_modules::framework::utils
