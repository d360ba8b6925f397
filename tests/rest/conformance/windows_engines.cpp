// The Windows side of the conformance suite: the WinHTTP engine, against the conformance server
// that runs natively beside Wine (scripts/windows-test-servers.sh starts it).
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "tests/rest/conformance/engines_under_test.hpp"

// clang-format off
#include <windows.h>
// clang-format on

namespace zentrova::monitoring_modules::rest::testing {

namespace {

server_description read_description() {
    const char* file = std::getenv("MICROSOFTAZURE_CONFORMANCE_SERVER");
    if (file == nullptr || *file == '\0') {
        throw std::runtime_error(
            "MICROSOFTAZURE_CONFORMANCE_SERVER names no file: run these tests through CTest in "
            "the Windows build (make test-windows), which starts transport-conformance-server");
    }
    std::ifstream in(file);
    if (!in) {
        throw std::runtime_error(std::string("cannot read the conformance server's description ") +
                                 file + "; is transport-conformance-server running?");
    }
    std::stringstream text;
    text << in.rdbuf();
    return server_description::from_text(text.str());
}

}  // namespace

std::vector<engine_under_test> engines_under_test() {
    // Windows' WinHTTP bounds the whole wait for the header (the receive-response time-out, which
    // the engine sets to what is left of the deadline); Wine's applies it to each receive.
    const bool wine =
        ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    return {{"WinHTTP", impl::make_connection_pool,
             wine ? "Wine's WinHTTP bounds each receive of the header, not the whole header" : ""}};
}

const server_description& server_under_test() {
    static const server_description description = read_description();
    return description;
}

}  // namespace zentrova::monitoring_modules::rest::testing
