// The Linux side of the conformance suite: the libcurl engine, and a conformance server in the
// test process itself.
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <utility>

#include "tests/rest/conformance/conformance_server.hpp"
#include "tests/rest/conformance/engines_under_test.hpp"

namespace zentrova::monitoring_modules::rest::testing {

namespace {

// The server and the folder of its certificates, both gone when the process ends.
class process_server {
public:
    process_server()
        : directory_(std::filesystem::temp_directory_path() /
                     ("conformance-" + std::to_string(::getpid()))),
          server_(directory_.string()) {}
    ~process_server() {
        server_.stop();
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }
    process_server(const process_server&) = delete;
    process_server& operator=(const process_server&) = delete;
    process_server(process_server&&) = delete;
    process_server& operator=(process_server&&) = delete;

    const server_description& description() const { return server_.description(); }

private:
    std::filesystem::path directory_;
    conformance_server server_;
};

}  // namespace

std::vector<engine_under_test> engines_under_test() {
    return {{"libcurl", impl::make_connection_pool, ""}};
}

const server_description& server_under_test() {
    static const process_server server;
    return server.description();
}

}  // namespace zentrova::monitoring_modules::rest::testing
