#pragma once

#include <string>
#include <type_traits>

namespace zentrova::monitoring_modules::rest::impl {

// A shared library opened with dlopen (RTLD_NOW | RTLD_LOCAL), for the functions the engine
// calls in it. It is never closed: libcurl and OpenSSL keep process-wide state (at-exit
// handlers, per-thread error queues) that must not outlive their code, so neither is safe to
// unload. Every error names the library and the loader's reason, opens with `purpose` (what
// could not be done) and ends with `remedy` (what to install or check).
class shared_object {
public:
    enum class opening {
        load,            // opened, with its dependencies, unless the process has it already
        only_if_loaded,  // the copy the process has loaded already (RTLD_NOLOAD), or fail
    };

    // Throws std::runtime_error when the library cannot be opened.
    shared_object(std::string name, std::string purpose, std::string remedy,
                  opening how = opening::load);

    // The address of the function `symbol`, as the type of `function` (which comes from the
    // library's own declaration). Throws std::runtime_error when the library lacks it.
    template <typename function_type>
    void resolve(function_type& function, const char* symbol) const {
        // POSIX guarantees that dlsym's object pointer converts to the function's pointer.
        function = reinterpret_cast<function_type>(address(symbol));
    }

    // A std::runtime_error that reads "<purpose>: <reason>; <remedy>".
    [[noreturn]] void fail(const std::string& reason) const;

private:
    void* address(const char* symbol) const;

    std::string name_;
    std::string purpose_;
    std::string remedy_;
    void* handle_ = nullptr;
};

}  // namespace zentrova::monitoring_modules::rest::impl

// Looks the function `symbol` up in `library` into `member`, which must be declared with the type
// of the library's own declaration of `symbol`: a pointer never gets another function's type.
#define MICROSOFTAZURE_RESOLVE_FUNCTION(library, member, symbol)                              \
    do {                                                                                      \
        static_assert(                                                                        \
            std::is_same_v<std::remove_reference_t<decltype((member))>, decltype(&::symbol)>, \
            #member " must have the type of " #symbol);                                       \
        (library).resolve((member), #symbol);                                                 \
    } while (false)
