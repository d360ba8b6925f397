#pragma once

#include <cstdint>
#include <string>

namespace zentrova::monitoring_modules::rest::impl {

class winhttp_connection_pool;
class windows_trust_store;

// The certificate check of one WinHTTP request. It runs in WinHTTP's status callback when the
// request is about to leave (after the TLS handshake, before any byte of the request): a server
// whose certificate the pool's trust store does not vouch for is refused there, and the request
// cancelled. It also keeps what WinHTTP said about a failed handshake, for the failure's text.
// WinHTTP handles are kept untyped so that callers need no Windows header. Lives for one request.
class winhttp_certificate_check {
public:
    // With `tls` false the request is plain HTTP and nothing is checked.
    winhttp_certificate_check(winhttp_connection_pool& pool, std::string host, bool tls);
    winhttp_certificate_check(const winhttp_certificate_check&) = delete;
    winhttp_certificate_check& operator=(const winhttp_certificate_check&) = delete;
    winhttp_certificate_check(winhttp_certificate_check&&) = delete;
    winhttp_certificate_check& operator=(winhttp_certificate_check&&) = delete;

    // Sets the check up on `request` (an HINTERNET): with a CA bundle, WinHTTP is told to let an
    // unknown CA through, so that this check decides; and the status callback is installed.
    // Returns false with the reason in `error`.
    bool attach(void* request, std::string& error);

    // The context value WinHttpSendRequest hands to the status callback.
    std::uintptr_t context_value() { return reinterpret_cast<std::uintptr_t>(this); }

    // What the status callback reports: `info` points to `info_size` bytes of the status's data.
    void on_status(void* request, unsigned long status, const void* info,
                   unsigned long info_size) noexcept;

    // The connection stood and the request was about to go out.
    bool request_started() const { return request_started_; }
    // The certificate failed the check, and why; the request was cancelled.
    bool refused() const { return refused_; }
    const std::string& refusal() const { return refusal_; }
    // The callback closed the request handle to cancel the request.
    bool closed_request() const { return closed_; }

    // Why the TLS handshake failed, as WinHTTP reported it during the handshake, or what to
    // check when it said nothing.
    std::string handshake_failure() const;

    // Whether a WinHTTP error code means a failed TLS handshake or a refused certificate.
    static bool is_secure_failure(unsigned long code);

private:
    // Checks the certificate of the connection `request` is about to use, once per certificate
    // and host. Returns why it fails, or nothing.
    std::string check(void* request);

    winhttp_connection_pool& pool_;
    const windows_trust_store* trust_;  // null: plain HTTP, nothing to check
    std::string host_;
    bool request_started_ = false;
    bool refused_ = false;
    bool closed_ = false;
    std::string refusal_;
    unsigned long secure_failure_ = 0;  // WINHTTP_CALLBACK_STATUS_FLAG_* of a failed handshake
};

}  // namespace zentrova::monitoring_modules::rest::impl
