#pragma once

// The Linux test suites reused by the Windows build call a few POSIX functions that the
// Windows C runtime names differently. This header is put in front of those sources (CMake
// -include) so that they compile unchanged; it adds nothing on Linux.

#include <process.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

// setenv(3): the C runtime's _putenv_s, which the module's getenv sees (one CRT per process).
inline int setenv(const char* name, const char* value, int overwrite) {
    if (overwrite == 0 && std::getenv(name) != nullptr) {
        return 0;
    }
    return _putenv_s(name, value);
}

// std::filesystem::path::c_str() is a wide string on Windows.
inline int setenv(const char* name, const wchar_t* value, int overwrite) {
    return setenv(name, std::filesystem::path(value).string().c_str(), overwrite);
}

// An empty value removes the variable.
inline int unsetenv(const char* name) {
    return _putenv_s(name, "");
}

// Thread locales (newlocale/uselocale/freelocale) over the C runtime's per-thread setlocale. A
// POSIX name such as "de_DE.UTF-8" is tried without its codeset ("de_DE", which the C runtime
// takes for German_Germany); a name the runtime does not know gives no locale, as newlocale does.
struct posix_compat_locale {
    std::string name;
};
using locale_t = posix_compat_locale*;
#ifndef LC_ALL_MASK
#define LC_ALL_MASK 0
#endif

inline locale_t newlocale(int /*mask*/, const char* name, locale_t /*base*/) {
    std::string windows_name(name);
    windows_name = windows_name.substr(0, windows_name.find('.'));
    _configthreadlocale(_ENABLE_PER_THREAD_LOCALE);
    const std::string current = std::setlocale(LC_ALL, nullptr);
    if (std::setlocale(LC_ALL, windows_name.c_str()) == nullptr) {
        return nullptr;
    }
    std::setlocale(LC_ALL, current.c_str());
    return new posix_compat_locale{windows_name};  // NOLINT: released by freelocale
}

// Returns the locale in force before, which stays valid for the thread's life.
inline locale_t uselocale(locale_t chosen) {
    thread_local posix_compat_locale previous;
    _configthreadlocale(_ENABLE_PER_THREAD_LOCALE);
    const std::string current = std::setlocale(LC_ALL, nullptr);
    if (chosen != nullptr) {
        std::setlocale(LC_ALL, chosen->name.c_str());
    }
    if (chosen != &previous) {
        previous.name = current;
    }
    return &previous;
}

inline void freelocale(locale_t chosen) {
    delete chosen;  // NOLINT: made by newlocale
}
