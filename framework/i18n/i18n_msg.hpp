#pragma once

#include <string>
#include <vector>

#include "framework/tiko_export.hpp"

namespace zentrova::monitoring_modules::framework::i18n {

// A message for the host to show: plain text, or "#:" + a text key with its arguments in
// brackets ("#:error.request_failed[detail]"), which the host resolves in its display texts.
class TIKO_API i18n_msg {
public:
    i18n_msg() = default;
    i18n_msg(std::string text) : text_(std::move(text)) {}  // NOLINT(google-explicit-constructor)
    i18n_msg(const char* text) : text_(text) {}             // NOLINT(google-explicit-constructor)

    // "#:" + key, followed by "[" + arguments joined by "," + "]" when there are any.
    static i18n_msg from_key(const std::string& key,
                             const std::vector<std::string>& arguments = {});

    const std::string& text() const { return text_; }

private:
    std::string text_;
};

}  // namespace zentrova::monitoring_modules::framework::i18n
