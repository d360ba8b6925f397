#include "fuzz/scripted_transport.hpp"

#include <cctype>
#include <charconv>

#include "rest/exceptions.hpp"

namespace zentrova::monitoring_modules::fuzz {
scripted_answers::scripted_answers(std::string_view script) : script_(script) {}

rest::response scripted_answers::next(const std::string& url) {
    urls_.push_back(url);
    if (script_.empty()) {
        throw rest::exceptions::connection_failed("the script has no more answers");
    }
    input_reader answer(script_.until("\n###\n"));
    std::string_view body = answer.rest();
    const std::string_view head = answer.line();
    if (head == "CONNECT") {
        throw rest::exceptions::connection_failed("scripted");
    }
    if (head == "AUTH") {
        throw rest::exceptions::authentication_failed("scripted");
    }
    if (head == "TRANSFER") {
        throw rest::exceptions::request_failed("scripted");
    }

    rest::response response;
    response.status_code = 200;
    response.status_text = "OK";
    response.headers["Content-Type"] = "application/json; charset=utf-8";
    if (!head.empty() && std::isdigit(static_cast<unsigned char>(head.front())) != 0) {
        const auto [end, error] =
            std::from_chars(head.data(), head.data() + head.size(), response.status_code);
        static_cast<void>(error);
        const std::string_view content_type =
            head.substr(static_cast<std::size_t>(end - head.data()));
        response.status_text = "Scripted";
        if (content_type.size() > 1) {
            response.headers["Content-Type"] = std::string(content_type.substr(1));
        } else {
            response.headers.clear();
        }
        body = answer.rest();
    }
    response.body = std::string(body);
    return response;
}

rest::response scripted_transport::send_request(const rest::request& /*request*/) {
    return answers_->next(base_url_);
}

rest::response scripted_transport::send_request_path(const std::string& path,
                                                     const rest::request& /*request*/) {
    return answers_->next(base_url_ + path);
}

}  // namespace zentrova::monitoring_modules::fuzz
