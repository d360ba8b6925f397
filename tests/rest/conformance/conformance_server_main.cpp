// transport-conformance-server: the conformance tests' server as a command, for test processes
// that cannot run it themselves (the Windows tests under Wine). Writes where it listens into a
// file and serves until SIGINT or SIGTERM.
#include <pthread.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "tests/rest/conformance/conformance_server.hpp"

namespace testing = zentrova::monitoring_modules::rest::testing;

namespace {

// "/tmp/x/ca.pem" as a Windows program under Wine opens it: drive Z: is the Unix root.
std::string as_wine_path(const std::string& path) {
    std::string converted = "Z:" + path;
    for (auto& character : converted) {
        if (character == '/') {
            character = '\\';
        }
    }
    return converted;
}

}  // namespace

int main(int argc, char** argv) {
    const bool wine_paths = argc == 4 && std::string(argv[3]) == "--wine-paths";
    if (argc != 3 && !wine_paths) {
        std::cerr
            << "usage: transport-conformance-server DIR FILE [--wine-paths]\n"
               "  DIR holds the certificates; FILE receives the ports and CA files (key=value)\n"
               "  once the server listens; --wine-paths writes the CA files as Z:\\... paths.\n";
        return 2;
    }
    const std::string directory = argv[1];
    const std::string state_file = argv[2];

    // Every thread inherits the mask, so the two signals reach only the sigwait below.
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGINT);
    sigaddset(&stop_signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);

    try {
        testing::conformance_server server(std::filesystem::absolute(directory).string());
        auto description = server.description();
        if (wine_paths) {
            description.tls_ca_file = as_wine_path(description.tls_ca_file);
            description.other_host_ca_file = as_wine_path(description.other_host_ca_file);
        }
        // Written whole under another name first, so a reader never sees half of it.
        const std::string partial = state_file + ".partial";
        std::ofstream(partial) << description.to_text();
        std::filesystem::rename(partial, state_file);
        std::cerr << "transport-conformance-server: listening on " << description.plain_url()
                  << " and " << description.tls_url() << std::endl;
        int received = 0;
        sigwait(&stop_signals, &received);
        server.stop();
    } catch (const std::exception& error) {
        std::cerr << "transport-conformance-server: " << error.what() << std::endl;
        return 1;
    }
    return 0;
}
