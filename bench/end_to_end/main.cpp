// What a check costs end to end. The module is loaded with dlopen and driven through its exports
// as a probe drives it, against the in-process emulator over TLS on 127.0.0.1: for each sensor
// kind, with 1, 100 and 1,000 sensors of one subscription checked by 1 to 8 host threads. In the
// same run bare libcurl sends the very requests the module's checks send (same URLs, headers
// and bodies, the bearer token obtained once) over kept-alive connections, one per thread: the
// limit. Timed phases of the two alternate, and each kind's time per check is printed as a ratio
// to that limit, beside the memory per sensor and what the emulator saw (token requests, TCP
// connections, TLS handshakes). Then one virtual machine sensor checked by three clients, each
// in a process of its own: the module, bare libcurl and Microsoft's Azure SDK for JavaScript
// (bench/peers/azure-sdk-js, which scripts/bench.sh installs). Then the cost of loading the
// module, measured in a process of its own. The tables; the targets follow them.
//
//   end_to_end_bench [--sensors=1,100,1000] [--threads=1,2,4,8] [--repeats=5]
//                    [--min-checks=1000] [--kinds=virtual_machine_sensor,...]
//                    [--sdk-peer=vm_check.js | --no-sdk-peer=reason | --skip-peers]
#include <curl/curl.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <utility>

#include "bench/end_to_end/bench_options.hpp"
#include "bench/end_to_end/end_to_end_bench.hpp"

int main(int argc, char** argv) {
    namespace bench = zentrova::monitoring_modules::bench;
    try {
        auto options = bench::bench_options::parse(argc, argv);
        // A client process that dies reports itself through its pipe, not by ending this one.
        std::signal(SIGPIPE, SIG_IGN);
        // For the bare client; the module starts and stops libcurl on its own, and libcurl
        // counts the starts.
        if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
            throw std::runtime_error("libcurl cannot start");
        }
        {
            bench::end_to_end_bench run(std::move(options));
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
