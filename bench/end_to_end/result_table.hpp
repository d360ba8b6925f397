#pragma once

#include <vector>

#include "bench/end_to_end/module_load_stages.hpp"
#include "bench/end_to_end/table_row.hpp"

namespace zentrova::monitoring_modules::bench {

// What the benchmark prints: a progress line per row while it runs, then the table with its
// legend, and the targets the figures are read against with a verdict on each.
class result_table {
public:
    explicit result_table(const std::vector<table_row>& rows);

    static void print_progress(const table_row& row);
    // `repeats`: how many alternating repeats the rows' medians are over.
    void print(std::size_t repeats) const;
    // `load` as deployed, `load_with_bundle` with the emulator's CA bundle and a first check.
    void print_targets(const load_stages& load, const load_stages& load_with_bundle) const;

private:
    void print_ratios_by_kind() const;

    const std::vector<table_row>& rows_;
};

}  // namespace zentrova::monitoring_modules::bench
