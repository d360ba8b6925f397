#include "host/progress_bar.hpp"

#include <unistd.h>

#include <algorithm>
#include <iomanip>

namespace zentrova::monitoring_modules::host {

progress_bar::progress_bar(std::ostream& err) : err_(err), enabled_(::isatty(STDERR_FILENO) != 0) {}

progress_bar::~progress_bar() {
    if (shown_) {
        err_ << "\r\033[K" << std::flush;
    }
}

void progress_bar::show(int percent, const std::string& text) {
    if (!enabled_) {
        return;
    }
    percent = std::clamp(percent, 0, 100);
    const int filled = percent / 5;
    err_ << "\r[" << std::string(static_cast<size_t>(filled), '#')
         << std::string(static_cast<size_t>(20 - filled), ' ') << "] " << std::setw(3) << percent
         << "% " << text.substr(0, 50) << "\033[K" << std::flush;
    shown_ = true;
}

}  // namespace zentrova::monitoring_modules::host
