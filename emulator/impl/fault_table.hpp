#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "emulator/azure_emulator.hpp"
#include "emulator/impl/http_exchange.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// The faults in force, in the order they were set, and what each does to an answer.
// Guarded by one mutex; taking a fault and counting down its uses is one step.
class fault_table {
public:
    void set(const fault& f);
    void replace_all(std::vector<fault> faults);
    void clear();
    void clear(const std::string& route);
    std::vector<fault> list() const;

    // What is wrong with a fault given through the API ("" when nothing): the rules the
    // scenario parser applies to fault documents.
    static std::string problem(const fault& f);

    // The first fault for this route and path that still has uses left, with one use spent.
    std::optional<fault> take(const std::string& route, const std::string& path);

    // The answer of a `status` fault on a Resource Manager route.
    static http_answer status_answer(const fault& f);
    // The answer of a `custom_body` fault.
    static http_answer custom_answer(const fault& f);
    // Sets the fault's status (when it gives one), reason phrase and Retry-After.
    static void apply_status(const fault& f, http_answer& answer);
    // Applies a body-changing fault (and any status, reason or Retry-After it sets) to the
    // answer that would have gone out.
    static void reshape(const fault& f, http_answer& answer);

private:
    mutable std::mutex mutex_;
    std::vector<fault> faults_;
};

}  // namespace zentrova::monitoring_modules::emulator::impl
