#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "bench/end_to_end/bare_client.hpp"
#include "bench/end_to_end/bench_kind.hpp"
#include "bench/end_to_end/module_driver.hpp"
#include "emulator/azure_emulator.hpp"

namespace zentrova::monitoring_modules::bench {

// A kind ready to measure: the variants that pass their check (kind.variants, in the order of
// the lists below), their settings buffers (as created, and as checked once the
// probe knows the sensor's channels and persistent data) and the requests one check of each
// variant sends.
struct prepared_kind {
    bench_kind kind;
    std::vector<std::string> create_buffers;
    std::vector<std::string> check_buffers;
    std::vector<captured_check> requests;
    std::size_t requests_per_check = 0;  // over the variants in turn

    // One sensor of each variant is created and checked twice: what the probe keeps of it
    // after the first check goes into the check buffer, and the second check's requests (the
    // token is cached by then) are what the bare client sends. A variant whose check fails is
    // left out with a note; throws when none is left. The module must be initialised.
    static prepared_kind capture(bench_kind kind, module_driver& module,
                                 emulator::azure_emulator& server, const azure_account& account);
};

}  // namespace zentrova::monitoring_modules::bench
