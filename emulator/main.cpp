// azure-emulator: the local Azure emulator as a command. Everything but the command line and
// the signal handling lives in the library.

#include <pthread.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <iostream>
#include <string>

#include "emulator/azure_emulator.hpp"

namespace emulator = zentrova::monitoring_modules::emulator;

int main(int argc, char** argv) {
    CLI::App app{
        "Local HTTPS emulator of the Azure AD and Azure Resource Manager requests of the "
        "MicrosoftAzure module. Runs until SIGINT or SIGTERM."};
    emulator::emulator_options options;
    bool print_env = false;
    app.add_option("--scenario", options.scenario_file,
                   "scenario file (JSON, see docs/emulator.md); default: the bundled scenario");
    app.add_option("--copies", options.copies,
                   "serve each virtual machine and SQL server of the scenario N times (names "
                   "get -2, -3 ...), for watches of many sensors; default: the scenario's "
                   "\"copies\", else 1")
        ->check(CLI::Range(1, 10000));
    app.add_option("--port", options.port, "port on 127.0.0.1; 0 picks a free one")
        ->check(CLI::Range(0, 65535));
    app.add_option("--host", options.host, "host name written in the URLs")
        ->check(CLI::IsMember({"127.0.0.1", "localhost"}));
    app.add_option("--tls-dir", options.tls_directory,
                   "directory for ca.pem, server.pem and server.key; made when missing, files "
                   "already there are reused; default: a temporary directory removed on exit");
    app.add_flag("--print-env", print_env,
                 "print export lines for MICROSOFTAZURE_ARM_ENDPOINT, _LOGIN_ENDPOINT and "
                 "_CA_BUNDLE on standard output, ready for eval");
    CLI11_PARSE(app, argc, argv);

    // Every thread the emulator starts inherits this mask, so the two signals reach only the
    // sigwait below and the emulator can stop cleanly.
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGINT);
    sigaddset(&stop_signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);

    try {
        emulator::azure_emulator server(options);
        if (print_env) {
            std::cout << "export MICROSOFTAZURE_ARM_ENDPOINT=" << server.base_url() << "\n"
                      << "export MICROSOFTAZURE_LOGIN_ENDPOINT=" << server.login_url() << "\n"
                      << "export MICROSOFTAZURE_CA_BUNDLE=" << server.ca_file() << std::endl;
            std::cerr << "azure-emulator: listening on " << server.base_url() << "\n";
        } else {
            std::cout << "URL: " << server.base_url() << "\n"
                      << "CA file: " << server.ca_file() << std::endl;
        }
        int received = 0;
        sigwait(&stop_signals, &received);
        std::cerr << "azure-emulator: " << (received == SIGINT ? "SIGINT" : "SIGTERM")
                  << " received, stopping" << std::endl;
        server.stop();
    } catch (const emulator::scenario_error& e) {
        std::cerr << "azure-emulator: " << e.what() << std::endl;
        return 2;
    } catch (const std::exception& e) {
        std::string message = e.what();
        if (message.rfind("emulator: ", 0) == 0) {
            message.erase(0, 10);
        }
        std::cerr << "azure-emulator: " << message << std::endl;
        return 1;
    }
    return 0;
}
