#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace zentrova::monitoring_modules::emulator {

// A scenario text or file that cannot be used; the message names the source, the JSON path
// and what is wrong there.
class scenario_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// How the emulator starts. Every member has a usable default: a fresh certificate in a
// temporary directory, the bundled scenario, a free port on 127.0.0.1.
struct emulator_options {
    std::string scenario_json;  // scenario text; wins over scenario_file
    std::string scenario_file;  // used when scenario_json is empty; both empty: bundled scenario
    // Each machine and SQL server of the starting scenario this many times (docs/emulator.md,
    // "Copies"); 0: as many as its "copies" member says (1 without one).
    std::size_t copies = 0;
    std::string host = "127.0.0.1";  // name used in the URLs: "127.0.0.1" or "localhost"
    int port = 0;                    // 0 picks a free port
    // Where ca.pem, server.pem and server.key live. Files already there are reused, missing ones
    // are made. Empty: a private temporary directory, removed again by stop().
    std::string tls_directory;
    // An identity of the caller's own instead (all three or none).
    std::string certificate_file;
    std::string private_key_file;
    std::string ca_file;
    std::size_t max_threads = 1024;  // one per open connection, grown on demand
    int keep_alive_timeout_seconds = 15;
    std::size_t request_log_limit = 10000;  // oldest entries are dropped beyond it
};

// What a fault does to the requests it matches.
enum class fault_kind {
    status,              // answer with `status`, its reason phrase and an error body
    delay,               // answer normally, after delay_ms
    close_connection,    // close the connection without answering
    close_mid_body,      // send the headers and half of the body, then close
    wrong_content_type,  // normal body under `content_type` (default text/html)
    truncated_body,      // first half of the normal body, Content-Length to match
    invalid_json,        // a body that is not JSON, under a JSON content type
    empty_body,          // normal status, no body
    large_body,          // the normal body padded to `size` bytes, still valid JSON
    custom_body          // `body` under `content_type`, with `status` (default 200)
};

// One injected fault for a route ("token", "vm_list", ... or "*" for every Azure route).
struct fault {
    std::string route = "*";
    fault_kind kind = fault_kind::status;
    int status = 0;          // 0: 503 for kind status, the normal status otherwise
    std::string reason;      // empty: the standard reason phrase
    std::string error_code;  // code in the error body; empty: derived from the status
    std::string error_message;
    int retry_after_seconds = -1;  // -1: none, except 1 for status 429
    int delay_ms = 0;              // waited before answering, with any kind (at most 60000)
    std::string content_type;
    std::string body;
    std::size_t size = 10U * 1024U * 1024U;  // large_body: total body length in bytes
    int count = -1;             // applies to the next `count` matching requests; -1: until cleared
    std::string path_contains;  // only requests whose path holds this text (case-insensitive)
};

// What the emulator has served since it started or was last reset.
struct emulator_counters {
    std::uint64_t requests_total = 0;  // Azure requests; control requests are not counted
    std::map<std::string, std::uint64_t> requests_by_route;
    std::uint64_t token_requests = 0;  // both token endpoints
    std::uint64_t connections_accepted = 0;
    std::uint64_t tls_handshakes = 0;
    std::uint64_t open_connections = 0;  // a gauge, not reset
    std::uint64_t faults_applied = 0;

    std::uint64_t requests(const std::string& route) const;
};

// One Azure request as it arrived.
struct recorded_request {
    std::string method;
    std::string target;  // path and query exactly as received
    std::string route;   // "unknown" when no route matched
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    int status = 0;  // status answered; 0 when the connection was closed instead

    std::string header(const std::string& name) const;  // case-insensitive; "" when absent
};

// A local HTTPS server that answers the Azure AD and Azure Resource Manager requests of the
// module from a scenario, with fault injection and counters for tests and benchmarks.
// Construction starts it (listening before the constructor returns); every member is safe
// to call from any thread.
class azure_emulator {
public:
    // Throws scenario_error for a bad scenario, std::runtime_error when the server cannot
    // start (port in use, unreadable TLS files).
    explicit azure_emulator(const emulator_options& options = {});
    ~azure_emulator();
    azure_emulator(const azure_emulator&) = delete;
    azure_emulator& operator=(const azure_emulator&) = delete;

    const std::string& base_url() const;   // "https://127.0.0.1:PORT/"
    const std::string& login_url() const;  // "https://127.0.0.1:PORT"
    const std::string& ca_file() const;
    int port() const;

    // The old scenario stays when the new one is rejected (scenario_error). Faults listed in
    // the new scenario replace the current ones.
    void replace_scenario(const std::string& json_text);
    void replace_scenario_file(const std::string& path);

    void set_fault(const fault& f);  // replaces a fault with the same route and path_contains
    void set_faults_json(const std::string& json_text);  // one fault object or an array
    void clear_faults();
    void clear_faults(const std::string& route);
    std::vector<fault> faults() const;

    // Stops the scenario's quota clock at `seconds` after the scenario began, so that a
    // benchmark steps through hours of quota in seconds; until the first call it follows the
    // real clock.
    void set_quota_clock(double seconds);

    emulator_counters counters() const;
    std::vector<recorded_request> requests() const;
    // Waits until at least `count` Azure requests were received; false on timeout.
    bool wait_for_requests(std::uint64_t count, std::chrono::milliseconds timeout) const;
    void reset();  // counters and request log

    // Closes every connection and joins every thread. A second call does nothing.
    void stop();

private:
    struct state;
    std::unique_ptr<state> state_;
};

// The bundled scenario: every sensor kind and the interesting states.
const std::string& default_scenario_json();

// Route names that faults and counters use, in a stable order.
const std::vector<std::string>& route_names();

}  // namespace zentrova::monitoring_modules::emulator
