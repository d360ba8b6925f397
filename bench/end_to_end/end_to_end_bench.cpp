#include "bench/end_to_end/end_to_end_bench.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "bench/end_to_end/bare_client.hpp"
#include "bench/end_to_end/module_load_stages.hpp"
#include "bench/end_to_end/peer_comparison.hpp"
#include "bench/end_to_end/process_memory.hpp"
#include "bench/end_to_end/result_table.hpp"
#include "bench/end_to_end/thread_phase.hpp"
#include "bench/end_to_end/timed_checks.hpp"

namespace zentrova::monitoring_modules::bench {
namespace {

// Warm-up sensors live under ids that the measured sensors never use.
constexpr int first_warm_up_id = 900000;

}  // namespace

end_to_end_bench::end_to_end_bench(bench_options options)
    : options_(std::move(options)),
      server_(emulator_settings()),
      account_(azure_account::from_scenario(emulator::default_scenario_json())) {
    ::setenv("MICROSOFTAZURE_ARM_ENDPOINT", server_.base_url().c_str(), 1);
    ::setenv("MICROSOFTAZURE_LOGIN_ENDPOINT", server_.login_url().c_str(), 1);
    ::setenv("MICROSOFTAZURE_CA_BUNDLE", server_.ca_file().c_str(), 1);
    // Logs go nowhere, as on a probe where no sensor has logging switched on.
    ::unsetenv("MICROSOFTAZURE_LOG_DIR");
}

void end_to_end_bench::run() {
    const auto load = read_module_load_stages(false, {});
    module_ = std::make_unique<module_driver>(MICROSOFTAZURE_MODULE_PATH);
    auto kinds = prepare_kinds();
    const auto load_with_bundle =
        read_module_load_stages(true, kinds.front().create_buffers.front());
    for (auto& kind : kinds) {
        for (const std::size_t sensors : options_.sensor_counts) {
            for (const std::size_t threads : options_.thread_counts) {
                if (threads <= sensors) {
                    rows_.push_back(measure(kind, sensors, threads));
                    result_table::print_progress(rows_.back());
                }
            }
        }
    }
    std::unique_ptr<peer_comparison> peers;
    for (const auto& kind : kinds) {
        if (kind.kind.name == "virtual_machine_sensor" && !options_.skip_peers) {
            peers = std::make_unique<peer_comparison>(kind, server_, account_, options_.sdk_peer,
                                                      options_.no_sdk_peer, options_.min_checks);
            peers->run();
        }
    }
    const result_table table(rows_);
    table.print(options_.repeats);
    if (peers) {
        peers->print();
    }
    table.print_targets(load, load_with_bundle);
    if (peers) {
        peers->print_targets();
    }
}

emulator::emulator_options end_to_end_bench::emulator_settings() {
    emulator::emulator_options settings;
    // The emulator shares the process: a short request log keeps its memory out of the
    // figures, and a long keep-alive keeps connections open between timed phases.
    settings.request_log_limit = 64;
    settings.keep_alive_timeout_seconds = 600;
    return settings;
}

std::vector<prepared_kind> end_to_end_bench::prepare_kinds() {
    module_->initialize();
    std::vector<prepared_kind> prepared;
    for (auto& kind : discover_kinds(*module_, account_)) {
        if (!options_.kinds.empty() && std::find(options_.kinds.begin(), options_.kinds.end(),
                                                 kind.name) == options_.kinds.end()) {
            continue;
        }
        prepared.push_back(prepared_kind::capture(std::move(kind), *module_, server_, account_));
    }
    module_->cleanup();
    if (prepared.empty()) {
        throw std::invalid_argument("--kinds named no sensor kind of the module");
    }
    return prepared;
}

table_row end_to_end_bench::measure(const prepared_kind& prepared, std::size_t sensors,
                                    std::size_t threads) {
    const std::size_t variants = prepared.requests.size();
    const auto variant_of = [variants](std::size_t sensor) { return sensor % variants; };
    const auto id_of = [](std::size_t sensor) { return static_cast<int>(sensor) + 1; };
    const std::size_t rounds =
        std::max<std::size_t>(1, (options_.min_checks + sensors - 1) / sensors);
    const auto checks = static_cast<double>(sensors * rounds);

    table_row row;
    row.kind = prepared.kind.label;
    row.sensors = sensors;
    row.threads = threads;
    row.requests_per_check =
        static_cast<double>(prepared.requests_per_check) / static_cast<double>(variants);

    const footprint at_start = counted();
    module_->initialize();
    const auto initialised = read_trimmed_resident_memory();

    // Warm-up: every thread checks one sensor of each variant at once, so the pool holds
    // its connections and the token is cached before the measured sensors exist.
    const auto warm_up = [&](std::size_t thread) {
        const std::uint64_t failed_before = module_driver::failed_results();
        std::uint64_t failed = 0;
        for (std::size_t variant = 0; variant < variants; ++variant) {
            const int id = first_warm_up_id + static_cast<int>(thread * variants + variant);
            failed += module_->create(id, prepared.create_buffers[variant]) != 0;
            failed += module_->check(id, prepared.check_buffers[variant]) != 0;
        }
        return failed + module_driver::failed_results() - failed_before;
    };
    row.failures += run_phase(threads, warm_up).failures;
    for (std::size_t id = 0; id < threads * variants; ++id) {
        module_->destroy(first_warm_up_id + static_cast<int>(id));
    }
    const auto warm = read_trimmed_resident_memory();
    row.pool_kib = static_cast<double>(warm.total_kib) - static_cast<double>(initialised.total_kib);

    // The measured sensors: created and checked once; what stays is their idle cost.
    const auto create_and_check = [&](std::size_t thread) {
        const std::uint64_t failed_before = module_driver::failed_results();
        std::uint64_t failed = 0;
        for (std::size_t sensor = thread; sensor < sensors; sensor += threads) {
            const std::size_t variant = variant_of(sensor);
            failed += module_->create(id_of(sensor), prepared.create_buffers[variant]) != 0;
            failed += module_->check(id_of(sensor), prepared.check_buffers[variant]) != 0;
        }
        return failed + module_driver::failed_results() - failed_before;
    };
    row.failures += run_phase(threads, create_and_check).failures;
    const auto idle = read_trimmed_resident_memory();
    if (sensors >= 100) {
        row.kib_per_sensor =
            (static_cast<double>(idle.total_kib) - static_cast<double>(warm.total_kib)) /
            static_cast<double>(sensors);
    }
    row.seen = counted().since(at_start);

    std::vector<std::unique_ptr<bare_client>> bare;
    for (std::size_t thread = 0; thread < threads; ++thread) {
        bare.push_back(std::make_unique<bare_client>(server_.ca_file(), prepared.requests));
        if (!bare.back()->run_check(0)) {
            throw std::runtime_error("bare libcurl cannot repeat a " + prepared.kind.name +
                                     " check");
        }
    }
    const check_plan plan{sensors, threads, rounds, variants};
    const auto bare_checks = [&](std::size_t thread) {
        return timed_bare_checks(*bare[thread], plan, thread);
    };
    const auto module_checks = [&](std::size_t thread) {
        return timed_module_checks(*module_, prepared.check_buffers, plan, thread);
    };

    std::vector<double> wall, cpu, bare_wall, bare_cpu, ratios, cpu_ratios;
    for (std::size_t repeat = 0; repeat < options_.repeats; ++repeat) {
        // Alternate which goes first, so that a trend in the machine's load hits both alike.
        phase_timing module_timing;
        phase_timing bare_timing;
        for (int turn = 0; turn < 2; ++turn) {
            if ((turn + repeat) % 2 == 0) {
                const footprint before = counted();
                module_timing = run_phase(threads, module_checks);
                row.seen.add(counted().since(before));
            } else {
                bare_timing = run_phase(threads, bare_checks);
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

}  // namespace zentrova::monitoring_modules::bench
