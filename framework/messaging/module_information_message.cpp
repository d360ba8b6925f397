#include "framework/messaging/module_information_message.hpp"

#include "framework/messaging/impl/json_writer.hpp"

namespace zentrova::monitoring_modules::framework::messaging {

module_information_message::module_information_message(std::string definition)
    : definition_(std::move(definition)) {}

void module_information_message::addLanguage(const std::string& language_document) {
    languages_.push_back(language_document);
}

std::string module_information_message::serialize() const {
    impl::json_writer out;
    out.begin_object();
    out.key("type").value("module_information");
    out.key("definition").json_value(definition_);
    out.key("languages").begin_array();
    for (const auto& language : languages_) {
        out.json_value(language);
    }
    out.end_array();
    out.end_object();
    return out.str();
}

}  // namespace zentrova::monitoring_modules::framework::messaging
