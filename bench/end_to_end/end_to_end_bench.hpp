#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "bench/end_to_end/bench_kind.hpp"
#include "bench/end_to_end/bench_options.hpp"
#include "bench/end_to_end/module_driver.hpp"
#include "bench/end_to_end/prepared_kind.hpp"
#include "bench/end_to_end/table_row.hpp"
#include "emulator/azure_emulator.hpp"

namespace zentrova::monitoring_modules::bench {

// One run of the benchmark: starts the emulator in this process and points the module at it,
// measures a row for each kind, sensor count and thread count the options name, and prints the
// table and the targets.
class end_to_end_bench {
public:
    explicit end_to_end_bench(bench_options options);

    void run();

private:
    static emulator::emulator_options emulator_settings();
    std::vector<prepared_kind> prepare_kinds();
    footprint counted() const { return footprint::of(server_.counters()); }
    // One row: a freshly initialised module, `sensors` sensors spread over `threads` host
    // threads (a sensor always on the same thread, so no sensor is checked twice at once).
    table_row measure(const prepared_kind& prepared, std::size_t sensors, std::size_t threads);

    bench_options options_;
    emulator::azure_emulator server_;
    azure_account account_;
    std::unique_ptr<module_driver> module_;
    std::vector<table_row> rows_;
};

}  // namespace zentrova::monitoring_modules::bench
