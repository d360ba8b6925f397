#pragma once

#include <ostream>
#include <string>

namespace zentrova::monitoring_modules::host {

// A meta scan's progress on one terminal line, redrawn in place and wiped when the bar goes.
// Shows nothing when standard error is not a terminal, so logs and pipes stay clean.
class progress_bar {
public:
    explicit progress_bar(std::ostream& err);
    ~progress_bar();
    progress_bar(const progress_bar&) = delete;
    progress_bar& operator=(const progress_bar&) = delete;

    void show(int percent, const std::string& text);

private:
    std::ostream& err_;
    bool enabled_;
    bool shown_ = false;
};

}  // namespace zentrova::monitoring_modules::host
