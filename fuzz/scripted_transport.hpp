#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/fuzz_target.hpp"
#include "rest/rest_interface.hpp"

namespace zentrova::monitoring_modules::fuzz {

// The answers a fuzz input scripts for the REST requests of one sensor check, in order.
//
// The input is a list of answers separated by a line "###". An answer's first line is the status
// and the Content-Type ("200 application/json; charset=utf-8"), the rest its body; a first line
// that does not begin with a digit makes the whole answer a body, under 200 and JSON. The first
// lines CONNECT, AUTH and TRANSFER make the request fail as the transport does (connection
// failed, authentication failed, request failed). Once the script is used up every request fails
// with connection_failed.
class scripted_answers {
public:
    explicit scripted_answers(std::string_view script);

    // The next answer; throws the scripted transport failure.
    rest::response next(const std::string& url);
    // The URLs asked for so far.
    const std::vector<std::string>& urls() const { return urls_; }

private:
    input_reader script_;
    std::vector<std::string> urls_;
};

// A REST client that answers from a script instead of the network, so a whole sensor check can
// be fed arbitrary bodies.
class scripted_transport final : public rest::rest_interface {
public:
    scripted_transport(std::shared_ptr<scripted_answers> answers, std::string base_url)
        : answers_(std::move(answers)), base_url_(std::move(base_url)) {}

    rest::response send_request(const rest::request& request) override;
    rest::response send_request_path(const std::string& path,
                                     const rest::request& request) override;

private:
    std::shared_ptr<scripted_answers> answers_;
    std::string base_url_;
};

}  // namespace zentrova::monitoring_modules::fuzz
