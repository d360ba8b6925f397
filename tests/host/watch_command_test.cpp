// `sensor-host watch` as a user runs it, against an in-process emulator: the JSON lines and the
// summary against what the emulator served, a clean end on SIGINT or SIGTERM (the suite runs
// under AddressSanitizer too, whose leak check fails the exit status), the live view in a real
// terminal, and one bad input per option.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <jsoncons/json.hpp>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "tests/host/sensor_host_test.hpp"
#include "tests/support/scratch_directory.hpp"
#include "tests/support/text_file.hpp"

namespace zentrova::monitoring_modules::testing {
namespace {

using ::testing::HasSubstr;

// Seconds since the epoch of a line's "2025-04-18T09:30:05.123Z".
double line_time(const std::string& iso) {
    std::tm utc{};
    ::strptime(iso.c_str(), "%Y-%m-%dT%H:%M:%S", &utc);
    return static_cast<double>(::timegm(&utc)) + std::stod(iso.substr(19, 4));
}

// The summary's row of a kind ("all" for every kind): sensors, checks, succeeded, failed,
// throttled.
std::vector<long long> summary_row(const std::string& summary, const std::string& kind) {
    std::istringstream lines(summary);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream cells(line);
        std::string name;
        cells >> name;
        if (name == kind) {
            std::vector<long long> row(5);
            for (auto& cell : row) {
                cells >> cell;
            }
            return row;
        }
    }
    ADD_FAILURE() << "no row " << kind << " in:\n" << summary;
    return std::vector<long long>(5, -1);
}

class WatchCommand : public sensor_host_test {
protected:
    std::vector<std::string> watch(const std::vector<std::string>& options) const {
        std::vector<std::string> arguments{"--state",   (scratch_.path() / "state.json").string(),
                                           "--format",  "jsonl",
                                           "watch",     "--credentials",
                                           credentials_};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return arguments;
    }
};

TEST_F(WatchCommand, EachCheckIsAJsonLineAndTheSummaryCountsWhatTheEmulatorServed) {
    start("default.json", "default-credentials.json");
    emulator_->set_faults_json(R"({"route": "vm_metrics", "status": 429, "count": 2})");
    host_process host(watch({"--interval", "1", "--duration", "3.5", "--threads", "2", "--set",
                             "show_budgets=enabled"}),
                      error_file());
    std::map<std::string, std::uint64_t> checks;  // by kind
    std::uint64_t throttled = 0;
    std::map<int, std::vector<double>> times;  // by sensor
    while (const auto text = host.line()) {
        const auto line = jsoncons::json::parse(*text);
        std::vector<std::string> members;
        for (const auto& member : line.object_range()) {
            members.emplace_back(member.key());
        }
        EXPECT_THAT(members,
                    ::testing::ElementsAre("channels", "kind", "latency_ms", "message", "resource",
                                           "response_code", "sensor_id", "time"))
            << *text;
        const auto kind = line["kind"].as<std::string>();
        ++checks[kind];
        EXPECT_FALSE(line["resource"].as<std::string>().empty()) << *text;
        EXPECT_GE(line["latency_ms"].as<double>(), 0.0);
        const auto message = line["message"].as<std::string>();
        throttled += message.find(": 429: ") != std::string::npos ? 1 : 0;
        EXPECT_EQ(line["response_code"].as<int>() == 0, message.empty()) << *text;
        const int id = line["sensor_id"].as<int>();
        times[id].push_back(line_time(line["time"].as<std::string>()));
    }
    EXPECT_EQ(host.finish(), 1);  // two checks were throttled

    // Every sensor of the bundled world, checked about once a second, spread over the second.
    ASSERT_EQ(times.size(), 9U) << errors();
    double first = 1e300;
    double last_first = 0;
    for (const auto& [id, at] : times) {
        first = std::min(first, at.front());
        last_first = std::max(last_first, at.front());
        EXPECT_GE(at.size(), 3U) << "sensor " << id;
        for (std::size_t i = 1; i < at.size(); ++i) {
            EXPECT_NEAR(at[i] - at[i - 1], 1.0, 0.5) << "sensor " << id << " check " << i;
        }
    }
    EXPECT_GE(last_first - first, 0.5) << "the first checks were not spread over the interval";
    // What the emulator served, check by check.
    const auto served = emulator_->counters();
    EXPECT_EQ(throttled, 2U);
    EXPECT_EQ(served.requests("vm_metrics"), checks["virtual_machine_sensor"]);
    EXPECT_EQ(served.requests("instance_view"), checks["virtual_machine_sensor"] - 2);
    EXPECT_EQ(served.requests("sql_metrics"), checks["sql_database_sensor"]);
    EXPECT_EQ(served.requests("budgets"), checks["subscription_cost_sensor"]);
    const std::string summary = errors();
    const auto total =
        static_cast<long long>(checks["virtual_machine_sensor"] + checks["sql_database_sensor"] +
                               checks["subscription_cost_sensor"]);
    EXPECT_EQ(summary_row(summary, "all"), (std::vector<long long>{9, total, total - 2, 2, 2}));
    EXPECT_EQ(summary_row(summary, "virtual_machine_sensor")[1],
              static_cast<long long>(checks["virtual_machine_sensor"]));
    EXPECT_THAT(summary,
                ::testing::ContainsRegex(
                    "virtual_machine_sensor +2  #:error.request_failed.Request failed: HTTP "
                    "request was not successful: 429: Too Many Requests."));
    EXPECT_THAT(summary, HasSubstr("token requests: " + std::to_string(served.token_requests)));
    EXPECT_THAT(summary, HasSubstr("(the duration ended)"));
}

TEST_F(WatchCommand, AStopSignalEndsTheWatchCleanlyAtAnyStage) {
    struct stage {
        const char* name;
        int signal;  // 0: the reader of the JSON lines goes away instead
        const char* ending;
    };
    for (const auto& [name, signal, ending] :
         {stage{"discovery", SIGINT, "(stopped by SIGINT during discovery)"},
          stage{"watch", SIGTERM, "(stopped by SIGTERM)"},
          stage{"output", 0, "(standard output was closed)"}}) {
        SCOPED_TRACE(name);
        start("default.json", "default-credentials.json");
        const bool discovery = std::string(name) == "discovery";
        if (discovery) {
            emulator_->set_faults_json(
                R"({"route": "vm_list", "kind": "delay", "delay_ms": 1500})");
        }
        const auto began = std::chrono::steady_clock::now();
        host_process host(watch({"--interval", "1", "--duration", "60"}), error_file());
        if (discovery) {
            // The token, then the machines' list, which the fault holds back.
            ASSERT_TRUE(emulator_->wait_for_requests(2, std::chrono::seconds(30)));
        } else {
            ASSERT_TRUE(host.line().has_value()) << errors();
        }
        if (signal != 0) {
            host.signal(signal);
        } else {
            host.close_output();
        }
        const int status = host.finish();
        EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(30));
        EXPECT_TRUE(status == 0 || status == 1) << status << "\n" << errors();
        EXPECT_THAT(errors(), HasSubstr(ending));
        EXPECT_THAT(errors(), HasSubstr("Exit status " + std::to_string(status)));
        EXPECT_THAT(errors(), ::testing::Not(HasSubstr("Sanitizer")));
    }
}

TEST_F(WatchCommand, TheLiveViewRedrawsInPlaceWithinTheTerminal) {
    if (std::system("command -v tmux >/dev/null") != 0) {
        GTEST_SKIP() << "tmux is not installed (scripts/install-deps.sh installs it)";
    }
    start("default.json", "default-credentials.json");
    emulator_->set_faults_json(
        R"({"route": "instance_view", "status": 403, "path_contains": "vm-app-01"})");
    const std::string socket = (scratch_.path() / "tmux").string();
    const std::string screen = (scratch_.path() / "screen.txt").string();
    std::string command = SENSOR_HOST_COMMAND;
    for (const auto& argument :
         watch({"--interval", "1", "--duration", "3", "--copies", "3", "--kinds",
                "subscription_cost_sensor,virtual_machine_sensor"})) {
        command += " '" + (argument == "jsonl" ? std::string("table") : argument) + "'";
    }
    // A 100 by 20 terminal; the pane stays after the command, until the screen is read.
    const std::string tmux = "timeout 60 tmux -S " + socket + " ";
    ASSERT_EQ(std::system((tmux + "new-session -d -x 100 -y 20 \"" + command + "; " + tmux +
                           "wait-for -S watched; " + tmux + "wait-for read\"")
                              .c_str()),
              0);
    EXPECT_EQ(std::system((tmux + "wait-for watched").c_str()), 0);
    EXPECT_EQ(std::system((tmux + "capture-pane -p -J -S - > " + screen).c_str()), 0);
    std::system((tmux + "kill-server").c_str());

    const std::string text = read_text_file(screen);
    std::istringstream lines(text);
    int headers = 0;
    for (std::string line; std::getline(lines, line) && line.rfind("Summary:", 0) != 0;) {
        headers += line.rfind("sensor-host watch", 0) == 0 ? 1 : 0;
        // Never the last column, which would wrap; a character is a column.
        EXPECT_LE(
            std::count_if(line.begin(), line.end(), [](char c) { return (c & 0xC0) != 0x80; }), 99)
            << line;
    }
    EXPECT_EQ(headers, 1) << "drawn in place once:\n" << text;
    // The machine without a role fails: its message comes first. The cost sensors' values show
    // under the names their checks declared, which the host keeps from check to check.
    EXPECT_THAT(text, ::testing::ContainsRegex("vm-app-01 .* An error occurred. Request failed"));
    EXPECT_THAT(text, HasSubstr("  Current Period Cost 987.65 EUR, Previous Period"));
    EXPECT_THAT(text, HasSubstr("more sensors (a taller terminal shows them)"));
    EXPECT_THAT(text, HasSubstr("Summary: 15 sensors watched"));
}

TEST_F(WatchCommand, BadInputSaysWhatIsWrongAndWhatToPass) {
    start("default.json", "default-credentials.json");
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
        {{"--kinds", "virtual_machine,sql_database_sensor"},
         "\"virtual_machine\" is not a sensor kind of this module; did you mean "
         "virtual_machine_sensor? Pass --kinds with some of: "},
        {{"--rows", "7"},
         "There is no row 7 of virtual_machine_metascan: it found 4 rows; pass "
         "--rows from 1 to 4"},
        {{"--rows", "0"}, "--rows: \"0\" is not a row: rows are numbered from 1"},
        {{"--copies", "0"}, "--copies: \"0\" is not a number of sensors per row: pass 1 to"},
        {{"--interval", "-5"}, "--interval: \"-5\" is not a time: pass seconds above 0"},
        {{"--duration", "soon"}, "--duration: \"soon\" is not a time"},
        {{"--threads", "0"}, "--threads: \"0\" is not a number of threads: pass 1 to 256"},
        {{"--set", "show_budget=enabled"},
         "--set show_budget: none of the kinds watched (virtual_machine_sensor, "
         "subscription_cost_sensor, sql_database_sensor) has that setting; did you mean "
         "show_budgets?"},
    };
    for (const auto& [options, expected] : cases) {
        std::vector<std::string> arguments{"--duration", "1"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        host_process host(watch(arguments), error_file());
        EXPECT_EQ(host.finish(), 2) << expected;
        EXPECT_THAT(errors(), HasSubstr(expected));
    }
    auto json = watch({});
    json[3] = "json";  // --format json
    EXPECT_EQ(host_process(json, error_file()).finish(), 2);
    EXPECT_THAT(errors(), HasSubstr("pass --format jsonl"));
    credentials_ = "/nonexistent/creds.json";
    EXPECT_EQ(host_process(watch({}), error_file()).finish(), 2);
    EXPECT_THAT(errors(), HasSubstr("Cannot open the credentials file /nonexistent/creds.json"));
}

}  // namespace
}  // namespace zentrova::monitoring_modules::testing
