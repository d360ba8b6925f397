// What a check costs end to end. The module is loaded with dlopen and driven through its exports
// as a probe drives it, against the in-process emulator over TLS on 127.0.0.1: for each sensor
// kind, with 1, 100 and 1,000 sensors of one subscription checked by 1 to 8 host threads. In the
// same run bare libcurl sends the very requests the module's checks send (same URLs, headers
// and bodies, the bearer token obtained once) over kept-alive connections, one per thread: the
// limit. Timed phases of the two alternate, and each kind's time per check is printed as a ratio
// to that limit, beside the memory per sensor and what the emulator saw (token requests, TCP
// connections, TLS handshakes). Then the cost of loading the module, measured in a process of
// its own. One table; the targets follow it.
//
//   end_to_end_bench [--sensors=1,100,1000] [--threads=1,2,4,8] [--repeats=5]
//                    [--min-checks=1000] [--kinds=virtual_machine_sensor,...]
#include <curl/curl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/end_to_end/bare_client.hpp"
#include "bench/end_to_end/bench_kind.hpp"
#include "bench/end_to_end/module_driver.hpp"
#include "bench/end_to_end/process_memory.hpp"
#include "bench/end_to_end/thread_phase.hpp"
#include "bench/end_to_end/timed_checks.hpp"
#include "emulator/azure_emulator.hpp"

namespace bench = zentrova::monitoring_modules::bench;
namespace emulator = zentrova::monitoring_modules::emulator;
namespace host = zentrova::monitoring_modules::host;

namespace {

// The targets the table is read against.
constexpr double max_ratio_to_limit = 1.2;
constexpr std::uint64_t max_connections_1000_by_8 = 16;
constexpr double max_idle_sensor_kib = 16;
constexpr double max_load_kib = 2048;
// Warm-up sensors live under ids that the measured sensors never use.
constexpr int first_warm_up_id = 900000;

struct bench_options {
    std::vector<std::size_t> sensor_counts{1, 100, 1000};
    std::vector<std::size_t> thread_counts{1, 2, 4, 8};
    // Enough that one row's phases last a few tenths of a second: shorter ones let a moment of
    // the machine's load decide a row.
    std::size_t repeats = 5;
    std::size_t min_checks = 1000;
    std::vector<std::string> kinds;  // empty: every kind
};

std::vector<std::string> split(const std::string& list) {
    std::vector<std::string> items;
    std::stringstream stream(list);
    for (std::string item; std::getline(stream, item, ',');) {
        if (!item.empty()) {
            items.push_back(item);
        }
    }
    return items;
}

std::vector<std::size_t> numbers(const std::string& list, const std::string& option) {
    std::vector<std::size_t> values;
    for (const auto& item : split(list)) {
        const long value = std::strtol(item.c_str(), nullptr, 10);
        if (value <= 0) {
            throw std::invalid_argument(option + " takes positive numbers separated by commas");
        }
        values.push_back(static_cast<std::size_t>(value));
    }
    if (values.empty()) {
        throw std::invalid_argument(option + " needs at least one number");
    }
    return values;
}

bench_options parse_options(int argc, char** argv) {
    bench_options options;
    for (int index = 1; index < argc; ++index) {
        const std::string argument = argv[index];
        const auto equals = argument.find('=');
        const std::string name = argument.substr(0, equals);
        const std::string value = equals == std::string::npos ? "" : argument.substr(equals + 1);
        if (name == "--sensors") {
            options.sensor_counts = numbers(value, name);
        } else if (name == "--threads") {
            options.thread_counts = numbers(value, name);
        } else if (name == "--repeats") {
            options.repeats = numbers(value, name).front();
        } else if (name == "--min-checks") {
            options.min_checks = numbers(value, name).front();
        } else if (name == "--kinds") {
            options.kinds = split(value);
        } else {
            throw std::invalid_argument(
                "unknown option '" + argument +
                "'; known: --sensors=1,100,1000 --threads=1,2,4,8 --repeats=5 --min-checks=1000 "
                "--kinds=virtual_machine_sensor,sql_database_sensor,subscription_cost_sensor");
        }
    }
    return options;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// What the emulator counted that matters here, and the difference of two snapshots.
struct footprint {
    std::uint64_t token_requests = 0;
    std::uint64_t connections = 0;
    std::uint64_t handshakes = 0;

    static footprint of(const emulator::emulator_counters& counters) {
        return {counters.token_requests, counters.connections_accepted, counters.tls_handshakes};
    }
    footprint since(const footprint& earlier) const {
        return {token_requests - earlier.token_requests, connections - earlier.connections,
                handshakes - earlier.handshakes};
    }
    void add(const footprint& more) {
        token_requests += more.token_requests;
        connections += more.connections;
        handshakes += more.handshakes;
    }
};

// A kind ready to measure: its variants' settings buffers (as created, and as checked once the
// probe knows the sensor's channels and persistent data) and the requests one check of each
// variant sends.
struct prepared_kind {
    bench::bench_kind kind;
    std::vector<std::string> create_buffers;
    std::vector<std::string> check_buffers;
    std::vector<bench::captured_check> requests;
    std::size_t requests_per_check = 0;  // over the variants in turn
};

struct table_row {
    std::string kind;
    std::size_t sensors = 0;
    std::size_t threads = 0;
    double requests_per_check = 0;
    double checks_per_second = 0;
    double wall_us = 0;       // per check: wall time of the phase / checks
    double cpu_us = 0;        // per check: the host threads' CPU time / checks
    double bare_wall_us = 0;  // the same for the bare requests
    double bare_cpu_us = 0;
    double ratio = 0;      // median over the repeats of module wall / bare wall
    double cpu_ratio = 0;  // the same for CPU time
    double kib_per_sensor = NAN;
    double pool_kib = 0;  // what the warm-up added: the pool's connections and the token
    footprint seen;
    std::uint64_t failures = 0;
};

class end_to_end_bench {
public:
    explicit end_to_end_bench(bench_options options)
        : options_(std::move(options)),
          server_(emulator_settings()),
          account_(bench::azure_account::from_scenario(emulator::default_scenario_json())) {
        ::setenv("MICROSOFTAZURE_ARM_ENDPOINT", server_.base_url().c_str(), 1);
        ::setenv("MICROSOFTAZURE_LOGIN_ENDPOINT", server_.login_url().c_str(), 1);
        ::setenv("MICROSOFTAZURE_CA_BUNDLE", server_.ca_file().c_str(), 1);
        // Logs go nowhere, as on a probe where no sensor has logging switched on.
        ::unsetenv("MICROSOFTAZURE_LOG_DIR");
    }

    void run() {
        const auto load = module_load_cost(false, {});
        module_ = std::make_unique<bench::module_driver>(MICROSOFTAZURE_MODULE_PATH);
        auto kinds = prepare_kinds();
        const auto load_with_bundle = module_load_cost(true, kinds.front().create_buffers.front());
        for (auto& kind : kinds) {
            for (const std::size_t sensors : options_.sensor_counts) {
                for (const std::size_t threads : options_.thread_counts) {
                    if (threads <= sensors) {
                        rows_.push_back(measure(kind, sensors, threads));
                        print_progress(rows_.back());
                    }
                }
            }
        }
        print_table();
        print_targets(load, load_with_bundle);
    }

private:
    static emulator::emulator_options emulator_settings() {
        emulator::emulator_options settings;
        // The emulator shares the process: a short request log keeps its memory out of the
        // figures, and a long keep-alive keeps connections open between timed phases.
        settings.request_log_limit = 64;
        settings.keep_alive_timeout_seconds = 600;
        return settings;
    }

    // Runs module_load_cost beside this program and reads its lines: as deployed (no extra CA
    // bundle) or with the emulator's CA bundle, as the rest of this run has it. With a settings
    // buffer (only with the bundle: the emulator's certificate must be trusted), also after a
    // first check of a sensor with that buffer.
    static std::map<std::string, bench::resident_memory> module_load_cost(
        bool with_ca_bundle, const std::string& check_buffer) {
        const auto directory = std::filesystem::read_symlink("/proc/self/exe").parent_path();
        const auto program = directory / "module_load_cost";
        std::string command =
            std::string(with_ca_bundle ? "" : "env -u MICROSOFTAZURE_CA_BUNDLE ") + "'" +
            program.string() + "'";
        const auto buffer_file = std::filesystem::temp_directory_path() /
                                 ("module_load_cost-" + std::to_string(::getpid()) + ".json");
        if (!check_buffer.empty()) {
            std::ofstream(buffer_file) << check_buffer;
            command += " '" + buffer_file.string() + "'";
        }
        std::map<std::string, bench::resident_memory> stages;
        FILE* output = ::popen(command.c_str(), "r");
        if (output == nullptr) {
            throw std::runtime_error("cannot run " + program.string());
        }
        char stage[32] = {};
        bench::resident_memory memory;
        while (std::fscanf(output, "%31s %zu %zu %zu", stage, &memory.total_kib,
                           &memory.anonymous_kib, &memory.file_kib) == 4) {
            stages[stage] = memory;
        }
        const int status = ::pclose(output);
        std::filesystem::remove(buffer_file);
        if (status != 0 || stages.size() != (check_buffer.empty() ? 3U : 4U)) {
            throw std::runtime_error(program.string() + " failed; run it alone to see why");
        }
        return stages;
    }

    std::vector<prepared_kind> prepare_kinds() {
        module_->initialize();
        std::vector<prepared_kind> prepared;
        for (auto& kind : bench::discover_kinds(*module_, account_)) {
            if (!options_.kinds.empty() && std::find(options_.kinds.begin(), options_.kinds.end(),
                                                     kind.name) == options_.kinds.end()) {
                continue;
            }
            prepared.push_back(capture(std::move(kind)));
        }
        module_->cleanup();
        if (prepared.empty()) {
            throw std::invalid_argument("--kinds named no sensor kind of the module");
        }
        return prepared;
    }

    // One sensor of each variant is created and checked twice: what the probe keeps of it
    // after the first check goes into the check buffer, and the second check's requests (the
    // token is cached by then) are what the bare client sends.
    prepared_kind capture(bench::bench_kind kind) {
        prepared_kind prepared;
        int sensor_id = 1;
        for (const auto& variant : kind.variants) {
            const std::string created = bench::settings_buffer(kind.name, account_, variant);
            host::sensor_state kept;
            bench::module_driver::keep_messages(true);
            const std::uint64_t failed_before = bench::module_driver::failed_results();
            const bool made =
                module_->create(sensor_id, created) == 0 && module_->check(sensor_id, created) == 0;
            for (const auto& message : bench::module_driver::take_kept_messages()) {
                kept.remember(message);
            }
            const std::string checked = bench::settings_buffer(kind.name, account_, variant, kept);
            server_.reset();
            const bool checked_again = made && module_->check(sensor_id, checked) == 0;
            bench::module_driver::keep_messages(false);
            bench::module_driver::take_kept_messages();
            module_->destroy(sensor_id++);
            if (!checked_again || bench::module_driver::failed_results() != failed_before) {
                std::fprintf(stderr, "note: a %s variant fails its check and is left out\n",
                             kind.name.c_str());
                continue;
            }
            bench::captured_check requests;
            for (const auto& received : server_.requests()) {
                if (received.route == "token" || received.route == "token_v2") {
                    continue;
                }
                bench::captured_request request;
                request.method = received.method;
                request.url = server_.login_url() + received.target;
                for (const auto& [name, value] : received.headers) {
                    if (!same_name(name, "Host") && !same_name(name, "Content-Length")) {
                        request.headers.emplace_back(name, value);
                    }
                }
                request.body = received.body;
                requests.push_back(std::move(request));
            }
            prepared.requests_per_check += requests.size();
            prepared.create_buffers.push_back(created);
            prepared.check_buffers.push_back(checked);
            prepared.requests.push_back(std::move(requests));
        }
        if (prepared.requests.empty()) {
            throw std::runtime_error("no " + kind.name + " passes its check against the emulator");
        }
        prepared.kind = std::move(kind);
        return prepared;
    }

    static bool same_name(const std::string& left, const std::string& right) {
        return left.size() == right.size() &&
               std::equal(left.begin(), left.end(), right.begin(), [](char a, char b) {
                   return std::tolower(static_cast<unsigned char>(a)) ==
                          std::tolower(static_cast<unsigned char>(b));
               });
    }

    footprint counted() const { return footprint::of(server_.counters()); }

    // One row: a freshly initialised module, `sensors` sensors spread over `threads` host
    // threads (a sensor always on the same thread, so no sensor is checked twice at once).
    table_row measure(const prepared_kind& prepared, std::size_t sensors, std::size_t threads) {
        const std::size_t variants = prepared.requests.size();
        const auto variant_of = [variants](std::size_t sensor) { return sensor % variants; };
        const auto id_of = [](std::size_t sensor) { return static_cast<int>(sensor) + 1; };
        const std::size_t rounds =
            std::max<std::size_t>(1, (options_.min_checks + sensors - 1) / sensors);
        const double checks = static_cast<double>(sensors * rounds);

        table_row row;
        row.kind = prepared.kind.label;
        row.sensors = sensors;
        row.threads = threads;
        row.requests_per_check =
            static_cast<double>(prepared.requests_per_check) / static_cast<double>(variants);

        const footprint at_start = counted();
        module_->initialize();
        const auto initialised = bench::read_trimmed_resident_memory();

        // Warm-up: every thread checks one sensor of each variant at once, so the pool holds
        // its connections and the token is cached before the measured sensors exist.
        const auto warm_up = [&](std::size_t thread) {
            const std::uint64_t failed_before = bench::module_driver::failed_results();
            std::uint64_t failed = 0;
            for (std::size_t variant = 0; variant < variants; ++variant) {
                const int id = first_warm_up_id + static_cast<int>(thread * variants + variant);
                failed += module_->create(id, prepared.create_buffers[variant]) != 0;
                failed += module_->check(id, prepared.check_buffers[variant]) != 0;
            }
            return failed + bench::module_driver::failed_results() - failed_before;
        };
        row.failures += bench::run_phase(threads, warm_up).failures;
        for (std::size_t id = 0; id < threads * variants; ++id) {
            module_->destroy(first_warm_up_id + static_cast<int>(id));
        }
        const auto warm = bench::read_trimmed_resident_memory();
        row.pool_kib = static_cast<double>(warm.total_kib) - initialised.total_kib;

        // The measured sensors: created and checked once; what stays is their idle cost.
        const auto create_and_check = [&](std::size_t thread) {
            const std::uint64_t failed_before = bench::module_driver::failed_results();
            std::uint64_t failed = 0;
            for (std::size_t sensor = thread; sensor < sensors; sensor += threads) {
                const std::size_t variant = variant_of(sensor);
                failed += module_->create(id_of(sensor), prepared.create_buffers[variant]) != 0;
                failed += module_->check(id_of(sensor), prepared.check_buffers[variant]) != 0;
            }
            return failed + bench::module_driver::failed_results() - failed_before;
        };
        row.failures += bench::run_phase(threads, create_and_check).failures;
        const auto idle = bench::read_trimmed_resident_memory();
        if (sensors >= 100) {
            row.kib_per_sensor = (static_cast<double>(idle.total_kib) - warm.total_kib) /
                                 static_cast<double>(sensors);
        }
        row.seen = counted().since(at_start);

        std::vector<std::unique_ptr<bench::bare_client>> bare;
        for (std::size_t thread = 0; thread < threads; ++thread) {
            bare.push_back(
                std::make_unique<bench::bare_client>(server_.ca_file(), prepared.requests));
            if (!bare.back()->run_check(0)) {
                throw std::runtime_error("bare libcurl cannot repeat a " + prepared.kind.name +
                                         " check");
            }
        }
        const bench::check_plan plan{sensors, threads, rounds, variants};
        const auto bare_checks = [&](std::size_t thread) {
            return bench::timed_bare_checks(*bare[thread], plan, thread);
        };
        const auto module_checks = [&](std::size_t thread) {
            return bench::timed_module_checks(*module_, prepared.check_buffers, plan, thread);
        };

        std::vector<double> wall, cpu, bare_wall, bare_cpu, ratios, cpu_ratios;
        for (std::size_t repeat = 0; repeat < options_.repeats; ++repeat) {
            // Alternate which goes first, so that a trend in the machine's load hits both alike.
            bench::phase_timing module_timing;
            bench::phase_timing bare_timing;
            for (int turn = 0; turn < 2; ++turn) {
                if ((turn + repeat) % 2 == 0) {
                    const footprint before = counted();
                    module_timing = bench::run_phase(threads, module_checks);
                    row.seen.add(counted().since(before));
                } else {
                    bare_timing = bench::run_phase(threads, bare_checks);
                }
            }
            row.failures += module_timing.failures + bare_timing.failures;
            wall.push_back(module_timing.wall_seconds / checks * 1e6);
            cpu.push_back(module_timing.cpu_seconds / checks * 1e6);
            bare_wall.push_back(bare_timing.wall_seconds / checks * 1e6);
            bare_cpu.push_back(bare_timing.cpu_seconds / checks * 1e6);
            ratios.push_back(module_timing.wall_seconds / bare_timing.wall_seconds);
            cpu_ratios.push_back(module_timing.cpu_seconds / bare_timing.cpu_seconds);
        }
        row.wall_us = median(wall);
        row.cpu_us = median(cpu);
        row.bare_wall_us = median(bare_wall);
        row.bare_cpu_us = median(bare_cpu);
        row.ratio = median(ratios);
        row.cpu_ratio = median(cpu_ratios);
        row.checks_per_second = 1e6 / row.wall_us;

        bare.clear();
        for (std::size_t sensor = 0; sensor < sensors; ++sensor) {
            module_->destroy(id_of(sensor));
        }
        module_->cleanup();
        return row;
    }

    static void print_progress(const table_row& row) {
        std::fprintf(stderr, "  measured %s: %zu sensors, %zu threads\n", row.kind.c_str(),
                     row.sensors, row.threads);
    }

    void print_table() const {
        std::printf(
            "\nEnd to end: the module's exports against the in-process emulator over TLS on "
            "127.0.0.1,\nbeside bare libcurl sending the same requests over kept-alive "
            "connections (\"bare\").\nTimes per check are medians of %zu alternating repeats; "
            "ratio = module / bare, same run.\n\n",
            options_.repeats);
        std::printf("%-18s %7s %7s %5s %9s %10s %9s %10s %9s %6s %6s %8s %8s %6s %5s %5s %6s\n",
                    "kind", "sensors", "threads", "req", "checks/s", "wall us", "CPU us",
                    "bare wall", "bare CPU", "ratio", "CPU x", "KiB/sns", "pool KiB", "tokens",
                    "TCP", "TLS", "failed");
        for (const auto& row : rows_) {
            char per_sensor[16];
            if (std::isnan(row.kib_per_sensor)) {
                std::snprintf(per_sensor, sizeof per_sensor, "-");
            } else {
                std::snprintf(per_sensor, sizeof per_sensor, "%.1f", row.kib_per_sensor);
            }
            std::printf(
                "%-18s %7zu %7zu %5.1f %9.0f %10.0f %9.0f %10.0f %9.0f %6.2f %6.2f %8s %8.0f "
                "%6llu %5llu %5llu %6llu\n",
                row.kind.c_str(), row.sensors, row.threads, row.requests_per_check,
                row.checks_per_second, row.wall_us, row.cpu_us, row.bare_wall_us, row.bare_cpu_us,
                row.ratio, row.cpu_ratio, per_sensor, row.pool_kib,
                static_cast<unsigned long long>(row.seen.token_requests),
                static_cast<unsigned long long>(row.seen.connections),
                static_cast<unsigned long long>(row.seen.handshakes),
                static_cast<unsigned long long>(row.failures));
        }
        std::printf(
            "\nreq: requests per check; wall us: phase wall time / checks; CPU us: the host "
            "threads' own CPU time / checks\n(the emulator's threads excluded); CPU x: module "
            "CPU / bare CPU. KiB/sns: resident memory after every\nsensor's first check minus "
            "before the sensors were made, after malloc_trim, / sensors (100 or more).\npool "
            "KiB: what a warm-up of one sensor per variant and thread added (the pool's "
            "connections, the token).\ntokens, TCP, TLS: token requests, connections and TLS "
            "handshakes the emulator saw from the module,\nwarm-up included, for the whole "
            "row.\n");
    }

    // The spread of each kind's rows, since one row alone can be a moment of the machine's load.
    void print_ratios_by_kind() const {
        std::vector<std::string> kinds;
        for (const auto& row : rows_) {
            if (std::find(kinds.begin(), kinds.end(), row.kind) == kinds.end()) {
                kinds.push_back(row.kind);
            }
        }
        for (const auto& kind : kinds) {
            std::vector<double> ratios;
            std::vector<double> cpu_ratios;
            for (const auto& row : rows_) {
                if (row.kind == kind) {
                    ratios.push_back(row.ratio);
                    cpu_ratios.push_back(row.cpu_ratio);
                }
            }
            std::printf("    %-18s ratio %.2f to %.2f (median %.2f), CPU x median %.2f\n",
                        kind.c_str(), *std::min_element(ratios.begin(), ratios.end()),
                        *std::max_element(ratios.begin(), ratios.end()), median(ratios),
                        median(cpu_ratios));
        }
    }

    void print_targets(
        const std::map<std::string, bench::resident_memory>& load,
        const std::map<std::string, bench::resident_memory>& load_with_bundle) const {
        std::printf("\nTargets\n");
        const auto verdict = [](bool met) { return met ? "met" : "MISSED"; };
        const table_row* worst = nullptr;
        std::uint64_t most_tokens = 0;
        for (const auto& row : rows_) {
            if (worst == nullptr || row.ratio > worst->ratio) {
                worst = &row;
            }
            most_tokens = std::max(most_tokens, row.seen.token_requests);
        }
        if (worst != nullptr) {
            std::printf(
                "  check / bare requests <= %.1f: worst %.2f (%s, %zu sensors, %zu "
                "threads): %s\n",
                max_ratio_to_limit, worst->ratio, worst->kind.c_str(), worst->sensors,
                worst->threads, verdict(worst->ratio <= max_ratio_to_limit));
            print_ratios_by_kind();
        }
        std::printf(
            "  one token request per credentials and resource: at most %llu in a row: "
            "%s\n",
            static_cast<unsigned long long>(most_tokens), verdict(most_tokens <= 1));
        for (const auto& row : rows_) {
            if (row.sensors == 1000 && row.threads == 8) {
                std::printf(
                    "  1,000 sensors by 8 threads (%s): %llu TCP connections, %llu TLS "
                    "handshakes (at most %llu): %s\n",
                    row.kind.c_str(), static_cast<unsigned long long>(row.seen.connections),
                    static_cast<unsigned long long>(row.seen.handshakes),
                    static_cast<unsigned long long>(max_connections_1000_by_8),
                    verdict(row.seen.connections <= max_connections_1000_by_8 &&
                            row.seen.handshakes <= max_connections_1000_by_8));
            }
        }
        for (const auto& row : rows_) {
            if (row.sensors == 1000) {
                std::printf("  idle sensor <= %.0f KiB (%s, %zu threads): %.1f KiB: %s\n",
                            max_idle_sensor_kib, row.kind.c_str(), row.threads, row.kib_per_sensor,
                            verdict(row.kib_per_sensor <= max_idle_sensor_kib));
            }
        }
        const auto added = [](const std::map<std::string, bench::resident_memory>& stages,
                              const std::string& stage, std::size_t bench::resident_memory::*part) {
            return static_cast<long long>(stages.at(stage).*part) -
                   static_cast<long long>(stages.at("before").*part);
        };
        using memory = bench::resident_memory;
        const long long total = added(load, "initialised", &memory::total_kib);
        std::printf(
            "  module load <= %.0f KiB: dlopen + InitializeModule added %lld KiB (dlopen %+lld, "
            "InitializeModule %+lld; anonymous %+lld, file-backed %+lld; with the emulator's CA "
            "bundle %+lld): %s\n",
            max_load_kib, total, added(load, "dlopen", &memory::total_kib),
            total - added(load, "dlopen", &memory::total_kib),
            added(load, "initialised", &memory::anonymous_kib),
            added(load, "initialised", &memory::file_kib),
            added(load_with_bundle, "initialised", &memory::total_kib),
            verdict(static_cast<double>(total) <= max_load_kib));
        std::printf(
            "  (not a target) a first check then brings in the HTTP engine's libraries, a "
            "connection and a token:\n  the module held %lld KiB after it (with the emulator's CA "
            "bundle)\n",
            added(load_with_bundle, "checked", &memory::total_kib));
    }

    bench_options options_;
    emulator::azure_emulator server_;
    bench::azure_account account_;
    std::unique_ptr<bench::module_driver> module_;
    std::vector<table_row> rows_;
};

}  // namespace

int main(int argc, char** argv) {
    try {
        auto options = parse_options(argc, argv);
        // For the bare client; the module starts and stops libcurl on its own, and libcurl
        // counts the starts.
        if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
            throw std::runtime_error("libcurl cannot start");
        }
        {
            end_to_end_bench run(std::move(options));
            run.run();
        }
        curl_global_cleanup();
        return 0;
    } catch (const std::invalid_argument& e) {
        std::fprintf(stderr, "end_to_end_bench: %s\n", e.what());
        return 2;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "end_to_end_bench: %s\n", e.what());
        return 1;
    }
}
