#include "rest/impl/recent_urls.hpp"

#include <algorithm>

namespace zentrova::monitoring_modules::rest::impl {

const parsed_url& recent_urls::parse(const std::string& text) {
    const auto known = std::find_if(urls_.begin(), urls_.end(),
                                    [&](const parsed_url& url) { return url.text == text; });
    if (known != urls_.end()) {
        return *known;
    }
    parsed_url url = parse_url(text);
    if (urls_.size() < capacity_) {
        urls_.push_back(std::move(url));
        return urls_.back();
    }
    parsed_url& replaced = urls_[next_replaced_];
    next_replaced_ = (next_replaced_ + 1) % capacity_;
    replaced = std::move(url);
    return replaced;
}

}  // namespace zentrova::monitoring_modules::rest::impl
