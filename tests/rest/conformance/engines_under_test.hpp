#pragma once

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "rest/impl/connection_pool_interface.hpp"
#include "tests/rest/conformance/server_description.hpp"

namespace zentrova::monitoring_modules::rest::testing {

// One HTTP engine the conformance suite runs against, and how to make its connection pools.
struct engine_under_test {
    std::string name;
    std::function<std::shared_ptr<impl::connection_pool_interface>(
        const impl::connection_pool_options&)>
        make_pool;
    // Why a server that sends its header a byte at a time can hold an exchange past its
    // deadline on this platform; empty where it cannot.
    std::string header_wait_gap;
};

inline std::ostream& operator<<(std::ostream& out, const engine_under_test& engine) {
    return out << engine.name;
}

// The engines this build has (libcurl on Linux, WinHTTP on Windows); each platform's file
// defines it.
std::vector<engine_under_test> engines_under_test();

// The conformance server this test process talks to, started on first use (Linux) or described
// by the file that MICROSOFTAZURE_CONFORMANCE_SERVER names (a server process outside Wine).
const server_description& server_under_test();

}  // namespace zentrova::monitoring_modules::rest::testing
