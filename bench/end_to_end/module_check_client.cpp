// One sensor checked through the module's exports, in a process of its own, for
// end_to_end_bench's comparison with bare libcurl and Microsoft's SDK (check_client_loop.hpp).
//
//   module_check_client <job file>
#include <exception>
#include <iostream>

#include "bench/end_to_end/check_client_loop.hpp"
#include "bench/end_to_end/module_driver.hpp"
#include "bench/end_to_end/peer_job.hpp"

int main(int argc, char** argv) {
    namespace bench = zentrova::monitoring_modules::bench;
    if (argc != 2) {
        std::cerr << "usage: module_check_client <job file>\n";
        return 2;
    }
    try {
        const auto job = bench::peer_job::load(argv[1]);
        bench::module_driver module(MICROSOFTAZURE_MODULE_PATH);
        module.initialize();
        if (module.create(1, job.create_buffer) != 0) {
            std::cout << "error CreateSensorInstance refused the sensor" << std::endl;
            return 1;
        }
        return bench::run_check_client([&] {
            const auto failed_before = bench::module_driver::failed_results();
            return module.check(1, job.check_buffer) == 0 &&
                   bench::module_driver::failed_results() == failed_before;
        });
    } catch (const std::exception& e) {
        std::cout << "error " << e.what() << std::endl;
        return 1;
    }
}
