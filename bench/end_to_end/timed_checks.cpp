#include "bench/end_to_end/timed_checks.hpp"

namespace zentrova::monitoring_modules::bench {

std::uint64_t timed_module_checks(module_driver& module,
                                  const std::vector<std::string>& check_buffers,
                                  const check_plan& plan, std::size_t thread) {
    const std::uint64_t failed_before = module_driver::failed_results();
    std::uint64_t failed = 0;
    for (std::size_t round = 0; round < plan.rounds; ++round) {
        for (std::size_t sensor = thread; sensor < plan.sensors; sensor += plan.threads) {
            failed += module.check(static_cast<int>(sensor) + 1,
                                   check_buffers[sensor % plan.variants]) != 0
                          ? 1
                          : 0;
        }
    }
    return failed + module_driver::failed_results() - failed_before;
}

std::uint64_t timed_bare_checks(bare_client& client, const check_plan& plan, std::size_t thread) {
    std::uint64_t failed = 0;
    for (std::size_t round = 0; round < plan.rounds; ++round) {
        for (std::size_t sensor = thread; sensor < plan.sensors; sensor += plan.threads) {
            failed += client.run_check(sensor % plan.variants) ? 0 : 1;
        }
    }
    return failed;
}

}  // namespace zentrova::monitoring_modules::bench
