// What loading the module costs a probe before any sensor exists: resident memory before dlopen,
// after dlopen and after InitializeModule, in a process that has loaded neither libcurl nor
// OpenSSL before (a probe has not either). The end-to-end benchmark runs it with the
// MICROSOFTAZURE_* environment set and reads the three lines it prints:
//   <stage> <total KiB> <anonymous KiB> <file-backed KiB>
#include <cstdio>
#include <exception>

#include "bench/end_to_end/process_memory.hpp"
#include "host/module_library.hpp"

namespace bench = zentrova::monitoring_modules::bench;

namespace {

void print(const char* stage, const bench::resident_memory& memory) {
    std::printf("%s %zu %zu %zu\n", stage, memory.total_kib, memory.anonymous_kib, memory.file_kib);
}

}  // namespace

int main() {
    try {
        const auto before = bench::read_trimmed_resident_memory();
        zentrova::monitoring_modules::host::module_library module(MICROSOFTAZURE_MODULE_PATH);
        const auto loaded = bench::read_trimmed_resident_memory();
        if (module.initialize() != 0) {
            std::fprintf(stderr, "module_load_cost: InitializeModule failed\n");
            return 1;
        }
        const auto initialised = bench::read_trimmed_resident_memory();
        print("before", before);
        print("dlopen", loaded);
        print("initialised", initialised);
        module.cleanup();
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "module_load_cost: %s\n", e.what());
        return 1;
    }
}
