#include "bench/end_to_end/module_load_stages.hpp"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace zentrova::monitoring_modules::bench {

load_stages read_module_load_stages(bool with_ca_bundle, const std::string& check_buffer) {
    const auto directory = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    const auto program = directory / "module_load_cost";
    std::string command = std::string(with_ca_bundle ? "" : "env -u MICROSOFTAZURE_CA_BUNDLE ") +
                          "'" + program.string() + "'";
    const auto buffer_file = std::filesystem::temp_directory_path() /
                             ("module_load_cost-" + std::to_string(::getpid()) + ".json");
    if (!check_buffer.empty()) {
        std::ofstream(buffer_file) << check_buffer;
        command += " '" + buffer_file.string() + "'";
    }
    load_stages stages;
    FILE* output = ::popen(command.c_str(), "r");
    if (output == nullptr) {
        throw std::runtime_error("cannot run " + program.string());
    }
    std::array<char, 32> stage{};
    resident_memory memory;
    while (std::fscanf(output, "%31s %zu %zu %zu", stage.data(), &memory.total_kib,
                       &memory.anonymous_kib, &memory.file_kib) == 4) {
        stages[stage.data()] = memory;
    }
    const int status = ::pclose(output);
    std::filesystem::remove(buffer_file);
    if (status != 0 || stages.size() != (check_buffer.empty() ? 3U : 4U)) {
        throw std::runtime_error(program.string() + " failed; run it alone to see why");
    }
    return stages;
}

}  // namespace zentrova::monitoring_modules::bench
