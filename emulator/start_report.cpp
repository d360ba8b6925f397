#include "emulator/start_report.hpp"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "emulator/azure_emulator.hpp"

namespace zentrova::monitoring_modules::emulator {
namespace {

bool write_all(int fd, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(n);
    }
    return true;
}

std::string read_all(int fd) {
    std::string text;
    std::array<char, 4096> buffer{};
    for (;;) {
        const ssize_t n = ::read(fd, buffer.data(), buffer.size());
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return text;
        }
        text.append(buffer.data(), static_cast<std::size_t>(n));
    }
}

// Standard input, output and error on /dev/null: a background emulator must hold no terminal
// or pipe of its caller, whose "$(...)" would otherwise wait for it to end.
void detach_standard_streams() {
    const int null = ::open("/dev/null", O_RDWR);
    if (null < 0) {
        return;
    }
    ::dup2(null, STDIN_FILENO);
    ::dup2(null, STDOUT_FILENO);
    ::dup2(null, STDERR_FILENO);
    if (null > STDERR_FILENO) {
        ::close(null);
    }
}

// Written under a temporary name and renamed, so that a reader never sees half of it.
void write_environment_file(const std::string& path, const std::string& lines) {
    const std::string partial = path + ".partial";
    std::ofstream out(partial, std::ios::trunc);
    out << lines;
    out.close();
    if (!out || std::rename(partial.c_str(), path.c_str()) != 0) {
        const std::string reason = std::strerror(errno);
        std::remove(partial.c_str());
        throw std::runtime_error("cannot write the environment file '" + path + "': " + reason +
                                 ". Check that its folder exists and is writable.");
    }
}

// The foreground process of --background: prints the other's report and answers its exit code.
int wait_for_report(int report_fd, pid_t child) {
    const std::string report = read_all(report_fd);
    ::close(report_fd);
    if (!report.empty() && report[0] == '0') {
        std::cout << report.substr(1) << std::flush;
        return 0;
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (report.size() > 1) {
        std::cerr << report.substr(1) << std::flush;
        return report[0] - '0';
    }
    std::cerr << "azure-emulator: the background emulator ended before it listened (wait status "
              << status << ")" << std::endl;
    return 1;
}

}  // namespace

start_report::~start_report() {
    if (report_fd_ >= 0) {
        ::close(report_fd_);
    }
}

std::optional<int> start_report::detach() {
    if (!chosen_.background) {
        return std::nullopt;
    }
    std::array<int, 2> pipe_fds{};
    if (::pipe(pipe_fds.data()) != 0) {
        return failed(1, std::string("cannot start in the background: ") + std::strerror(errno));
    }
    const pid_t child = ::fork();
    if (child < 0) {
        ::close(pipe_fds[0]);
        ::close(pipe_fds[1]);
        return failed(1, std::string("cannot start in the background: ") + std::strerror(errno));
    }
    if (child > 0) {
        ::close(pipe_fds[1]);
        return wait_for_report(pipe_fds[0], child);
    }
    ::close(pipe_fds[0]);
    report_fd_ = pipe_fds[1];
    ::setsid();  // the caller's terminal and its Ctrl-C are no longer the emulator's
    detach_standard_streams();
    return std::nullopt;
}

void start_report::listening(const azure_emulator& server) {
    std::string lines = "export MICROSOFTAZURE_ARM_ENDPOINT=" + server.base_url() + "\n" +
                        "export MICROSOFTAZURE_LOGIN_ENDPOINT=" + server.login_url() + "\n" +
                        "export MICROSOFTAZURE_CA_BUNDLE=" + server.ca_file() + "\n";
    const std::string process = std::to_string(::getpid());
    if (chosen_.background) {
        lines += "AZURE_EMULATOR_PID=" + process + "\n";
    }
    if (!chosen_.env_file.empty()) {
        write_environment_file(chosen_.env_file, lines);
    }
    if (!chosen_.print_env) {
        lines = "URL: " + server.base_url() + "\nCA file: " + server.ca_file() + "\n" +
                (chosen_.background ? "Process: " + process + "\n" : "");
    }
    if (report_fd_ >= 0) {
        report('0', lines);
        return;
    }
    std::cout << lines << std::flush;
    if (chosen_.print_env) {
        std::cerr << "azure-emulator: listening on " << server.base_url() << std::endl;
    }
}

int start_report::failed(int code, const std::string& message) {
    const std::string line = "azure-emulator: " + message + "\n";
    if (report_fd_ >= 0) {
        report(static_cast<char>('0' + code), line);
    } else {
        std::cerr << line << std::flush;
    }
    return code;
}

void start_report::stopped() const {
    if (!chosen_.env_file.empty()) {
        std::remove(chosen_.env_file.c_str());
    }
}

void start_report::report(char status, const std::string& text) {
    write_all(report_fd_, status + text);
    ::close(report_fd_);
    report_fd_ = -1;
}

}  // namespace zentrova::monitoring_modules::emulator
