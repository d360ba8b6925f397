#include "rest/impl/base64.hpp"

#include <array>
#include <cstdint>
#include <stdexcept>

namespace zentrova::monitoring_modules::rest::impl {

namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr int invalid = -1;

constexpr std::array<int, 256> make_decoding_table() {
    std::array<int, 256> table{};
    for (auto& value : table) {
        value = invalid;
    }
    for (std::size_t index = 0; index < alphabet.size(); ++index) {
        table[static_cast<unsigned char>(alphabet[index])] = static_cast<int>(index);
    }
    return table;
}

constexpr std::array<int, 256> decoding_table = make_decoding_table();

}  // namespace

std::string base64_encode(std::string_view text) {
    std::string encoded;
    encoded.reserve((text.size() + 2) / 3 * 4);
    std::size_t index = 0;
    for (; index + 3 <= text.size(); index += 3) {
        const std::uint32_t group =
            static_cast<std::uint32_t>(static_cast<unsigned char>(text[index])) << 16U |
            static_cast<std::uint32_t>(static_cast<unsigned char>(text[index + 1])) << 8U |
            static_cast<unsigned char>(text[index + 2]);
        encoded += alphabet[group >> 18U & 0x3FU];
        encoded += alphabet[group >> 12U & 0x3FU];
        encoded += alphabet[group >> 6U & 0x3FU];
        encoded += alphabet[group & 0x3FU];
    }
    const std::size_t rest = text.size() - index;
    if (rest > 0) {
        std::uint32_t group = static_cast<std::uint32_t>(static_cast<unsigned char>(text[index]))
                              << 16U;
        if (rest == 2) {
            group |= static_cast<std::uint32_t>(static_cast<unsigned char>(text[index + 1])) << 8U;
        }
        encoded += alphabet[group >> 18U & 0x3FU];
        encoded += alphabet[group >> 12U & 0x3FU];
        encoded += rest == 2 ? alphabet[group >> 6U & 0x3FU] : '=';
        encoded += '=';
    }
    return encoded;
}

std::string base64_decode(std::string_view encoded) {
    if (encoded.size() % 4 != 0) {
        throw std::invalid_argument("base64 text must come in groups of four characters");
    }
    std::string decoded;
    decoded.reserve(encoded.size() / 4 * 3);
    for (std::size_t index = 0; index < encoded.size(); index += 4) {
        const bool last_group = index + 4 == encoded.size();
        std::size_t padding = 0;
        std::uint32_t group = 0;
        for (std::size_t offset = 0; offset < 4; ++offset) {
            const char character = encoded[index + offset];
            int value = decoding_table[static_cast<unsigned char>(character)];
            if (character == '=' && last_group && offset >= 2) {
                ++padding;
                value = 0;
            } else if (value == invalid || padding > 0) {
                throw std::invalid_argument(
                    "base64 text holds a character out of place at offset " +
                    std::to_string(index + offset));
            }
            group = group << 6U | static_cast<std::uint32_t>(value);
        }
        decoded += static_cast<char>(group >> 16U & 0xFFU);
        if (padding < 2) {
            decoded += static_cast<char>(group >> 8U & 0xFFU);
        }
        if (padding < 1) {
            decoded += static_cast<char>(group & 0xFFU);
        }
    }
    return decoded;
}

}  // namespace zentrova::monitoring_modules::rest::impl
