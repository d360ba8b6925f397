#include "microsoftazure/failure_ladder.hpp"

#include <stdexcept>

#include "json/exceptions.hpp"
#include "rest/exceptions.hpp"

namespace zentrova::monitoring_modules::microsoftazure {
namespace {

using framework::logging::error;
using framework::logging::log_interface;

// The failure's text for the log. JSON failures keep the path or type they refer to apart from
// their fixed text, so the log gets both.
std::string describe(const std::exception& failure) {
    if (const auto* json_failure = dynamic_cast<const json::exceptions::exception*>(&failure)) {
        return json_failure->full_message();
    }
    return failure.what();
}

// Rethrows the failure and hands the caught exception to the matching handler.
template <typename OnAuthentication, typename OnConnection, typename OnRequest, typename OnOther>
std::string dispatch(const std::exception_ptr& failure, log_interface& log,
                     OnAuthentication on_authentication, OnConnection on_connection,
                     OnRequest on_request, OnOther on_other) {
    try {
        std::rethrow_exception(failure);
    } catch (const rest::exceptions::authentication_failed& e) {
        log.write(error, e.what());
        return on_authentication(e);
    } catch (const rest::exceptions::connection_failed& e) {
        log.write(error, e.what());
        return on_connection(e);
    } catch (const rest::exceptions::request_failed& e) {
        log.write(error, e.what());
        return on_request(e);
    } catch (const json::exceptions::too_many_values& e) {
        // An answer too large to read fails its request, as one too long to receive does.
        const rest::exceptions::request_failed failed(e.full_message());
        log.write(error, failed.what());
        return on_request(failed);
    } catch (const std::exception& e) {
        log.write(error, describe(e));
        return on_other(e);
    } catch (...) {
        const std::runtime_error unknown("a failure that is not a standard exception");
        log.write(error, unknown.what());
        return on_other(unknown);
    }
}

}  // namespace

std::string sensor_failure_message(const std::exception_ptr& failure, log_interface& log) {
    return dispatch(
        failure, log,
        [](const std::exception&) { return std::string("#:error.authentication_failed"); },
        [](const std::exception&) { return std::string("#:error.connection_failed"); },
        [](const std::exception& e) {
            return "#:error.request_failed[" + std::string(e.what()) + "]";
        },
        [](const std::exception&) { return std::string("#:error.generic"); });
}

std::string metascan_failure_message(const std::exception_ptr& failure, log_interface& log) {
    const auto other = [](const std::exception& e) {
        return "An error occurred." + std::string(e.what());
    };
    return dispatch(
        failure, log,
        [](const std::exception& e) {
            return "#:error.meta.authentication_failed[" + std::string(e.what()) + "]";
        },
        [](const std::exception& e) {
            return "#:error.meta.connection_failed[" + std::string(e.what()) + "]";
        },
        other, other);
}

}  // namespace zentrova::monitoring_modules::microsoftazure
