#include "emulator/impl/support.hpp"

#include <openssl/sha.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <ctime>
#include <random>

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

char lower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

std::string format_guid(const unsigned char* bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string out;
    out.reserve(36);
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            out.push_back('-');
        }
        out.push_back(digits[bytes[i] >> 4]);
        out.push_back(digits[bytes[i] & 0x0f]);
    }
    return out;
}

std::string format_utc(system_time t, const char* format) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(t);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 64> buffer{};
    const std::size_t n = std::strftime(buffer.data(), buffer.size(), format, &parts);
    return {buffer.data(), n};
}

constexpr std::string_view base64url_alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

}  // namespace

bool iequals(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                              [](char x, char y) { return lower(x) == lower(y); });
}

bool icontains(std::string_view text, std::string_view part) {
    if (part.empty()) {
        return true;
    }
    return std::search(text.begin(), text.end(), part.begin(), part.end(),
                       [](char x, char y) { return lower(x) == lower(y); }) != text.end();
}

bool istarts_with(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() && iequals(text.substr(0, prefix.size()), prefix);
}

bool iends_with(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() &&
           iequals(text.substr(text.size() - suffix.size()), suffix);
}

std::string to_lower(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), lower);
    return out;
}

std::vector<std::string> split(std::string_view text, char separator) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (true) {
        const std::size_t end = text.find(separator, start);
        parts.emplace_back(text.substr(start, end == std::string_view::npos ? end : end - start));
        if (end == std::string_view::npos) {
            return parts;
        }
        start = end + 1;
    }
}

std::string normalize_path(std::string_view path) {
    std::string out;
    out.reserve(path.size() + 1);
    for (char c : path) {
        if (c == '/' && !out.empty() && out.back() == '/') {
            continue;
        }
        out.push_back(c);
    }
    if (out.empty() || out.front() != '/') {
        out.insert(out.begin(), '/');
    }
    if (out.size() > 1 && out.back() == '/') {
        out.pop_back();
    }
    return out;
}

std::string random_guid() {
    thread_local std::mt19937_64 engine{std::random_device{}()};
    std::array<unsigned char, 16> bytes{};
    for (std::size_t i = 0; i < bytes.size(); i += 8) {
        std::uint64_t r = engine();
        for (std::size_t j = 0; j < 8; ++j) {
            bytes[i + j] = static_cast<unsigned char>(r >> (8 * j));
        }
    }
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0f) | 0x40);
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3f) | 0x80);
    return format_guid(bytes.data());
}

std::string stable_guid(std::string_view seed) {
    std::array<unsigned char, SHA256_DIGEST_LENGTH> digest{};
    SHA256(reinterpret_cast<const unsigned char*>(seed.data()), seed.size(), digest.data());
    digest[6] = static_cast<unsigned char>((digest[6] & 0x0f) | 0x40);
    digest[8] = static_cast<unsigned char>((digest[8] & 0x3f) | 0x80);
    return format_guid(digest.data());
}

std::string base64url_encode(std::string_view bytes) {
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    std::uint32_t buffer = 0;
    int bits = 0;
    for (unsigned char c : bytes) {
        buffer = (buffer << 8) | c;
        bits += 8;
        while (bits >= 6) {
            bits -= 6;
            out.push_back(base64url_alphabet[(buffer >> bits) & 0x3f]);
        }
    }
    if (bits > 0) {
        out.push_back(base64url_alphabet[(buffer << (6 - bits)) & 0x3f]);
    }
    return out;
}

bool base64url_decode(std::string_view text, std::string& bytes) {
    bytes.clear();
    std::uint32_t buffer = 0;
    int bits = 0;
    for (char c : text) {
        const std::size_t value = base64url_alphabet.find(c);
        if (value == std::string_view::npos) {
            return false;
        }
        buffer = (buffer << 6) | static_cast<std::uint32_t>(value);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            bytes.push_back(static_cast<char>((buffer >> bits) & 0xff));
        }
    }
    return true;
}

std::int64_t unix_seconds(system_time t) {
    return std::chrono::duration_cast<std::chrono::seconds>(t.time_since_epoch()).count();
}

std::string iso8601(system_time t) {
    return format_utc(t, "%Y-%m-%dT%H:%M:%SZ");
}

std::string http_date(system_time t) {
    return format_utc(t, "%a, %d %b %Y %H:%M:%S GMT");
}

std::string aad_timestamp(system_time t) {
    return format_utc(t, "%Y-%m-%d %H:%M:%SZ");
}

bool looks_like_date(std::string_view text) {
    if (text.size() < 10) {
        return false;
    }
    for (std::size_t i = 0; i < 10; ++i) {
        const bool dash = i == 4 || i == 7;
        if (dash ? text[i] != '-' : std::isdigit(static_cast<unsigned char>(text[i])) == 0) {
            return false;
        }
    }
    return text.size() == 10 || text[10] == 'T' || text[10] == ' ';
}

}  // namespace zentrova::monitoring_modules::emulator::impl
