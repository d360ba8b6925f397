// clang-format off
#include <windows.h>
#include <bcrypt.h>
// clang-format on

#include <array>
#include <memory>
#include <stdexcept>
#include <string>

#include "rest/impl/sha256_digest.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

void check(NTSTATUS status, const char* step) {
    if (status < 0) {
        throw std::runtime_error(std::string("cannot compute a SHA-256 digest: Windows CNG ") +
                                 step + " failed with status " +
                                 std::to_string(static_cast<unsigned long>(status)));
    }
}

struct algorithm_closer {
    void operator()(void* algorithm) const noexcept {
        ::BCryptCloseAlgorithmProvider(algorithm, 0);
    }
};
struct hash_closer {
    void operator()(void* hash) const noexcept { ::BCryptDestroyHash(hash); }
};

}  // namespace

std::string sha256_digest(std::string_view data) {
    BCRYPT_ALG_HANDLE raw_algorithm = nullptr;
    check(::BCryptOpenAlgorithmProvider(&raw_algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0),
          "BCryptOpenAlgorithmProvider");
    const std::unique_ptr<void, algorithm_closer> algorithm(raw_algorithm);
    BCRYPT_HASH_HANDLE raw_hash = nullptr;
    check(::BCryptCreateHash(algorithm.get(), &raw_hash, nullptr, 0, nullptr, 0, 0),
          "BCryptCreateHash");
    const std::unique_ptr<void, hash_closer> hash(raw_hash);
    // BCryptHashData takes non-const input; it only reads it.
    auto* bytes = reinterpret_cast<PUCHAR>(  // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
        const_cast<char*>(data.data()));
    check(::BCryptHashData(hash.get(), bytes, static_cast<ULONG>(data.size()), 0),
          "BCryptHashData");
    std::array<UCHAR, 32> digest{};
    check(::BCryptFinishHash(hash.get(), digest.data(), static_cast<ULONG>(digest.size()), 0),
          "BCryptFinishHash");
    return {reinterpret_cast<const char*>(digest.data()), digest.size()};
}

}  // namespace zentrova::monitoring_modules::rest::impl
