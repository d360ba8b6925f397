#pragma once

#include <curl/curl.h>

#include <string>

namespace zentrova::monitoring_modules::rest::impl {

// The libcurl functions the engine calls, looked up once in a libcurl opened with dlopen.
// Linked, libcurl and the libraries it brings along (GnuTLS, Kerberos, LDAP, SSH, ...) would
// cost every probe that loads the module about 6 MiB before any sensor exists; opened by the
// first connection, they cost nothing until something connects. The pointers take their types
// from libcurl's own declarations, so every call is checked against them.
class curl_library {
public:
    // The name the loader searches for: Debian's libcurl4 (the OpenSSL flavour).
    static constexpr const char* default_name = "libcurl.so.4";
    // 7.85.0 brought CURLOPT_PROTOCOLS_STR, the newest option the engine sets.
    static constexpr unsigned int oldest_version = 0x075500;

    // The process's libcurl (default_name), opened on the first call. Thread-safe. Throws
    // std::runtime_error saying what failed and what to install; the next call tries again.
    static const curl_library& get();

    // Opens the libcurl called `name` (a file name the loader searches for, or a path). Throws
    // std::runtime_error when it cannot be opened, lacks a function or is older than
    // oldest_version.
    explicit curl_library(const std::string& name);

    decltype(&::curl_global_init) global_init = nullptr;
    decltype(&::curl_global_cleanup) global_cleanup = nullptr;
    decltype(&::curl_version_info) version_info = nullptr;
    decltype(&::curl_easy_init) easy_init = nullptr;
    decltype(&::curl_easy_cleanup) easy_cleanup = nullptr;
    // Variadic: the argument must have exactly the type the option takes (long, curl_off_t, an
    // object or a function pointer); curl_connection's set_option checks that.
    decltype(&::curl_easy_setopt) easy_setopt = nullptr;
    decltype(&::curl_easy_getinfo) easy_getinfo = nullptr;
    decltype(&::curl_easy_strerror) easy_strerror = nullptr;
    decltype(&::curl_multi_init) multi_init = nullptr;
    decltype(&::curl_multi_cleanup) multi_cleanup = nullptr;
    decltype(&::curl_multi_setopt) multi_setopt = nullptr;  // variadic, as easy_setopt
    decltype(&::curl_multi_add_handle) multi_add_handle = nullptr;
    decltype(&::curl_multi_remove_handle) multi_remove_handle = nullptr;
    decltype(&::curl_multi_perform) multi_perform = nullptr;
    decltype(&::curl_multi_poll) multi_poll = nullptr;
    decltype(&::curl_multi_info_read) multi_info_read = nullptr;
    decltype(&::curl_multi_strerror) multi_strerror = nullptr;
    decltype(&::curl_share_init) share_init = nullptr;
    decltype(&::curl_share_cleanup) share_cleanup = nullptr;
    decltype(&::curl_share_setopt) share_setopt = nullptr;
    decltype(&::curl_share_strerror) share_strerror = nullptr;
    decltype(&::curl_slist_append) slist_append = nullptr;
    decltype(&::curl_slist_free_all) slist_free_all = nullptr;
};

}  // namespace zentrova::monitoring_modules::rest::impl
