// windows.h first: sddl.h relies on its declarations.
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <sddl.h>

#include <cerrno>
#include <memory>
#include <string>

#include "framework/logging/impl/private_file.hpp"

namespace zentrova::monitoring_modules::framework::logging::impl {
namespace {

struct local_free {
    void operator()(void* memory) const { LocalFree(memory); }
};

std::wstring wide(const std::string& text) {
    if (text.empty()) {
        return {};
    }
    const int size =
        MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring result(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), result.data(),
                        size);
    return result;
}

// The account this process runs as, as an SDDL SID ("S-1-5-21-..."); empty if it cannot be read.
std::wstring process_user_sid() {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) {
        return {};
    }
    DWORD size = 0;
    GetTokenInformation(token, TokenUser, nullptr, 0, &size);
    std::wstring result;
    std::string buffer(size, '\0');
    if (size != 0 && GetTokenInformation(token, TokenUser, buffer.data(), size, &size)) {
        LPWSTR text = nullptr;
        if (ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(buffer.data())->User.Sid, &text)) {
            result = text;
            LocalFree(text);
        }
    }
    CloseHandle(token);
    return result;
}

}  // namespace

std::FILE* open_private_file(const std::string& path) {
    // Full access for the account the probe runs as and the system account, nothing inherited
    // from the folder. The account is named rather than "owner rights": an elevated process's
    // new files are owned by the Administrators group.
    const std::wstring user = process_user_sid();
    if (user.empty()) {
        errno = EACCES;
        return nullptr;
    }
    const std::wstring sddl = L"D:P(A;;FA;;;" + user + L")(A;;FA;;;SY)";
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl.c_str(), SDDL_REVISION_1,
                                                              &descriptor, nullptr)) {
        errno = EACCES;
        return nullptr;
    }
    const std::unique_ptr<void, local_free> owned_descriptor(descriptor);
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor, FALSE};
    // FILE_FLAG_OPEN_REPARSE_POINT opens a link itself rather than its target, so it can be
    // refused below.
    HANDLE handle =
        CreateFileW(wide(path).c_str(), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &attributes,
                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        errno = GetLastError() == ERROR_ACCESS_DENIED ? EACCES : ENOENT;
        return nullptr;
    }
    BY_HANDLE_FILE_INFORMATION information{};
    if (!GetFileInformationByHandle(handle, &information) ||
        (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        CloseHandle(handle);
        errno = ELOOP;
        return nullptr;
    }
    const int fd = _open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_APPEND | _O_BINARY);
    if (fd < 0) {
        CloseHandle(handle);
        return nullptr;
    }
    std::FILE* file = _fdopen(fd, "ab");
    if (file == nullptr) {
        _close(fd);
    }
    return file;
}

}  // namespace zentrova::monitoring_modules::framework::logging::impl
