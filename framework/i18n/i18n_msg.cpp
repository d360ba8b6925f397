#include "framework/i18n/i18n_msg.hpp"

namespace zentrova::monitoring_modules::framework::i18n {

i18n_msg i18n_msg::from_key(const std::string& key, const std::vector<std::string>& arguments) {
    std::string text = "#:" + key;
    if (!arguments.empty()) {
        text += '[';
        for (size_t i = 0; i < arguments.size(); ++i) {
            if (i > 0) {
                text += ',';
            }
            text += arguments[i];
        }
        text += ']';
    }
    return i18n_msg(std::move(text));
}

}  // namespace zentrova::monitoring_modules::framework::i18n
