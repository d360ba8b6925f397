// What loading the module costs a probe before any sensor exists: resident memory before dlopen,
// after dlopen and after InitializeModule, in a process that has loaded neither libcurl nor
// OpenSSL before (a probe has not either). Given a file with a sensor's settings buffer, also
// after that sensor's first check, which brings in the HTTP engine, a connection and a token.
// The end-to-end benchmark runs it with the MICROSOFTAZURE_* environment set and reads the
// lines it prints:
//   <stage> <total KiB> <anonymous KiB> <file-backed KiB>
//
//   module_load_cost [settings-buffer-file]
#include <cstdio>
#include <exception>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "bench/end_to_end/process_memory.hpp"
#include "host/module_library.hpp"

namespace bench = zentrova::monitoring_modules::bench;

namespace {

void print(const char* stage, const bench::resident_memory& memory) {
    std::printf("%s %zu %zu %zu\n", stage, memory.total_kib, memory.anonymous_kib, memory.file_kib);
}

std::string read_file(const char* name) {
    std::ifstream file(name);
    if (!file) {
        throw std::runtime_error(std::string("cannot read ") + name);
    }
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// Creates and checks one sensor; throws unless the check reported success.
void check_once(zentrova::monitoring_modules::host::module_library& module,
                const std::string& settings) {
    std::string result;
    module.on_message([&result](const std::string& message) {
        if (message.find(R"("type":"sensor_scan_result")") != std::string::npos) {
            result = message;
        }
    });
    if (module.create_sensor(1, settings) != 0 || module.check(1, settings) != 0 ||
        result.find(R"("response_code":0)") == std::string::npos) {
        throw std::runtime_error("the first check failed: " + result);
    }
}

}  // namespace

int main(int argc, char** argv) {
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
        if (argc > 1) {
            check_once(module, read_file(argv[1]));
            print("checked", bench::read_trimmed_resident_memory());
        }
        module.cleanup();
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "module_load_cost: %s\n", e.what());
        return 1;
    }
}
