#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/rest/conformance/server_description.hpp"
#include "tests/support/refusing_port.hpp"

namespace zentrova::monitoring_modules::rest::testing {

// The other end of the transport conformance tests: HTTP and HTTPS listeners on 127.0.0.1 whose
// answer is chosen by the request's path, so that a test in any process (or under Wine) steers it
// through the client under test alone. Unless a path says otherwise, the answer echoes the raw
// request in its body and names the server-side connection in "X-Connection".
//
//   /status/<code>   that status (and its usual reason phrase)
//   /teapot          418 with folded, repeated and cookie headers
//   /redirect        302 to /echo/redirected
//   /set-cookie      200 with a Set-Cookie header
//   /close-mid-body  a header promising 100 bytes, 9 of them, then the connection closes
//   /close-silently  the connection closes without an answer
//   /hold            no answer until the client gives up
//   /endless         a chunked body that goes on until the client hangs up
//   /trickle/<n>     a body of n bytes, one every 100 ms after the header
//   /trickle-headers the header, one byte every 100 ms for a minute
//   /not-http        an SSH banner
//   /seen?<marker>   how many requests whose target held <marker> reached any listener
//
// Linux only (sockets and OpenSSL); the Windows tests run it as transport-conformance-server.
class conformance_server {
public:
    // Writes the CA certificates into `directory` (made when missing).
    explicit conformance_server(const std::string& directory);
    ~conformance_server();
    conformance_server(const conformance_server&) = delete;
    conformance_server& operator=(const conformance_server&) = delete;
    conformance_server(conformance_server&&) = delete;
    conformance_server& operator=(conformance_server&&) = delete;

    const server_description& description() const { return description_; }

    // Stops listening, closes every connection and joins every thread.
    void stop();

private:
    struct listener;

    void accept_loop(listener& source);
    void serve(listener& source, int socket, std::size_t connection_id);
    // The answer's bytes; `trickle` is sent after them, one byte at a time.
    std::string answer(const std::string& request, std::size_t connection_id, bool& close_after,
                       bool& hold, std::string& trickle);
    void record(const std::string& target);
    std::size_t seen(const std::string& marker) const;
    void forget(int socket);

    server_description description_;
    std::vector<std::unique_ptr<listener>> listeners_;
    monitoring_modules::testing::refusing_port refusing_;
    std::atomic<bool> stopping_{false};
    mutable std::mutex mutex_;
    std::set<int> open_sockets_;
    std::vector<std::thread> threads_;  // accept loops and connection handlers
    std::vector<std::string> targets_;
};

}  // namespace zentrova::monitoring_modules::rest::testing
