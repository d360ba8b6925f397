#include "bench/end_to_end/client_process.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <map>
#include <stdexcept>

extern char** environ;  // NOLINT(readability-redundant-declaration): POSIX declares it nowhere

namespace zentrova::monitoring_modules::bench {
namespace {

// This process's environment with `changes` applied, as "NAME=value" texts.
std::vector<std::string> environment_with(
    const std::vector<std::pair<std::string, std::string>>& changes) {
    std::map<std::string, std::string> variables;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text(*entry);
        const auto equals = text.find('=');
        if (equals != std::string::npos) {
            variables[text.substr(0, equals)] = text.substr(equals + 1);
        }
    }
    for (const auto& [name, value] : changes) {
        variables[name] = value;
    }
    std::vector<std::string> texts;
    texts.reserve(variables.size());
    for (const auto& [name, value] : variables) {
        texts.push_back(name);
        texts.back().append("=").append(value);
    }
    return texts;
}

std::vector<char*> pointers_to(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (auto& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

client_process::client_process(const std::vector<std::string>& command,
                               const std::vector<std::pair<std::string, std::string>>& environment)
    : name_(command.at(0)) {
    std::array<int, 2> input{};
    std::array<int, 2> output{};
    if (::pipe2(input.data(), O_CLOEXEC) != 0 || ::pipe2(output.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("cannot make pipes for " + name_ + ": " + std::strerror(errno));
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    std::vector<std::string> arguments(command);
    std::vector<std::string> variables = environment_with(environment);
    const auto argv = pointers_to(arguments);
    const auto envp = pointers_to(variables);
    const int failed =
        ::posix_spawnp(&pid_, name_.c_str(), &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    ::close(input[0]);
    ::close(output[1]);
    if (failed != 0) {
        ::close(input[1]);
        ::close(output[0]);
        throw std::runtime_error("cannot start " + name_ + ": " + std::strerror(failed));
    }
    to_child_ = input[1];
    from_child_ = ::fdopen(output[0], "r");
}

client_process::~client_process() {
    if (to_child_ >= 0) {
        static_cast<void>(::write(to_child_, "quit\n", 5));
        ::close(to_child_);
    }
    if (from_child_ != nullptr) {
        std::fclose(from_child_);  // NOLINT(cppcoreguidelines-owning-memory): fdopen's stream
    }
    int status = 0;
    ::waitpid(pid_, &status, 0);
}

void client_process::send(const std::string& line) {
    const std::string text = line + "\n";
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t now = ::write(to_child_, text.data() + written, text.size() - written);
        if (now <= 0) {
            throw std::runtime_error(name_ + " stopped reading its input");
        }
        written += static_cast<std::size_t>(now);
    }
}

std::string client_process::read_line() {
    char* line = nullptr;
    std::size_t capacity = 0;
    const ssize_t length = ::getline(&line, &capacity, from_child_);
    std::string text = length > 0 ? std::string(line, static_cast<std::size_t>(length)) : "";
    // getline allocates with malloc.
    std::free(line);  // NOLINT(cppcoreguidelines-no-malloc,cppcoreguidelines-owning-memory)
    if (length <= 0) {
        throw std::runtime_error(name_ + " ended without an answer");
    }
    if (text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

}  // namespace zentrova::monitoring_modules::bench
