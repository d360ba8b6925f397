#include "emulator/azure_emulator.hpp"

#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <mutex>

#include "emulator/impl/azure_service.hpp"
#include "emulator/impl/emulator_server.hpp"
#include "emulator/impl/request_recorder.hpp"
#include "emulator/impl/scenario_parser.hpp"
#include "emulator/tls_identity.hpp"

namespace zentrova::monitoring_modules::emulator {
namespace {

namespace fs = std::filesystem;

impl::scenario load_scenario(const emulator_options& options) {
    if (!options.scenario_json.empty()) {
        return impl::scenario_parser::parse(options.scenario_json, "scenario", options.copies);
    }
    if (!options.scenario_file.empty()) {
        return impl::scenario_parser::parse_file(options.scenario_file, options.copies);
    }
    return impl::scenario_parser::parse(default_scenario_json(), "bundled scenario",
                                        options.copies);
}

// Each open connection costs a descriptor on both ends; the usual soft limit of 1024 would
// cap a benchmark at a few hundred connections. Raising the soft limit to the hard one is
// allowed to any process.
void raise_open_file_limit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

std::string make_private_directory() {
    std::string pattern = (fs::temp_directory_path() / "azure-emulator-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error(
            "emulator: cannot create a temporary directory for its TLS files "
            "under " +
            fs::temp_directory_path().string());
    }
    return pattern;
}

}  // namespace

struct azure_emulator::state {
    std::string base_url;
    std::string login_url;
    std::string ca_file;
    std::string temporary_directory;  // removed by stop()
    impl::request_recorder recorder;
    std::unique_ptr<impl::emulator_server> server;
    std::unique_ptr<impl::azure_service> service;
    std::mutex stop_mutex;
    bool stopped = false;

    explicit state(std::size_t log_limit) : recorder(log_limit) {}

    void remove_temporary_directory() {
        if (!temporary_directory.empty()) {
            std::error_code ignored;
            fs::remove_all(temporary_directory, ignored);
            temporary_directory.clear();
        }
    }
};

azure_emulator::azure_emulator(const emulator_options& options)
    : state_(std::make_unique<state>(options.request_log_limit)) {
    if (options.host != "127.0.0.1" && options.host != "localhost") {
        throw std::runtime_error(R"(emulator: host must be "127.0.0.1" or "localhost", not ")" +
                                 options.host + "\"");
    }
    auto world = std::make_shared<const impl::scenario>(load_scenario(options));
    raise_open_file_limit();

    impl::server_options server;
    server.port = options.port;
    server.max_threads = options.max_threads;
    server.keep_alive_timeout_seconds = options.keep_alive_timeout_seconds;
    const int own_files = static_cast<int>(!options.certificate_file.empty()) +
                          static_cast<int>(!options.private_key_file.empty()) +
                          static_cast<int>(!options.ca_file.empty());
    if (own_files == 3) {
        server.certificate_file = options.certificate_file;
        server.private_key_file = options.private_key_file;
        state_->ca_file = options.ca_file;
    } else if (own_files != 0) {
        throw std::runtime_error(
            "emulator: give the certificate, private key and CA file together, or none of them");
    } else {
        std::string directory = options.tls_directory;
        if (directory.empty()) {
            directory = make_private_directory();
            state_->temporary_directory = directory;
        }
        const fs::path dir(directory);
        tls_identity_files files{(dir / "ca.pem").string(), (dir / "server.pem").string(),
                                 (dir / "server.key").string()};
        std::error_code ec;
        if (!fs::exists(files.ca_file, ec) || !fs::exists(files.certificate_file, ec) ||
            !fs::exists(files.private_key_file, ec)) {
            files = write_tls_identity(tls_identity::for_loopback(), directory);
        }
        server.certificate_file = files.certificate_file;
        server.private_key_file = files.private_key_file;
        state_->ca_file = files.ca_file;
    }

    try {
        state_->server = std::make_unique<impl::emulator_server>(server, state_->recorder);
        const std::string port = std::to_string(state_->server->port());
        state_->login_url = "https://" + options.host + ":" + port;
        state_->base_url = state_->login_url + "/";
        impl::service_endpoints endpoints{
            state_->base_url,
            state_->login_url,
            {"https://127.0.0.1:" + port, "https://localhost:" + port}};
        state_->service =
            std::make_unique<impl::azure_service>(endpoints, std::move(world), state_->recorder);
        state_->server->start(*state_->service);
    } catch (...) {
        state_->server.reset();
        state_->remove_temporary_directory();
        throw;
    }
}

azure_emulator::~azure_emulator() {
    stop();
}

const std::string& azure_emulator::base_url() const {
    return state_->base_url;
}

const std::string& azure_emulator::login_url() const {
    return state_->login_url;
}

const std::string& azure_emulator::ca_file() const {
    return state_->ca_file;
}

int azure_emulator::port() const {
    return state_->server->port();
}

void azure_emulator::replace_scenario(const std::string& json_text) {
    state_->service->replace_scenario(std::make_shared<const impl::scenario>(
        impl::scenario_parser::parse(json_text, "scenario")));
}

void azure_emulator::replace_scenario_file(const std::string& path) {
    state_->service->replace_scenario(
        std::make_shared<const impl::scenario>(impl::scenario_parser::parse_file(path)));
}

void azure_emulator::set_fault(const fault& f) {
    const std::string problem = impl::fault_table::problem(f);
    if (!problem.empty()) {
        throw scenario_error("fault: " + problem);
    }
    state_->service->faults().set(f);
}

void azure_emulator::set_faults_json(const std::string& json_text) {
    for (const auto& f : impl::scenario_parser::parse_faults(json_text, "faults")) {
        state_->service->faults().set(f);
    }
}

void azure_emulator::clear_faults() {
    state_->service->faults().clear();
}

void azure_emulator::clear_faults(const std::string& route) {
    state_->service->faults().clear(route);
}

void azure_emulator::set_quota_clock(double seconds) {
    state_->service->quotas().hold_clock_at(seconds);
}

std::vector<fault> azure_emulator::faults() const {
    return state_->service->faults().list();
}

emulator_counters azure_emulator::counters() const {
    return state_->recorder.snapshot();
}

std::vector<recorded_request> azure_emulator::requests() const {
    return state_->recorder.requests();
}

bool azure_emulator::wait_for_requests(std::uint64_t count,
                                       std::chrono::milliseconds timeout) const {
    return state_->recorder.wait_for_requests(count, timeout);
}

void azure_emulator::reset() {
    state_->recorder.reset();
}

void azure_emulator::stop() {
    std::lock_guard<std::mutex> lock(state_->stop_mutex);
    if (state_->stopped) {
        return;
    }
    state_->stopped = true;
    state_->server->stop();
    state_->remove_temporary_directory();
}

}  // namespace zentrova::monitoring_modules::emulator
