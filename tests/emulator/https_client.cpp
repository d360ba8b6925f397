#include "tests/emulator/https_client.hpp"

#include <gtest/gtest.h>
#include <strings.h>

#include <jsoncons/json.hpp>

namespace zentrova::monitoring_modules::emulator::testing {
namespace {

std::size_t on_body(char* data, std::size_t size, std::size_t count, void* out) {
    static_cast<http_result*>(out)->body.append(data, size * count);
    return size * count;
}

std::size_t on_header(char* data, std::size_t size, std::size_t count, void* out) {
    auto* result = static_cast<http_result*>(out);
    std::string line(data, size * count);
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
        line.pop_back();
    }
    if (line.rfind("HTTP/", 0) == 0) {
        result->headers.clear();
        const auto first = line.find(' ');
        const auto second = line.find(' ', first + 1);
        result->reason = second == std::string::npos ? "" : line.substr(second + 1);
    } else if (const auto colon = line.find(':'); colon != std::string::npos) {
        const auto value = line.find_first_not_of(' ', colon + 1);
        result->headers.emplace_back(line.substr(0, colon),
                                     value == std::string::npos ? "" : line.substr(value));
    }
    return size * count;
}

}  // namespace

std::string http_result::header(const std::string& name) const {
    for (const auto& [key, value] : headers) {
        if (strcasecmp(key.c_str(), name.c_str()) == 0) {
            return value;
        }
    }
    return {};
}

https_client::https_client(const std::string& ca_file, long timeout_seconds)
    : handle_(curl_easy_init(), curl_easy_cleanup) {
    CURL* h = handle_.get();
    curl_easy_setopt(h, CURLOPT_CAINFO, ca_file.c_str());
    curl_easy_setopt(h, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(h, CURLOPT_TIMEOUT, timeout_seconds);
    curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, on_body);
    curl_easy_setopt(h, CURLOPT_HEADERFUNCTION, on_header);
}

http_result https_client::get(const std::string& url, const header_list& headers) {
    return perform(url, nullptr, headers);
}

http_result https_client::post(const std::string& url, const std::string& body,
                               const std::string& content_type, const header_list& headers) {
    header_list all = headers;
    all.emplace_back("Content-Type", content_type);
    return perform(url, &body, all);
}

http_result https_client::perform(const std::string& url, const std::string* body,
                                  const header_list& headers) {
    CURL* h = handle_.get();
    http_result result;
    curl_slist* list = nullptr;
    for (const auto& [name, value] : headers) {
        std::string line = name;
        line += ": ";
        line += value;
        list = curl_slist_append(list, line.c_str());
    }
    std::unique_ptr<curl_slist, void (*)(curl_slist*)> owned(list, curl_slist_free_all);
    curl_easy_setopt(h, CURLOPT_URL, url.c_str());
    curl_easy_setopt(h, CURLOPT_HTTPHEADER, list);
    curl_easy_setopt(h, CURLOPT_WRITEDATA, &result);
    curl_easy_setopt(h, CURLOPT_HEADERDATA, &result);
    if (body != nullptr) {
        curl_easy_setopt(h, CURLOPT_POST, 1L);
        curl_easy_setopt(h, CURLOPT_POSTFIELDS, body->c_str());
        curl_easy_setopt(h, CURLOPT_POSTFIELDSIZE, static_cast<long>(body->size()));
    } else {
        curl_easy_setopt(h, CURLOPT_HTTPGET, 1L);
    }
    result.error = curl_easy_perform(h);
    curl_easy_getinfo(h, CURLINFO_RESPONSE_CODE, &result.status);
    curl_easy_setopt(h, CURLOPT_HTTPHEADER, nullptr);
    return result;
}

std::string token_form(const std::string& resource, const std::string& secret,
                       const std::string& client) {
    return "grant_type=client_credentials&client_id=" + client + "&client_secret=" + secret +
           "&resource=" + resource;
}

std::string fetch_token(https_client& client, const azure_emulator& emu) {
    const http_result r =
        client.post(emu.login_url() + "/" + tenant_id + "/oauth2/token",
                    token_form(emu.login_url()), "application/x-www-form-urlencoded");
    EXPECT_EQ(r.status, 200) << r.body;
    if (r.status != 200) {
        return {};
    }
    return jsoncons::json::parse(r.body)["access_token"].as<std::string>();
}

}  // namespace zentrova::monitoring_modules::emulator::testing
