#pragma once

#include <exception>
#include <string>

namespace zentrova::monitoring_modules::rest::exceptions {

// Base of every failure of the REST client. The message is the failure's fixed text, followed
// by ": " and the details when there are any; the details alone stay readable through details().
class exception : public std::exception {
public:
    exception(const std::string& text, std::string details);

    const char* what() const noexcept override { return message_.c_str(); }
    const std::string& details() const noexcept { return details_; }

private:
    std::string message_;
    std::string details_;
};

// The HTTP engine refused a header (a name or value it cannot send).
class add_header_failed : public exception {
public:
    explicit add_header_failed(const std::string& name, std::string details = {});
};

// The authentication provider could not obtain credentials.
class authentication_failed : public exception {
public:
    explicit authentication_failed(std::string details = {});
};

// The TCP or TLS connection could not be made (name resolution, refusal, handshake, certificate).
class connection_failed : public exception {
public:
    explicit connection_failed(std::string details = {});
};

// A cookie looked up by name is missing.
class cookie_not_found : public exception {
public:
    explicit cookie_not_found(const std::string& name, std::string details = {});
};

// A header looked up by name is missing.
class header_not_found : public exception {
public:
    explicit header_not_found(const std::string& name, std::string details = {});
};

// The request's method does not fit the request (a body with a method other than POST).
class invalid_method : public exception {
public:
    explicit invalid_method(std::string details = {});
};

// A URL could not be split into its parts or names nothing a request can go to.
class invalid_url : public exception {
public:
    explicit invalid_url(const std::string& url, std::string details = {});
};

// The URL carries user information while an authentication provider is configured too.
class multiple_authentication_methods : public exception {
public:
    explicit multiple_authentication_methods(std::string details = {});
};

// The request could not be sent or its response not read, or the response was not a success.
class request_failed : public exception {
public:
    explicit request_failed(std::string details = {});
};

}  // namespace zentrova::monitoring_modules::rest::exceptions
