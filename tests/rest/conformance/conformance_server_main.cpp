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

int usage() {
    std::cerr << "usage: transport-conformance-server --directory DIR --state-file FILE "
                 "[--wine-paths]\n"
                 "  DIR holds the certificates; FILE receives the ports and CA files (key=value)\n"
                 "  once the server listens; --wine-paths writes the CA files as Z:\\... paths.\n";
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    std::string directory;
    std::string state_file;
    bool wine_paths = false;
    for (int index = 1; index < argc; ++index) {
        const std::string argument = argv[index];
        if (argument == "--directory" && index + 1 < argc) {
            directory = argv[++index];
        } else if (argument == "--state-file" && index + 1 < argc) {
            state_file = argv[++index];
        } else if (argument == "--wine-paths") {
            wine_paths = true;
        } else {
            return usage();
        }
    }
    if (directory.empty() || state_file.empty()) {
        return usage();
    }

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
