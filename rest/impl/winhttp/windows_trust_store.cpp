#include "rest/impl/winhttp/windows_trust_store.hpp"

// clang-format off
#include <windows.h>
#include <wincrypt.h>
// clang-format on

#include <cstddef>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "rest/impl/base64.hpp"
#include "rest/impl/winhttp/winhttp_text.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

struct store_closer {
    void operator()(void* store) const noexcept { ::CertCloseStore(store, 0); }
};
using store_handle = std::unique_ptr<void, store_closer>;

struct engine_closer {
    void operator()(void* engine) const noexcept {
        ::CertFreeCertificateChainEngine(static_cast<HCERTCHAINENGINE>(engine));
    }
};

struct chain_closer {
    void operator()(const CERT_CHAIN_CONTEXT* chain) const noexcept {
        ::CertFreeCertificateChain(chain);
    }
};

store_handle memory_store() {
    store_handle store(
        ::CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, CERT_STORE_CREATE_NEW_FLAG, nullptr));
    if (!store) {
        throw std::runtime_error("cannot make a certificate store in memory: " +
                                 windows_error_text(::GetLastError()));
    }
    return store;
}

// The DER bytes of every "BEGIN CERTIFICATE" block of a PEM text, in order.
std::vector<std::string> pem_certificates(const std::string& text, const std::string& file) {
    constexpr std::string_view begin = "-----BEGIN CERTIFICATE-----";
    constexpr std::string_view end = "-----END CERTIFICATE-----";
    std::vector<std::string> certificates;
    for (auto start = text.find(begin); start != std::string::npos;
         start = text.find(begin, start)) {
        start += begin.size();
        const auto stop = text.find(end, start);
        if (stop == std::string::npos) {
            throw std::invalid_argument("the CA bundle '" + file +
                                        "' holds a damaged certificate: a certificate block "
                                        "does not end");
        }
        std::string base64;
        for (auto index = start; index < stop; ++index) {
            const char character = text[index];
            if (character != '\r' && character != '\n' && character != ' ' && character != '\t') {
                base64 += character;
            }
        }
        try {
            certificates.push_back(base64_decode(base64));
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument("the CA bundle '" + file +
                                        "' holds a damaged certificate: " + error.what());
        }
        start = stop + end.size();
    }
    return certificates;
}

// Why a chain does not stand, in words, from the trust status bits.
std::string chain_problem(DWORD status) {
    if ((status & CERT_TRUST_IS_UNTRUSTED_ROOT) != 0U ||
        (status & CERT_TRUST_IS_PARTIAL_CHAIN) != 0U) {
        return "it is not signed by a trusted certificate authority (neither the system's nor "
               "the CA bundle's)";
    }
    if ((status & CERT_TRUST_IS_NOT_TIME_VALID) != 0U) {
        return "it has expired or is not yet valid";
    }
    if ((status & CERT_TRUST_IS_NOT_VALID_FOR_USAGE) != 0U) {
        return "it is not meant for TLS servers";
    }
    if ((status & CERT_TRUST_IS_REVOKED) != 0U) {
        return "it has been revoked";
    }
    if ((status & CERT_TRUST_IS_NOT_SIGNATURE_VALID) != 0U) {
        return "its signature is not valid";
    }
    return "its chain does not stand (trust status " + std::to_string(status) + ")";
}

}  // namespace

struct windows_trust_store::stores {
    store_handle roots;  // the bundle's CAs and the system's roots
    std::unique_ptr<void, engine_closer> engine;
    std::size_t bundle_size = 0;
};

// The system's default chain engine, the one WinHTTP checks with: a copy of the system's roots
// would miss the roots Windows fetches only when a chain first needs them.
windows_trust_store::windows_trust_store() : stores_(std::make_unique<stores>()) {}

windows_trust_store::windows_trust_store(const std::string& pem_file)
    : stores_(std::make_unique<stores>()) {
    std::ifstream file(widen(pem_file).c_str(), std::ios::binary);
    if (!file) {
        throw std::invalid_argument("the CA bundle '" + pem_file +
                                    "' cannot be opened: no such file or no permission");
    }
    std::stringstream text;
    text << file.rdbuf();
    const auto certificates = pem_certificates(text.str(), pem_file);
    if (certificates.empty()) {
        throw std::invalid_argument("the CA bundle '" + pem_file +
                                    "' holds no PEM certificate (-----BEGIN CERTIFICATE-----)");
    }

    stores_->roots = memory_store();
    for (const auto& der : certificates) {
        const auto* bytes = reinterpret_cast<const BYTE*>(  // NOLINT: DER bytes as the API takes
            der.data());
        if (!::CertAddEncodedCertificateToStore(stores_->roots.get(), X509_ASN_ENCODING, bytes,
                                                static_cast<DWORD>(der.size()),
                                                CERT_STORE_ADD_REPLACE_EXISTING, nullptr)) {
            throw std::invalid_argument(
                "the CA bundle '" + pem_file +
                "' holds a damaged certificate: " + windows_error_text(::GetLastError()));
        }
        ++stores_->bundle_size;
    }

    finish();
}

// The system's roots join the bundle's, so that an extra CA adds trust and takes none away; the
// chain engine trusts exactly these roots.
void windows_trust_store::finish() {
    const store_handle system_roots(::CertOpenSystemStoreW(0, L"ROOT"));
    if (system_roots) {
        const CERT_CONTEXT* root = nullptr;
        while ((root = ::CertEnumCertificatesInStore(system_roots.get(), root)) != nullptr) {
            ::CertAddCertificateContextToStore(stores_->roots.get(), root,
                                               CERT_STORE_ADD_USE_EXISTING, nullptr);
        }
    }

    CERT_CHAIN_ENGINE_CONFIG config{};
    // The Windows 7 layout, which ends after the exclusive stores: every system since accepts
    // it, while Windows 8's longer one (dwExclusiveFlags, unused here) is refused by Wine.
    config.cbSize = static_cast<DWORD>(offsetof(CERT_CHAIN_ENGINE_CONFIG, hExclusiveTrustedPeople) +
                                       sizeof(config.hExclusiveTrustedPeople));
    config.hExclusiveRoot = stores_->roots.get();
    HCERTCHAINENGINE engine = nullptr;
    if (!::CertCreateCertificateChainEngine(&config, &engine)) {
        throw std::runtime_error("cannot make a certificate chain engine for the trusted CAs: " +
                                 windows_error_text(::GetLastError()));
    }
    stores_->engine.reset(engine);
}

windows_trust_store::~windows_trust_store() = default;

std::string windows_trust_store::verify(const void* certificate, const std::string& host) const {
    const auto* server = static_cast<const CERT_CONTEXT*>(certificate);
    if (server == nullptr) {
        return "the server sent no certificate";
    }

    char server_authentication[] = szOID_PKIX_KP_SERVER_AUTH;
    char* usages[] = {server_authentication};
    CERT_CHAIN_PARA parameters{};
    parameters.cbSize = sizeof(parameters);
    parameters.RequestedUsage.dwType = USAGE_MATCH_TYPE_AND;
    parameters.RequestedUsage.Usage.cUsageIdentifier = 1;
    parameters.RequestedUsage.Usage.rgpszUsageIdentifier = usages;

    const CERT_CHAIN_CONTEXT* raw_chain = nullptr;
    // The intermediates the server sent travel in the certificate's own store.
    // No engine of its own: the system's default one (null).
    if (!::CertGetCertificateChain(static_cast<HCERTCHAINENGINE>(stores_->engine.get()), server,
                                   nullptr, server->hCertStore, &parameters, 0, nullptr,
                                   &raw_chain)) {
        return "its chain cannot be built: " + windows_error_text(::GetLastError());
    }
    const std::unique_ptr<const CERT_CHAIN_CONTEXT, chain_closer> chain(raw_chain);
    if (chain->TrustStatus.dwErrorStatus != CERT_TRUST_NO_ERROR) {
        return chain_problem(chain->TrustStatus.dwErrorStatus);
    }

    std::wstring server_name = widen(host);
    SSL_EXTRA_CERT_CHAIN_POLICY_PARA ssl{};
    ssl.cbSize = sizeof(ssl);
    ssl.dwAuthType = AUTHTYPE_SERVER;
    ssl.pwszServerName = server_name.data();
    CERT_CHAIN_POLICY_PARA policy{};
    policy.cbSize = sizeof(policy);
    policy.pvExtraPolicyPara = &ssl;
    CERT_CHAIN_POLICY_STATUS status{};
    status.cbSize = sizeof(status);
    if (!::CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_SSL, chain.get(), &policy, &status)) {
        return "its chain cannot be checked: " + windows_error_text(::GetLastError());
    }
    switch (static_cast<HRESULT>(status.dwError)) {
        case S_OK:
            return {};
        case CERT_E_CN_NO_MATCH:
            return "it is not made out to the host name '" + host + "'";
        case CERT_E_UNTRUSTEDROOT:
        case CERT_E_UNTRUSTEDCA:
        case CERT_E_CHAINING:
            return chain_problem(CERT_TRUST_IS_UNTRUSTED_ROOT);
        case CERT_E_EXPIRED:
            return chain_problem(CERT_TRUST_IS_NOT_TIME_VALID);
        case CERT_E_WRONG_USAGE:
            return chain_problem(CERT_TRUST_IS_NOT_VALID_FOR_USAGE);
        default:
            return "the TLS server policy refuses it: " + windows_error_text(status.dwError);
    }
}

std::size_t windows_trust_store::size() const {
    return stores_->bundle_size;
}

}  // namespace zentrova::monitoring_modules::rest::impl
