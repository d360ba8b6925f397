#include "framework/logging/log_text.hpp"

namespace zentrova::monitoring_modules::framework::logging {

std::string clipped_for_log(std::string_view text, std::size_t limit) {
    if (text.size() <= limit) {
        return std::string(text);
    }
    // Cut before a character, not inside one, so the line stays valid UTF-8.
    while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xC0U) == 0x80U) {
        --limit;
    }
    std::string clipped(text.substr(0, limit));
    clipped += " \u2026 [" + std::to_string(text.size() - limit) + " more bytes not logged]";
    return clipped;
}

}  // namespace zentrova::monitoring_modules::framework::logging
