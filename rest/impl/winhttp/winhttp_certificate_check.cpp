#include "rest/impl/winhttp/winhttp_certificate_check.hpp"

// clang-format off
#include <windows.h>
#include <winhttp.h>
#include <wincrypt.h>
// clang-format on

#include <array>
#include <memory>
#include <string_view>
#include <utility>

#include "rest/impl/winhttp/windows_trust_store.hpp"
#include "rest/impl/winhttp/winhttp_connection_pool.hpp"
#include "rest/impl/winhttp/winhttp_text.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

std::string hex(const BYTE* bytes, DWORD size) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (DWORD index = 0; index < size; ++index) {
        text += digits[bytes[index] >> 4U];
        text += digits[bytes[index] & 0x0FU];
    }
    return text;
}

void CALLBACK on_request_status(HINTERNET request, DWORD_PTR context_value, DWORD status,
                                LPVOID info, DWORD info_size) noexcept {
    auto* check = reinterpret_cast<winhttp_certificate_check*>(  // NOLINT: WinHTTP's context
        context_value);
    if (check != nullptr) {
        check->on_status(request, status, info, info_size);
    }
}

std::string secure_failure_text(DWORD flags, const std::string& host) {
    if ((flags & WINHTTP_CALLBACK_STATUS_FLAG_INVALID_CA) != 0U) {
        return "the server's certificate is signed by an unknown certificate authority (not in "
               "the system's store; set MICROSOFTAZURE_CA_BUNDLE for a private CA)";
    }
    if ((flags & WINHTTP_CALLBACK_STATUS_FLAG_CERT_CN_INVALID) != 0U) {
        return "the server's certificate is not made out to the host name '" + host + "'";
    }
    if ((flags & WINHTTP_CALLBACK_STATUS_FLAG_CERT_DATE_INVALID) != 0U) {
        return "the server's certificate has expired or is not yet valid";
    }
    if ((flags & WINHTTP_CALLBACK_STATUS_FLAG_CERT_REVOKED) != 0U) {
        return "the server's certificate has been revoked";
    }
    if ((flags & WINHTTP_CALLBACK_STATUS_FLAG_CERT_WRONG_USAGE) != 0U) {
        return "the server's certificate is not meant for TLS servers";
    }
    if ((flags & WINHTTP_CALLBACK_STATUS_FLAG_INVALID_CERT) != 0U) {
        return "the server's certificate is invalid";
    }
    return {};
}

}  // namespace

winhttp_certificate_check::winhttp_certificate_check(winhttp_connection_pool& pool,
                                                     std::string host, bool tls)
    : pool_(pool), trust_(tls ? &pool.trust() : nullptr), host_(std::move(host)) {}

bool winhttp_certificate_check::attach(void* request, std::string& error) {
    if (trust_ != nullptr && pool_.has_ca_bundle()) {
        // The bundle's CAs are unknown to the system: WinHTTP lets them through and the status
        // callback checks the chain against the bundle and the system roots, and the host name.
        // WinHTTP itself still checks the host name and the dates.
        DWORD security = SECURITY_FLAG_IGNORE_UNKNOWN_CA;
        if (!::WinHttpSetOption(request, WINHTTP_OPTION_SECURITY_FLAGS, &security,
                                sizeof(security))) {
            error = "WinHTTP refuses the security options: " + windows_error_text(::GetLastError());
            return false;
        }
    }
    if (::WinHttpSetStatusCallback(
            request, &on_request_status,
            WINHTTP_CALLBACK_FLAG_SEND_REQUEST | WINHTTP_CALLBACK_FLAG_SECURE_FAILURE,
            0) == WINHTTP_INVALID_STATUS_CALLBACK) {
        error = "WinHTTP refuses the status callback: " + windows_error_text(::GetLastError());
        return false;
    }
    return true;
}

void winhttp_certificate_check::on_status(void* request, unsigned long status, const void* info,
                                          unsigned long info_size) noexcept {
    try {
        if (status == WINHTTP_CALLBACK_STATUS_SECURE_FAILURE && info != nullptr &&
            info_size >= sizeof(DWORD)) {
            secure_failure_ = *static_cast<const DWORD*>(info);
        } else if (status == WINHTTP_CALLBACK_STATUS_SENDING_REQUEST) {
            // The TLS handshake is done and not one byte of the request has left: the last
            // moment to refuse a server whose certificate the bundle does not vouch for.
            request_started_ = true;
            if (trust_ != nullptr && !refused_) {
                std::string problem = check(request);
                if (!problem.empty()) {
                    refused_ = true;
                    refusal_ = std::move(problem);
                    closed_ = true;
                    ::WinHttpCloseHandle(request);  // cancels the request
                }
            }
        }
    } catch (...) {
        // Nothing may unwind into WinHTTP; a check that could not run refuses the server.
        refused_ = true;
        refusal_ = "the server's certificate could not be checked";
    }
}

std::string winhttp_certificate_check::check(void* request) {
    const CERT_CONTEXT* certificate = nullptr;
    DWORD size = sizeof(certificate);
    if (!::WinHttpQueryOption(request, WINHTTP_OPTION_SERVER_CERT_CONTEXT, &certificate, &size) ||
        certificate == nullptr) {
        return "the server's certificate cannot be read: " + windows_error_text(::GetLastError());
    }
    const std::unique_ptr<const CERT_CONTEXT, decltype(&::CertFreeCertificateContext)> owned(
        certificate, &::CertFreeCertificateContext);
    std::array<BYTE, 20> thumbprint{};
    DWORD thumbprint_size = thumbprint.size();
    std::string key = host_ + " ";
    if (::CertGetCertificateContextProperty(certificate, CERT_SHA1_HASH_PROP_ID, thumbprint.data(),
                                            &thumbprint_size)) {
        key += hex(thumbprint.data(), thumbprint_size);
        if (pool_.is_verified(key)) {
            return {};
        }
    }
    std::string problem = trust_->verify(certificate, host_);
    if (problem.empty() && thumbprint_size > 0) {
        pool_.remember_verified(key);
    }
    return problem;
}

std::string winhttp_certificate_check::handshake_failure() const {
    std::string reason = secure_failure_text(secure_failure_, host_);
    if (reason.empty()) {
        // Some WinHTTP versions fail the handshake without saying why.
        reason =
            "the TLS handshake failed: check that the server's certificate is signed by a "
            "trusted certificate authority (the system's store, or MICROSOFTAZURE_CA_BUNDLE) and "
            "made out to '" +
            host_ + "', and that the server speaks TLS 1.2 or later";
    }
    return reason;
}

bool winhttp_certificate_check::is_secure_failure(unsigned long code) {
    switch (code) {
        case ERROR_WINHTTP_SECURE_FAILURE:
        case ERROR_WINHTTP_SECURE_CERT_DATE_INVALID:
        case ERROR_WINHTTP_SECURE_CERT_CN_INVALID:
        case ERROR_WINHTTP_SECURE_INVALID_CA:
        case ERROR_WINHTTP_SECURE_INVALID_CERT:
        case ERROR_WINHTTP_SECURE_CERT_REVOKED:
        case ERROR_WINHTTP_SECURE_CERT_REV_FAILED:
        case ERROR_WINHTTP_SECURE_CERT_WRONG_USAGE:
        case ERROR_WINHTTP_SECURE_CHANNEL_ERROR:
            return true;
        default:
            return false;
    }
}

}  // namespace zentrova::monitoring_modules::rest::impl
