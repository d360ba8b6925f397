#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zentrova::monitoring_modules::host {

// The module's runtime log, which the host reads back to say why an export failed. It lies in
// the folder the user chose (--log-dir, or MICROSOFTAZURE_LOG_DIR already set), or else in a
// private temporary folder made for this run and removed at its end, so that a failure is
// explained without asking for a log folder first. Point the module at it before
// InitializeModule, which is when the module opens its log.
class module_log {
public:
    // `chosen_folder` "" makes the temporary folder; throws host_error when it cannot.
    explicit module_log(std::string chosen_folder);
    ~module_log();
    module_log(const module_log&) = delete;
    module_log& operator=(const module_log&) = delete;

    const std::string& folder() const { return folder_; }
    // The user's own folder, which outlives the run (sensor logs can be kept there).
    bool kept() const { return !temporary_; }

    // Remembers where the log ends now: reasons() reads what comes after.
    void mark();
    // The error and warning lines written since mark(), without their time and level.
    std::vector<std::string> reasons() const;
    // What to tell the user about a failed call: " The module's log says: <line> ..." or, when
    // it logged no reason, where to look.
    std::string explanation() const;

private:
    std::string path() const;

    std::string folder_;
    bool temporary_ = false;
    std::uintmax_t mark_ = 0;
};

}  // namespace zentrova::monitoring_modules::host
