// Faults end to end: every kind of the module, driven through its exports, against the
// emulator's fault injection and against endpoints that refuse or present bad certificates.
// Each case checks the message and response code the host gets, the log line that says what
// happened, that the module answers the next call, and that no thread is left behind. Leaks are
// the sanitizer build's part (make test-asan).
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "emulator/tls_identity.hpp"
#include "json/parser_factory.hpp"
#include "tests/reliability/kinds_under_test.hpp"
#include "tests/reliability/process_threads.hpp"
#include "tests/support/azure_harness.hpp"
#include "tests/support/refusing_port.hpp"

namespace zentrova::monitoring_modules::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// Where a case's requests go.
enum class world {
    emulator,               // the emulator, with the case's fault
    refusing_port,          // a loopback port that refuses connections
    untrusted_certificate,  // the emulator, under a certificate of a CA the module does not trust
    wrong_host_name,        // the emulator, under a certificate for another host name
};

// How the failure reaches the host, by the catch ladders' four families.
enum class outcome { success, authentication, connection, request, other };

struct fault_case {
    std::string name;
    world where = world::emulator;
    std::string fault;  // emulator fault, "{route}" standing for the kind's first route
    outcome expected = outcome::success;
    std::string told;  // what the failure text (log line and message) must hold
    std::string timeout = "60";
    std::string logged{};  // what else the log must hold
};

void PrintTo(const fault_case& fault, std::ostream* out) {
    *out << fault.name;
}

std::string replaced(std::string text, const std::string& route) {
    const auto at = text.find("{route}");
    return at == std::string::npos ? text : text.replace(at, 7, route);
}

// A fault whose body, well under the byte cap, holds one value more than a document may.
std::string too_many_values_fault() {
    std::string body = "[0";
    for (std::size_t value = 2; value <= json::largest_document_values; ++value) {
        body += ",0";
    }
    return R"({"route": "{route}", "body": ")" + body + R"(]"})";
}

const std::vector<fault_case>& fault_cases() {
    static const std::vector<fault_case> cases = {
        {"ConnectionRefused", world::refusing_port, "", outcome::connection, "Couldn't connect"},
        // A connection closed before or during the answer takes one path (the transport
        // conformance suite tells the two apart), as does a body that is empty or not JSON.
        {"ClosedMidResponse", world::emulator, R"({"route": "{route}", "kind": "close_mid_body"})",
         outcome::request, "Request failed: transfer closed with"},
        {"SlowerThanTheTimeout", world::emulator,
         R"({"route": "{route}", "kind": "delay", "delay_ms": 4000})", outcome::request,
         "Operation timed out after", "1"},
        {"UntrustedCertificate", world::untrusted_certificate, "", outcome::connection,
         "SSL certificate problem"},
        {"WrongHostName", world::wrong_host_name, "", outcome::connection, "127.0.0.1"},
        // Every status outside 200..299 takes one branch; the boundaries are the fuzz corpus's.
        {"Status4xxWithRetryAfter", world::emulator,
         R"({"route": "{route}", "status": 429, "retry_after": 30})", outcome::request,
         "HTTP request was not successful: 429: Too Many Requests", "60",
         "(429 Too Many Requests); Retry-After: 30;"},
        {"Status5xx", world::emulator, R"({"route": "{route}", "status": 503})", outcome::request,
         "HTTP request was not successful: 503: Service Unavailable"},
        {"WrongContentType", world::emulator,
         R"({"route": "{route}", "kind": "wrong_content_type"})", outcome::other,
         "Invalid Content-Type"},
        {"InvalidJson", world::emulator, R"({"route": "{route}", "kind": "invalid_json"})",
         outcome::other, "The received JSON data could not be parsed."},
        {"TenMegabyteBody", world::emulator, R"({"route": "{route}", "kind": "large_body"})",
         outcome::success, ""},
        {"TooManyValues", world::emulator, too_many_values_fault(), outcome::request,
         "The received JSON data holds too many values: more than " +
             std::to_string(json::largest_document_values) + " values"},
        {"TokenEndpointFails", world::emulator, R"({"route": "token", "status": 500})",
         outcome::authentication, "Authentication failed: "},
        {"TokenEndpointGivesNoToken", world::emulator,
         R"({"route": "token", "body": "{\"token_type\": \"Bearer\", \"expires_in\": \"3599\"}"})",
         outcome::authentication, "holds no access_token"},
    };
    return cases;
}

// The message a kind's catch ladder sets for a failure of `expected` whose text holds `told`: a
// sensor sends a bare key for all but a failed request; a meta scan's message goes on with the
// text.
void expect_message(const kind_under_test& kind, outcome expected, const std::string& message,
                    const std::string& told) {
    static const char* const starts[2][5] = {
        {"", "#:error.authentication_failed", "#:error.connection_failed",
         "#:error.request_failed[Request failed: ", "#:error.generic"},
        {"", "#:error.meta.authentication_failed[Authentication failed: ",
         "#:error.meta.connection_failed[Connection failed: ", "An error occurred.Request failed: ",
         "An error occurred."}};
    const std::string start = starts[kind.metascan ? 1 : 0][static_cast<int>(expected)];
    if (expected == outcome::success || (!kind.metascan && expected != outcome::request)) {
        EXPECT_EQ(message, start);
    } else {
        EXPECT_THAT(message, StartsWith(start));
        EXPECT_THAT(message, HasSubstr(told));
    }
}

// The emulator under a certificate the module must refuse: one signed by a CA other than the
// one it trusts, or one for another host name.
emulator::emulator_options with_bad_certificate(world where, const std::string& directory) {
    const auto served = where == world::wrong_host_name
                            ? emulator::tls_identity::generate({"wrong-name.invalid"}, {})
                            : emulator::tls_identity::for_loopback();
    const auto files = emulator::write_tls_identity(served, directory + "/served");
    emulator::emulator_options options;
    options.certificate_file = files.certificate_file;
    options.private_key_file = files.private_key_file;
    options.ca_file = files.ca_file;
    if (where == world::untrusted_certificate) {
        // The module is told to trust another CA than the one that signed the certificate.
        options.ca_file = emulator::write_tls_identity(emulator::tls_identity::for_loopback(),
                                                       directory + "/other")
                              .ca_file;
    }
    return options;
}

// Points the running module at other endpoints: the module reads them when it is initialised.
void reinitialise(azure_harness& harness, const std::string& arm, const std::string& login,
                  const std::string& ca_bundle) {
    ASSERT_EQ(harness.module().cleanup(), 0);
    ::setenv("MICROSOFTAZURE_ARM_ENDPOINT", arm.c_str(), 1);
    ::setenv("MICROSOFTAZURE_LOGIN_ENDPOINT", login.c_str(), 1);
    ::setenv("MICROSOFTAZURE_CA_BUNDLE", ca_bundle.c_str(), 1);
    ASSERT_EQ(harness.module().initialize(), 0);
}

// One kind, one fault: the call under the fault, then the next call.
class FaultSuite : public ::testing::TestWithParam<std::tuple<kind_under_test, fault_case>> {
protected:
    // A check of a sensor made before the fault (so the fault meets the check, not the
    // creation), or a meta scan, answered as `expected`.
    scan_outcome call(azure_harness& harness, const settings_buffer& settings, int sensor_id,
                      outcome expected) {
        scan_outcome got;
        if (kind().metascan) {
            const auto found = harness.discover(settings, sensor_id, 1);
            got.code = found.code;
            got.response_code = found.response_code;
            got.message = found.message;
            got.values.resize(found.rows.size());
        } else {
            got = harness.check(sensor_id, settings);
        }
        EXPECT_EQ(got.code, 0);
        const bool success = expected == outcome::success;
        EXPECT_EQ(got.response_code, success ? 0 : kind().metascan ? 5 : 3) << got.message;
        if (success || !kind().metascan) {
            EXPECT_EQ(got.values.empty(), !success);
        }
        expect_message(kind(), expected, got.message, fault().told);
        return got;
    }

    const kind_under_test& kind() const { return std::get<0>(GetParam()); }
    const fault_case& fault() const { return std::get<1>(GetParam()); }
};

TEST_P(FaultSuite, TellsWhatHappenedAndKeepsAnswering) {
    if (fault().timeout != "60" && !kind().honours_timeout) {
        GTEST_SKIP() << kind().name << " waits a fixed time, not its timeout setting";
    }
    const std::size_t threads_before = process_threads();
    const auto directory =
        std::filesystem::temp_directory_path() / ("fault-suite-" + std::to_string(::getpid()));
    {
        const bool bad_certificate = fault().where == world::untrusted_certificate ||
                                     fault().where == world::wrong_host_name;
        azure_harness harness(bad_certificate
                                  ? with_bad_certificate(fault().where, directory.string())
                                  : emulator::emulator_options{});
        auto settings =
            kind().settings(harness.settings(kind().name), harness.subscription_id(), 0);
        settings.settings["timeout"] = fault().timeout;
        const int sensor_id = 11;
        if (!kind().metascan) {
            ASSERT_EQ(harness.create(sensor_id, settings).code, 0) << harness.runtime_log();
        }

        std::unique_ptr<testing::refusing_port> refusing;
        if (fault().where == world::refusing_port) {
            refusing = std::make_unique<testing::refusing_port>();
            const std::string endpoint = "https://127.0.0.1:" + std::to_string(refusing->port());
            reinitialise(harness, endpoint + "/", endpoint, harness.emulator().ca_file());
            if (!kind().metascan) {
                ASSERT_EQ(harness.create(sensor_id, settings).code, 0);
            }
        }
        if (!fault().fault.empty()) {
            harness.emulator().set_faults_json(replaced(fault().fault, kind().first_route));
        }

        // Kept in the test report (--gtest_output=xml): what the host received, case by case.
        const auto faulted = call(harness, settings, sensor_id, fault().expected);
        RecordProperty("message", faulted.message);
        RecordProperty("response_code", faulted.response_code);
        if (fault().expected != outcome::success) {
            EXPECT_THAT(harness.sensor_log(sensor_id),
                        AllOf(HasSubstr(fault().told), HasSubstr(fault().logged)));
        }

        // The next call: with the fault gone it succeeds; where the fault cannot go away (a
        // certificate for another name) the module still answers, with the same failure.
        harness.emulator().clear_faults();
        outcome next = outcome::success;
        if (fault().where == world::refusing_port) {
            reinitialise(harness, harness.emulator().base_url(), harness.emulator().login_url(),
                         harness.emulator().ca_file());
        } else if (fault().where == world::untrusted_certificate) {
            reinitialise(harness, harness.emulator().base_url(), harness.emulator().login_url(),
                         (directory / "served" / "ca.pem").string());
        } else if (fault().where == world::wrong_host_name) {
            next = fault().expected;
        }
        if (!kind().metascan && fault().where != world::emulator) {
            ASSERT_EQ(harness.create(sensor_id, settings).code, 0);
        }
        settings.settings["timeout"] = "60";
        call(harness, settings, sensor_id, next);
    }
    std::filesystem::remove_all(directory);
    EXPECT_EQ(process_threads(), threads_before) << "threads were left behind";
}

std::string case_name(
    const ::testing::TestParamInfo<std::tuple<kind_under_test, fault_case>>& info) {
    return std::get<0>(info.param).name + "_" + std::get<1>(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(EveryKind, FaultSuite,
                         ::testing::Combine(::testing::ValuesIn(kinds_under_test()),
                                            ::testing::ValuesIn(fault_cases())),
                         case_name);

}  // namespace
}  // namespace zentrova::monitoring_modules::testing
