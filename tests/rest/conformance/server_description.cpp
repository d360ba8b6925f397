#include "tests/rest/conformance/server_description.hpp"

#include <map>
#include <sstream>
#include <stdexcept>

namespace zentrova::monitoring_modules::rest::testing {

std::string server_description::to_text() const {
    std::ostringstream text;
    text << "host=" << host << "\n"
         << "plain_port=" << plain_port << "\n"
         << "tls_port=" << tls_port << "\n"
         << "other_host_port=" << other_host_port << "\n"
         << "refusing_port=" << refusing_port << "\n"
         << "tls_ca_file=" << tls_ca_file << "\n"
         << "other_host_ca_file=" << other_host_ca_file << "\n";
    return text.str();
}

server_description server_description::from_text(const std::string& text) {
    std::map<std::string, std::string> values;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        // Files written on Linux and read on Windows may come with either line end.
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (const auto equals = line.find('='); equals != std::string::npos) {
            values[line.substr(0, equals)] = line.substr(equals + 1);
        }
    }
    const auto value = [&](const char* key) {
        const auto found = values.find(key);
        if (found == values.end() || found->second.empty()) {
            throw std::runtime_error(std::string("the server description lacks '") + key + "'");
        }
        return found->second;
    };
    const auto port = [&](const char* key) {
        const unsigned long number = std::stoul(value(key));
        if (number == 0 || number > 65535) {
            throw std::runtime_error(std::string("the server description's '") + key +
                                     "' is not a port");
        }
        return static_cast<std::uint16_t>(number);
    };
    server_description description;
    description.host = value("host");
    description.plain_port = port("plain_port");
    description.tls_port = port("tls_port");
    description.other_host_port = port("other_host_port");
    description.refusing_port = port("refusing_port");
    description.tls_ca_file = value("tls_ca_file");
    description.other_host_ca_file = value("other_host_ca_file");
    return description;
}

}  // namespace zentrova::monitoring_modules::rest::testing
