#include "rest/impl/curl/curl_library.hpp"

#include <string>

#include "rest/impl/curl/shared_object.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

std::string version_text(unsigned int version) {
    return std::to_string((version >> 16U) & 0xffU) + "." +
           std::to_string((version >> 8U) & 0xffU) + "." + std::to_string(version & 0xffU);
}

}  // namespace

const curl_library& curl_library::get() {
    // A constructor that throws leaves the static unset, so the next call tries again.
    static const curl_library process_copy(default_name);
    return process_copy;
}

curl_library::curl_library(const std::string& name) {
    const shared_object library(name, "the HTTP engine cannot be loaded",
                                "install Debian's libcurl4 package (libcurl built with OpenSSL)");
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, global_init, curl_global_init);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, global_cleanup, curl_global_cleanup);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, version_info, curl_version_info);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, easy_init, curl_easy_init);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, easy_cleanup, curl_easy_cleanup);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, easy_setopt, curl_easy_setopt);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, easy_getinfo, curl_easy_getinfo);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, easy_strerror, curl_easy_strerror);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, multi_init, curl_multi_init);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, multi_cleanup, curl_multi_cleanup);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, multi_setopt, curl_multi_setopt);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, multi_add_handle, curl_multi_add_handle);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, multi_remove_handle, curl_multi_remove_handle);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, multi_perform, curl_multi_perform);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, multi_poll, curl_multi_poll);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, multi_info_read, curl_multi_info_read);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, multi_strerror, curl_multi_strerror);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, share_init, curl_share_init);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, share_cleanup, curl_share_cleanup);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, share_setopt, curl_share_setopt);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, share_strerror, curl_share_strerror);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, slist_append, curl_slist_append);
    MICROSOFTAZURE_RESOLVE_FUNCTION(library, slist_free_all, curl_slist_free_all);

    // An older libcurl would refuse options one by one at the first request; say it here.
    const curl_version_info_data* version = version_info(CURLVERSION_NOW);
    if (version == nullptr || version->version_num < oldest_version) {
        library.fail(name + " is libcurl " +
                     (version != nullptr && version->version != nullptr ? version->version : "?") +
                     ", older than the " + version_text(oldest_version) + " the engine needs");
    }
}

}  // namespace zentrova::monitoring_modules::rest::impl
