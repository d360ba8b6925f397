#include "rest/impl/winhttp/winhttp_text.hpp"

// clang-format off
#include <windows.h>
#include <winhttp.h>
// clang-format on

#include <string>

namespace zentrova::monitoring_modules::rest::impl {

std::wstring widen(std::string_view text) {
    if (text.empty()) {
        return {};
    }
    const int length =
        ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(),
                          length);
    return wide;
}

std::string narrow(std::wstring_view text) {
    if (text.empty()) {
        return {};
    }
    const int length = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                             nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(length), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                          length, nullptr, nullptr);
    return bytes;
}

namespace {

// WinHTTP's own codes say more in these words than the system's messages (which Wine lacks).
const char* winhttp_reason(DWORD code) {
    switch (code) {
        case ERROR_WINHTTP_TIMEOUT:
            return "the operation timed out";
        case ERROR_WINHTTP_NAME_NOT_RESOLVED:
            return "the server name could not be resolved";
        case ERROR_WINHTTP_CANNOT_CONNECT:
            return "could not connect to the server";
        case ERROR_WINHTTP_CONNECTION_ERROR:
            return "the connection with the server was reset or closed";
        case ERROR_WINHTTP_OPERATION_CANCELLED:
            return "the request was cancelled";
        case ERROR_WINHTTP_INVALID_SERVER_RESPONSE:
            return "the server's answer is not HTTP";
        case ERROR_WINHTTP_SECURE_FAILURE:
            return "the TLS handshake failed or the server's certificate was refused";
        case ERROR_WINHTTP_SECURE_CERT_DATE_INVALID:
            return "the server's certificate has expired or is not yet valid";
        case ERROR_WINHTTP_SECURE_CERT_CN_INVALID:
            return "the server's certificate is for another host name";
        case ERROR_WINHTTP_SECURE_INVALID_CA:
            return "the server's certificate is signed by an unknown certificate authority";
        case ERROR_WINHTTP_SECURE_INVALID_CERT:
            return "the server's certificate is invalid";
        case ERROR_WINHTTP_SECURE_CERT_REVOKED:
            return "the server's certificate has been revoked";
        case ERROR_WINHTTP_SECURE_CERT_REV_FAILED:
            return "the server's certificate could not be checked for revocation";
        case ERROR_WINHTTP_SECURE_CERT_WRONG_USAGE:
            return "the server's certificate is not meant for TLS servers";
        case ERROR_WINHTTP_SECURE_CHANNEL_ERROR:
            return "the TLS channel failed";
        case ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED:
            return "the server asks for a client certificate";
        case ERROR_WINHTTP_INVALID_URL:
            return "the URL is invalid";
        case ERROR_WINHTTP_UNRECOGNIZED_SCHEME:
            return "the URL's scheme is not supported";
        case ERROR_WINHTTP_HEADER_NOT_FOUND:
            return "the answer lacks a header";
        case ERROR_WINHTTP_INTERNAL_ERROR:
            return "WinHTTP failed internally";
        default:
            return nullptr;
    }
}

}  // namespace

std::string windows_error_text(unsigned long code) {
    if (const char* reason = winhttp_reason(code)) {
        return std::string(reason) + " (WinHTTP error " + std::to_string(code) + ")";
    }
    char* buffer = nullptr;
    const DWORD length = ::FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, code, MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US),
        reinterpret_cast<char*>(&buffer),  // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
        0, nullptr);
    std::string text = length > 0 && buffer != nullptr ? std::string(buffer, length) : "";
    ::LocalFree(buffer);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ' ||
                             text.back() == '.')) {
        text.pop_back();
    }
    if (text.empty()) {
        text = "Windows error";
    }
    return text + " (error " + std::to_string(code) + ")";
}

}  // namespace zentrova::monitoring_modules::rest::impl
