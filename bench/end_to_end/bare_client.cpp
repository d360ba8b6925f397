#include "bench/end_to_end/bare_client.hpp"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace zentrova::monitoring_modules::bench {
namespace {

struct easy_deleter {
    void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
};
struct slist_deleter {
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
};
using header_slist = std::unique_ptr<curl_slist, slist_deleter>;

size_t keep_body(char* data, size_t size, size_t count, void* body) {
    static_cast<std::string*>(body)->append(data, size * count);
    return size * count;
}

bool same_name(const std::string& left, const char* right) {
    const std::string other(right);
    return left.size() == other.size() &&
           std::equal(left.begin(), left.end(), other.begin(), [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) ==
                      std::tolower(static_cast<unsigned char>(b));
           });
}

void append(header_slist& list, const std::string& line) {
    curl_slist* longer = curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr) {
        throw std::bad_alloc();
    }
    static_cast<void>(list.release());
    list.reset(longer);
}

// The header lines of a request as the module sent them, and libcurl's own additions that the
// module switches off (Accept, Expect, a default Content-Type) switched off here too.
header_slist header_lines(const captured_request& request) {
    header_slist list;
    bool has_accept = false;
    bool has_content_type = false;
    for (const auto& [name, value] : request.headers) {
        has_accept = has_accept || same_name(name, "Accept");
        has_content_type = has_content_type || same_name(name, "Content-Type");
        std::string line = name;
        if (value.empty()) {
            line += ';';  // libcurl sends "Name:" with no value for "Name;"
        } else {
            line.append(": ").append(value);
        }
        append(list, line);
    }
    if (!has_accept) {
        append(list, "Accept:");
    }
    if (request.method == "POST") {
        append(list, "Expect:");
        if (!has_content_type) {
            append(list, "Content-Type:");
        }
    }
    return list;
}

}  // namespace

struct bare_client::prepared {
    struct request {
        captured_request captured;
        header_slist headers;
    };
    std::unique_ptr<CURL, easy_deleter> handle;
    std::vector<std::vector<request>> checks;
    std::string body;
};

bare_client::bare_client(const std::string& ca_file, const std::vector<captured_check>& checks)
    : prepared_(std::make_unique<prepared>()) {
    prepared_->handle.reset(curl_easy_init());
    CURL* handle = prepared_->handle.get();
    if (handle == nullptr) {
        throw std::runtime_error("libcurl cannot make an easy handle");
    }
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_CAINFO, ca_file.c_str());
    curl_easy_setopt(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(handle, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &keep_body);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &prepared_->body);
    for (const auto& check : checks) {
        auto& requests = prepared_->checks.emplace_back();
        for (const auto& request : check) {
            requests.push_back({request, header_lines(request)});
        }
    }
}

bare_client::~bare_client() = default;

bool bare_client::run_check(std::size_t variant) {
    CURL* handle = prepared_->handle.get();
    for (const auto& request : prepared_->checks.at(variant % prepared_->checks.size())) {
        const auto& captured = request.captured;
        prepared_->body.clear();
        curl_easy_setopt(handle, CURLOPT_URL, captured.url.c_str());
        curl_easy_setopt(handle, CURLOPT_HTTPHEADER, request.headers.get());
        if (captured.method == "POST") {
            curl_easy_setopt(handle, CURLOPT_POSTFIELDS, captured.body.c_str());
            curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE,
                             static_cast<curl_off_t>(captured.body.size()));
        } else {
            curl_easy_setopt(handle, CURLOPT_HTTPGET, 1L);
        }
        long status = 0;
        if (curl_easy_perform(handle) != CURLE_OK ||
            curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status) != CURLE_OK ||
            status < 200 || status > 299) {
            return false;
        }
    }
    return true;
}

}  // namespace zentrova::monitoring_modules::bench
