#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/end_to_end/bare_client.hpp"
#include "bench/end_to_end/module_driver.hpp"

namespace zentrova::monitoring_modules::bench {

// Which sensors a host thread checks, and how often: thread t owns the sensors t, t + threads,
// ..., so no sensor is ever checked by two threads at once; sensor s (id s + 1) is of variant
// s % variants.
struct check_plan {
    std::size_t sensors = 0;
    std::size_t threads = 0;
    std::size_t rounds = 0;
    std::size_t variants = 0;
};

// The two timed loops of one host thread. They live in a file of their own so that the compiler
// cannot inline them and a profiler can be pointed at them alone
// (callgrind --toggle-collect='*timed_module_checks*'). Each returns how many checks failed.
std::uint64_t timed_module_checks(module_driver& module,
                                  const std::vector<std::string>& check_buffers,
                                  const check_plan& plan, std::size_t thread);
std::uint64_t timed_bare_checks(bare_client& client, const check_plan& plan, std::size_t thread);

}  // namespace zentrova::monitoring_modules::bench
