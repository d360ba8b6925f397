// The requests of one sensor's check sent with bare libcurl, in a process of its own, for
// end_to_end_bench's comparison with the module and Microsoft's SDK (check_client_loop.hpp).
//
//   bare_check_client <job file>
#include <curl/curl.h>

#include <exception>
#include <iostream>

#include "bench/end_to_end/bare_client.hpp"
#include "bench/end_to_end/check_client_loop.hpp"
#include "bench/end_to_end/peer_job.hpp"

int main(int argc, char** argv) {
    namespace bench = zentrova::monitoring_modules::bench;
    if (argc != 2) {
        std::cerr << "usage: bare_check_client <job file>\n";
        return 2;
    }
    try {
        const auto job = bench::peer_job::load(argv[1]);
        if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
            std::cout << "error libcurl cannot start" << std::endl;
            return 1;
        }
        int code = 0;
        {
            bench::bare_client client(job.ca_file, {job.requests});
            code = bench::run_check_client([&] { return client.run_check(0); });
        }
        curl_global_cleanup();
        return code;
    } catch (const std::exception& e) {
        std::cout << "error " << e.what() << std::endl;
        return 1;
    }
}
