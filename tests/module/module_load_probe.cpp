// Loads the module as a probe does, in a process of its own that has loaded no HTTP engine, and
// writes what that process maps after InitializeModule and after one check:
//   module_load_probe <module> <report file>
// The report holds "stage <name>" lines, each followed by "mapped <file>" lines for the files it
// maps, and the check's messages as "message <json>". The environment (endpoints, log folder,
// library path) comes from the caller.
#include <cstdio>
#include <exception>
#include <fstream>
#include <set>
#include <string>

#include "host/module_library.hpp"
#include "tests/reliability/kinds_under_test.hpp"

namespace monitoring_modules = zentrova::monitoring_modules;

namespace {

void write_mapped_files(std::ofstream& report, const char* stage) {
    report << "stage " << stage << '\n';
    std::ifstream maps("/proc/self/maps");
    std::set<std::string> files;
    for (std::string line; std::getline(maps, line);) {
        const auto path = line.find('/');
        if (path != std::string::npos) {
            files.insert(line.substr(path));
        }
    }
    for (const auto& file : files) {
        report << "mapped " << file << '\n';
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: module_load_probe <module> <report file>\n");
        return 2;
    }
    try {
        std::ofstream report(argv[2]);
        write_mapped_files(report, "started");
        monitoring_modules::host::module_library module(argv[1]);
        if (module.initialize() != 0) {
            std::fprintf(stderr, "module_load_probe: InitializeModule failed\n");
            return 1;
        }
        write_mapped_files(report, "initialised");

        const auto kind = monitoring_modules::testing::sensor_kinds().front();
        const std::string buffer =
            kind.settings(monitoring_modules::testing::settings_buffer::with_credentials(kind.name),
                          "sub-1", 0)
                .to_json();
        report << "create " << module.create_sensor(1, buffer) << '\n';
        report << "check " << module.check(1, buffer) << '\n';
        for (const auto& message : module.take_messages()) {
            report << "message " << message << '\n';
        }
        write_mapped_files(report, "checked");
        return module.cleanup() == 0 ? 0 : 1;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "module_load_probe: %s\n", failure.what());
        return 1;
    }
}
