#pragma once

#include <string>
#include <string_view>

namespace zentrova::monitoring_modules::rest::impl {

// WinHTTP and the certificate functions speak UTF-16; the rest of the client speaks UTF-8.
std::wstring widen(std::string_view text);
std::string narrow(std::wstring_view text);

// The system's text for a WinHTTP or Windows error code, with the code, e.g. "the connection
// with the server was reset (WinHTTP error 12030)".
std::string windows_error_text(unsigned long code);

}  // namespace zentrova::monitoring_modules::rest::impl
