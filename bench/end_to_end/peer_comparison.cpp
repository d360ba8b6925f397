#include "bench/end_to_end/peer_comparison.hpp"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "bench/end_to_end/client_process.hpp"
#include "bench/end_to_end/peer_job.hpp"
#include "bench/end_to_end/table_row.hpp"

namespace zentrova::monitoring_modules::bench {
namespace {

// Enough turns that a moment of the machine's load is spread over all three clients.
constexpr std::size_t turns = 10;
// The targets against the SDK: the module this many times below its CPU and its memory.
constexpr double min_sdk_cpu_ratio = 5;
constexpr double min_sdk_memory_ratio = 7;

const char* const vm_id_key =
    "virtual_machine_metascan_section.virtual_machine_metascan_group.vm_id";

std::string program_beside_this_one(const char* name) {
    return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / name).string();
}

// A client process and what its turns measured so far.
struct running_client {
    std::size_t row = 0;
    std::unique_ptr<client_process> process;
    std::vector<double> latencies;
    double cpu_us = 0;
    std::uint64_t failures = 0;
    double max_rss_kib = 0;
};

// One turn: `checks` checks, and the client's "done" line read into its figures.
void take_turn(running_client& client, std::size_t checks) {
    client.process->send("check " + std::to_string(checks));
    const std::string line = client.process->read_line();
    std::istringstream fields(line);
    std::string word;
    double cpu_us = 0;
    std::uint64_t failures = 0;
    double max_rss_kib = 0;
    if (!(fields >> word >> cpu_us >> failures >> max_rss_kib) || word != "done") {
        throw std::runtime_error(line);
    }
    for (double latency = 0; fields >> latency;) {
        client.latencies.push_back(latency);
    }
    client.cpu_us += cpu_us;
    client.failures += failures;
    client.max_rss_kib = max_rss_kib;
}

// The job file lives as long as the clients that read it.
class job_file {
public:
    explicit job_file(const peer_job& job)
        : path_((std::filesystem::temp_directory_path() /
                 ("end_to_end_bench-peer-" + std::to_string(::getpid()) + ".json"))
                    .string()) {
        job.save(path_);
    }
    ~job_file() {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    job_file(const job_file&) = delete;
    job_file& operator=(const job_file&) = delete;
    job_file(job_file&&) = delete;
    job_file& operator=(job_file&&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

std::string ratio_text(double numerator, double denominator) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.2f", numerator / denominator);
    return text.data();
}

}  // namespace

peer_comparison::peer_comparison(const prepared_kind& vm, const emulator::azure_emulator& server,
                                 const azure_account& account, std::string sdk_script,
                                 const std::string& sdk_missing, std::size_t checks)
    : vm_(vm),
      server_(server),
      account_(account),
      sdk_script_(std::move(sdk_script)),
      checks_per_turn_((checks + turns - 1) / turns) {
    rows_.resize(3);
    rows_[0].label = "module (its exports)";
    rows_[1].label = "bare libcurl (the limit)";
    rows_[2].label = "Azure SDK for JavaScript";
    if (sdk_script_.empty()) {
        rows_[2].not_run = sdk_missing.empty() ? "no --sdk-peer given" : sdk_missing;
    }
}

void peer_comparison::run() {
    const job_file job(peer_job{vm_.create_buffers.front(), vm_.check_buffers.front(),
                                server_.ca_file(), vm_.requests.front()});
    std::vector<running_client> clients(sdk_script_.empty() ? 2 : 3);
    clients[0].process = std::make_unique<client_process>(
        std::vector<std::string>{program_beside_this_one("module_check_client"), job.path()},
        std::vector<std::pair<std::string, std::string>>{});
    clients[1].row = 1;
    clients[1].process = std::make_unique<client_process>(
        std::vector<std::string>{program_beside_this_one("bare_check_client"), job.path()},
        std::vector<std::pair<std::string, std::string>>{});
    if (clients.size() == 3) {
        clients[2].row = 2;
        clients[2].process = std::make_unique<client_process>(
            std::vector<std::string>{"node", sdk_script_},
            std::vector<std::pair<std::string, std::string>>{
                {"NODE_EXTRA_CA_CERTS", server_.ca_file()},
                {"PEER_ARM_ENDPOINT", server_.base_url()},
                {"PEER_LOGIN_ENDPOINT", server_.login_url()},
                {"PEER_TENANT_ID", account_.tenant_id},
                {"PEER_CLIENT_ID", account_.client_id},
                {"PEER_CLIENT_SECRET", account_.client_secret},
                {"PEER_SUBSCRIPTION_ID", account_.subscription_id},
                {"PEER_VM_ID", vm_.kind.variants.front().at(vm_id_key)}});
    }
    // Each client's first check, which pays for the token and the connection, is not measured.
    for (auto client = clients.begin(); client != clients.end();) {
        const std::string line = client->process->read_line();
        if (line == "ready") {
            ++client;
            continue;
        }
        if (client->row != 2) {
            throw std::runtime_error(rows_[client->row].label + " cannot check: " + line);
        }
        rows_[2].not_run = "its first check failed: " + line;
        client = clients.erase(client);
    }
    // The clients take turns, and who goes first moves on each turn, so that a trend in the
    // machine's load hits all alike.
    for (std::size_t turn = 0; turn < turns; ++turn) {
        for (std::size_t next = 0; next < clients.size(); ++next) {
            auto& client = clients[(turn + next) % clients.size()];
            try {
                take_turn(client, checks_per_turn_);
            } catch (const std::exception& e) {
                if (client.row != 2) {
                    throw std::runtime_error(rows_[client.row].label + " failed: " + e.what());
                }
                rows_[2].not_run = std::string("it stopped: ") + e.what();
                clients.erase(clients.begin() + static_cast<std::ptrdiff_t>(client.row));
                break;
            }
        }
    }
    for (const auto& client : clients) {
        auto& row = rows_[client.row];
        row.checks = client.latencies.size();
        row.failures = client.failures;
        row.cpu_us = client.cpu_us / static_cast<double>(row.checks);
        row.median_latency_us = median(client.latencies);
        row.max_rss_kib = client.max_rss_kib;
    }
}

void peer_comparison::print() const {
    std::printf(
        "\nOne virtual machine sensor (%s), each client in a process of its own against the "
        "same emulator:\n%zu checks each after a first one, in %zu alternating turns. CPU: the "
        "process's CPU time, all its\nthreads, / checks; latency: one check, both requests; max "
        "RSS: the process's peak resident memory.\n\n",
        vm_.kind.variants.front().at(vm_id_key).c_str(), checks_per_turn_ * turns, turns);
    std::printf("%-26s %8s %8s %14s %12s %7s\n", "client", "checks", "CPU us", "median lat us",
                "max RSS MiB", "failed");
    for (const auto& row : rows_) {
        if (!row.not_run.empty()) {
            std::printf("%-26s not run: %s\n", row.label.c_str(), row.not_run.c_str());
            continue;
        }
        std::printf("%-26s %8llu %8.0f %14.0f %12.1f %7llu\n", row.label.c_str(),
                    static_cast<unsigned long long>(row.checks), row.cpu_us, row.median_latency_us,
                    row.max_rss_kib / 1024, static_cast<unsigned long long>(row.failures));
    }
    const auto& mod = module();
    std::printf("\n  module / bare: CPU x %s, latency x %s, max RSS x %s\n",
                ratio_text(mod.cpu_us, bare().cpu_us).c_str(),
                ratio_text(mod.median_latency_us, bare().median_latency_us).c_str(),
                ratio_text(mod.max_rss_kib, bare().max_rss_kib).c_str());
    if (sdk().not_run.empty()) {
        std::printf("  SDK / module:  CPU x %s, latency x %s, max RSS x %s\n",
                    ratio_text(sdk().cpu_us, mod.cpu_us).c_str(),
                    ratio_text(sdk().median_latency_us, mod.median_latency_us).c_str(),
                    ratio_text(sdk().max_rss_kib, mod.max_rss_kib).c_str());
    }
}

void peer_comparison::print_targets() const {
    if (!sdk().not_run.empty()) {
        std::printf("  the module against the SDK: not measured (%s)\n", sdk().not_run.c_str());
        return;
    }
    const auto verdict = [](bool met) { return met ? "met" : "MISSED"; };
    const double cpu = sdk().cpu_us / module().cpu_us;
    const double memory = sdk().max_rss_kib / module().max_rss_kib;
    std::printf("  SDK CPU / module CPU >= %.0f: %.2f: %s\n", min_sdk_cpu_ratio, cpu,
                verdict(cpu >= min_sdk_cpu_ratio));
    std::printf("  SDK max RSS / module max RSS >= %.0f: %.2f: %s\n", min_sdk_memory_ratio, memory,
                verdict(memory >= min_sdk_memory_ratio));
}

}  // namespace zentrova::monitoring_modules::bench
