#pragma once

#include <string>
#include <vector>

#include "framework/messaging/tiko_message.hpp"

namespace zentrova::monitoring_modules::framework::messaging {

// The module's self-description: its definition document and, when asked, its display texts.
class TIKO_API module_information_message final : public tiko_message {
public:
    explicit module_information_message(std::string definition);

    void addLanguage(
        const std::string& language_document);  // NOLINT(readability-identifier-naming)
    std::string serialize() const override;

private:
    std::string definition_;
    std::vector<std::string> languages_;
};

}  // namespace zentrova::monitoring_modules::framework::messaging
