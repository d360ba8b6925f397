// windows.h first: sddl.h and aclapi.h rely on its declarations.
#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "framework/logging/impl/private_file.hpp"

namespace zentrova::monitoring_modules::framework::logging::impl {
namespace {

struct local_free {
    void operator()(void* memory) const { LocalFree(memory); }
};

struct handle_closer {
    void operator()(void* handle) const { CloseHandle(handle); }
};
using owned_handle = std::unique_ptr<void, handle_closer>;

HANDLE native(std::intptr_t handle) {
    return reinterpret_cast<HANDLE>(handle);  // NOLINT(performance-no-int-to-ptr)
}

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

std::string system_message(DWORD code) {
    std::string text(512, '\0');
    const DWORD length =
        FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0,
                       text.data(), static_cast<DWORD>(text.size()), nullptr);
    text.resize(length);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == '.')) {
        text.pop_back();
    }
    return text.empty() ? "Windows error " + std::to_string(code) : text;
}

[[noreturn]] void cannot_open(const std::string& path, const std::string& reason) {
    throw utils::exceptions::exception("Cannot open log file " + path + ": " + reason +
                                       ". Check MICROSOFTAZURE_LOG_DIR and its permissions.");
}

// TOKEN_USER or TOKEN_OWNER of this process; empty if it cannot be read.
std::vector<unsigned char> token_information(TOKEN_INFORMATION_CLASS kind) {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) {
        return {};
    }
    const owned_handle owned_token(token);
    DWORD size = 0;
    GetTokenInformation(token, kind, nullptr, 0, &size);
    std::vector<unsigned char> buffer(size);
    if (size == 0 || !GetTokenInformation(token, kind, buffer.data(), size, &size)) {
        return {};
    }
    return buffer;
}

std::wstring sddl_of(PSID sid) {
    LPWSTR text = nullptr;
    if (!ConvertSidToStringSidW(sid, &text)) {
        return {};
    }
    std::wstring result = text;
    LocalFree(text);
    return result;
}

// The account this process runs as, and the owner its new files get (the Administrators group
// for an elevated process): the two owners a log file of the module may have.
struct process_account {
    std::vector<unsigned char> user_buffer = token_information(TokenUser);
    std::vector<unsigned char> owner_buffer = token_information(TokenOwner);

    PSID user() const {
        return user_buffer.empty()
                   ? nullptr
                   : reinterpret_cast<const TOKEN_USER*>(user_buffer.data())->User.Sid;
    }
    bool owns(PSID owner) const {
        return (user() != nullptr && EqualSid(owner, user())) ||
               (!owner_buffer.empty() &&
                EqualSid(owner, reinterpret_cast<const TOKEN_OWNER*>(owner_buffer.data())->Owner));
    }
};

const char* const link_refusal = "it is a reparse point (a link), which a log file never follows";

// Why the open file is no log of ours, or "" when it is one.
std::string refusal(HANDLE file, const BY_HANDLE_FILE_INFORMATION& information,
                    const process_account& account) {
    if (GetFileType(file) != FILE_TYPE_DISK) {
        return "it is not a file on disk (a device or a pipe)";
    }
    if ((information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        return link_refusal;
    }
    if ((information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return "it is a directory";
    }
    // Another name of the same file (a hard link) would carry the lines elsewhere too.
    if (information.nNumberOfLinks > 1) {
        return "it has " + std::to_string(information.nNumberOfLinks) + " names (hard links)";
    }
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr, nullptr,
                        nullptr, &descriptor) != ERROR_SUCCESS) {
        return "its owner cannot be read";
    }
    const std::unique_ptr<void, local_free> owned_descriptor(descriptor);
    if (owner == nullptr || !account.owns(owner)) {
        const std::wstring sid = owner != nullptr ? sddl_of(owner) : L"none";
        return "it belongs to another account (" + std::string(sid.begin(), sid.end()) +
               ") than the one the module runs as";
    }
    return "";
}

// Why an existing name that could not be opened is no log of ours, or "" when it is missing.
std::string refusal_of_name(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        return "";
    }
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        return link_refusal;
    }
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return "it is a directory";
    }
    return "this account may not write to it (another account's file, or a read-only one)";
}

// Far past any log's end: the lock byte that processes sharing a log take turns on. Windows'
// locks keep others from the bytes they cover, so it covers none that is ever written.
OVERLAPPED lock_position() {
    OVERLAPPED position{};
    position.Offset = 0xFFFFFFFEU;
    position.OffsetHigh = 0x7FFFFFFFU;
    return position;
}

}  // namespace

private_file::private_file(const std::string& path) : handle_(0) {
    // Full access for the account the probe runs as and the system account, nothing inherited
    // from the folder. The account is named rather than "owner rights": an elevated process's
    // new files are owned by the Administrators group.
    const process_account account;
    const std::wstring user = account.user() != nullptr ? sddl_of(account.user()) : L"";
    if (user.empty()) {
        cannot_open(path, "the account the module runs as cannot be read");
    }
    const std::wstring sddl = L"D:P(A;;FA;;;" + user + L")(A;;FA;;;SY)";
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl.c_str(), SDDL_REVISION_1,
                                                              &descriptor, nullptr)) {
        cannot_open(path, system_message(GetLastError()));
    }
    const std::unique_ptr<void, local_free> owned_descriptor(descriptor);
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor, FALSE};
    // FILE_APPEND_DATA without FILE_WRITE_DATA: every write lands at the end, whoever else
    // appends. READ_CONTROL and WRITE_DAC read the owner and reset the access list; FILE_READ_DATA
    // is what a lock needs. FILE_FLAG_OPEN_REPARSE_POINT opens a link itself rather than its
    // target, so it can be refused below.
    const std::wstring name = wide(path);
    HANDLE handle = CreateFileW(
        name.c_str(),
        FILE_APPEND_DATA | FILE_READ_DATA | FILE_READ_ATTRIBUTES | READ_CONTROL | WRITE_DAC,
        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &attributes, OPEN_ALWAYS,
        FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        const DWORD code = GetLastError();
        if (code == ERROR_ACCESS_DENIED) {
            if (std::string reason = refusal_of_name(name); !reason.empty()) {
                throw log_file_refused(path, reason);
            }
        }
        cannot_open(path, system_message(code));
    }
    owned_handle owned(handle);
    BY_HANDLE_FILE_INFORMATION information{};
    if (!GetFileInformationByHandle(handle, &information)) {
        cannot_open(path, system_message(GetLastError()));
    }
    if (std::string reason = refusal(handle, information, account); !reason.empty()) {
        throw log_file_refused(path, reason);
    }
    // OPEN_ALWAYS gives an existing file no new access list: it gets the owner-only one here.
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    PACL owner_only = nullptr;
    GetSecurityDescriptorDacl(descriptor, &present, &owner_only, &defaulted);
    const DWORD reset = SetSecurityInfo(
        handle, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
        nullptr, nullptr, owner_only, nullptr);
    if (reset != ERROR_SUCCESS) {
        cannot_open(
            path, "its access list cannot be reset to the owner's alone: " + system_message(reset));
    }
    handle_ = reinterpret_cast<std::intptr_t>(owned.release());
    volume_ = information.dwVolumeSerialNumber;
    index_ = (std::uint64_t{information.nFileIndexHigh} << 32U) | information.nFileIndexLow;
}

private_file::~private_file() {
    CloseHandle(native(handle_));
}

bool private_file::append(std::string_view text) {
    while (!text.empty()) {
        const auto chunk = static_cast<DWORD>(std::min<std::size_t>(text.size(), 1U << 30U));
        DWORD written = 0;
        if (!WriteFile(native(handle_), text.data(), chunk, &written, nullptr) || written == 0) {
            return false;
        }
        text.remove_prefix(written);
    }
    return true;
}

std::uintmax_t private_file::size() const {
    LARGE_INTEGER size{};
    return GetFileSizeEx(native(handle_), &size) ? static_cast<std::uintmax_t>(size.QuadPart) : 0;
}

bool private_file::is_named_by(const std::string& path) const {
    HANDLE handle =
        CreateFileW(wide(path).c_str(), FILE_READ_ATTRIBUTES,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                    FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        return false;
    }
    const owned_handle named(handle);
    BY_HANDLE_FILE_INFORMATION that{};
    return GetFileInformationByHandle(handle, &that) && that.dwVolumeSerialNumber == volume_ &&
           ((std::uint64_t{that.nFileIndexHigh} << 32U) | that.nFileIndexLow) == index_;
}

void private_file::lock() {
    OVERLAPPED position = lock_position();
    LockFileEx(native(handle_), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &position);
}

void private_file::unlock() {
    OVERLAPPED position = lock_position();
    UnlockFileEx(native(handle_), 0, 1, 0, &position);
}

}  // namespace zentrova::monitoring_modules::framework::logging::impl
