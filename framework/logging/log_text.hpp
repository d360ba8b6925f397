#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "framework/tiko_export.hpp"

namespace zentrova::monitoring_modules::framework::logging {

// How much of a long text (an answer's body, a settings buffer) a log line keeps: enough to
// read any ordinary answer whole, little enough that a runaway one cannot fill the disk.
constexpr std::size_t logged_text_limit = 64 * 1024;

// `text` itself when it fits the limit, else at most its first `limit` bytes (whole characters)
// followed by " … [N more bytes not logged]".
TIKO_API std::string clipped_for_log(std::string_view text, std::size_t limit = logged_text_limit);

}  // namespace zentrova::monitoring_modules::framework::logging
