#include "emulator/tls_identity.hpp"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace zentrova::monitoring_modules::emulator {
namespace {

template <typename T, void (*Free)(T*)>
struct openssl_deleter {
    void operator()(T* p) const { Free(p); }
};
using pkey_ptr = std::unique_ptr<EVP_PKEY, openssl_deleter<EVP_PKEY, EVP_PKEY_free>>;
using x509_ptr = std::unique_ptr<X509, openssl_deleter<X509, X509_free>>;
using bio_ptr = std::unique_ptr<BIO, openssl_deleter<BIO, BIO_free_all>>;
using extension_ptr =
    std::unique_ptr<X509_EXTENSION, openssl_deleter<X509_EXTENSION, X509_EXTENSION_free>>;

[[noreturn]] void fail(const std::string& what) {
    unsigned long code = ERR_get_error();
    std::string reason = code != 0 ? ERR_error_string(code, nullptr) : "no reason given";
    ERR_clear_error();
    throw std::runtime_error("TLS identity: " + what + " failed: " + reason);
}

pkey_ptr make_key() {
    pkey_ptr key(EVP_EC_gen("P-256"));
    if (!key) {
        fail("generating an EC key");
    }
    return key;
}

void add_extension(X509* cert, X509* issuer, int nid, const std::string& value) {
    X509V3_CTX ctx;
    X509V3_set_ctx_nodb(&ctx);
    X509V3_set_ctx(&ctx, issuer, cert, nullptr, nullptr, 0);
    extension_ptr ext(X509V3_EXT_conf_nid(nullptr, &ctx, nid, value.c_str()));
    if (!ext || X509_add_ext(cert, ext.get(), -1) != 1) {
        fail("adding certificate extension " + value);
    }
}

x509_ptr make_certificate(EVP_PKEY* key, const std::string& common_name, X509* issuer) {
    x509_ptr cert(X509_new());
    if (!cert) {
        fail("allocating a certificate");
    }
    X509_set_version(cert.get(), 2);
    unsigned char serial[16];
    if (RAND_bytes(serial, sizeof serial) != 1) {
        fail("drawing a serial number");
    }
    serial[0] &= 0x7f;  // serial numbers are positive
    BIGNUM* bn = BN_bin2bn(serial, sizeof serial, nullptr);
    BN_to_ASN1_INTEGER(bn, X509_get_serialNumber(cert.get()));
    BN_free(bn);
    // Valid from an hour ago so that small clock differences between processes don't matter.
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), 60L * 60 * 24 * 365);
    X509_set_pubkey(cert.get(), key);
    X509_NAME* name = X509_get_subject_name(cert.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(common_name.c_str()), -1, -1,
                               0);
    X509* signer = issuer != nullptr ? issuer : cert.get();
    X509_set_issuer_name(cert.get(), X509_get_subject_name(signer));
    add_extension(cert.get(), signer, NID_subject_key_identifier, "hash");
    if (issuer != nullptr) {
        add_extension(cert.get(), signer, NID_authority_key_identifier, "keyid:always");
    }
    return cert;
}

void sign(X509* cert, EVP_PKEY* key) {
    if (X509_sign(cert, key, EVP_sha256()) == 0) {
        fail("signing a certificate");
    }
}

std::string to_pem(X509* cert) {
    bio_ptr bio(BIO_new(BIO_s_mem()));
    if (!bio || PEM_write_bio_X509(bio.get(), cert) != 1) {
        fail("writing a certificate as PEM");
    }
    char* data = nullptr;
    long size = BIO_get_mem_data(bio.get(), &data);
    return std::string(data, static_cast<size_t>(size));
}

std::string to_pem(EVP_PKEY* key) {
    bio_ptr bio(BIO_new(BIO_s_mem()));
    if (!bio ||
        PEM_write_bio_PrivateKey(bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr) != 1) {
        fail("writing a private key as PEM");
    }
    char* data = nullptr;
    long size = BIO_get_mem_data(bio.get(), &data);
    return std::string(data, static_cast<size_t>(size));
}

void write_file(const std::filesystem::path& path, const std::string& text, bool secret) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) {
        throw std::runtime_error("TLS identity: cannot write " + path.string() +
                                 ": check that the directory exists and is writable");
    }
    out << text;
    out.close();
    if (!out) {
        throw std::runtime_error("TLS identity: writing " + path.string() + " failed");
    }
    if (secret) {
        ::chmod(path.c_str(), S_IRUSR | S_IWUSR);
    }
}

}  // namespace

tls_identity tls_identity::generate(const std::vector<std::string>& dns_names,
                                    const std::vector<std::string>& ip_addresses) {
    pkey_ptr ca_key = make_key();
    x509_ptr ca = make_certificate(ca_key.get(), "Local test CA", nullptr);
    add_extension(ca.get(), ca.get(), NID_basic_constraints, "critical,CA:TRUE");
    add_extension(ca.get(), ca.get(), NID_key_usage, "critical,keyCertSign,cRLSign");
    sign(ca.get(), ca_key.get());

    std::string alt_names;
    for (const auto& dns : dns_names) {
        alt_names += (alt_names.empty() ? "DNS:" : ",DNS:") + dns;
    }
    for (const auto& ip : ip_addresses) {
        alt_names += (alt_names.empty() ? "IP:" : ",IP:") + ip;
    }
    const std::string common_name = !dns_names.empty()      ? dns_names.front()
                                    : !ip_addresses.empty() ? ip_addresses.front()
                                                            : "server";
    pkey_ptr key = make_key();
    x509_ptr cert = make_certificate(key.get(), common_name, ca.get());
    add_extension(cert.get(), ca.get(), NID_basic_constraints, "critical,CA:FALSE");
    add_extension(cert.get(), ca.get(), NID_key_usage, "critical,digitalSignature");
    add_extension(cert.get(), ca.get(), NID_ext_key_usage, "serverAuth");
    if (!alt_names.empty()) {
        add_extension(cert.get(), ca.get(), NID_subject_alt_name, alt_names);
    }
    sign(cert.get(), ca_key.get());

    return tls_identity{to_pem(ca.get()), to_pem(cert.get()), to_pem(key.get())};
}

tls_identity tls_identity::for_loopback() {
    return generate({"localhost"}, {"127.0.0.1"});
}

tls_identity_files write_tls_identity(const tls_identity& identity, const std::string& directory) {
    std::error_code ec;
    std::filesystem::create_directories(directory, ec);
    if (ec) {
        throw std::runtime_error("TLS identity: cannot create directory " + directory + ": " +
                                 ec.message());
    }
    const std::filesystem::path dir(directory);
    tls_identity_files files{(dir / "ca.pem").string(), (dir / "server.pem").string(),
                             (dir / "server.key").string()};
    write_file(files.ca_file, identity.ca_certificate_pem, false);
    write_file(files.certificate_file, identity.server_certificate_pem, false);
    write_file(files.private_key_file, identity.server_private_key_pem, true);
    return files;
}

}  // namespace zentrova::monitoring_modules::emulator
