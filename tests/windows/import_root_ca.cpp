// import-root-ca: adds the CA certificates of a PEM file to the machine's trusted root store.
// The Windows test suite runs it once inside its own Wine prefix, so that the emulator's CA is
// trusted the way a real deployment trusts a CA: through the Windows store. The module never
// does this itself. Importing what is already there changes nothing.
// clang-format off
#include <windows.h>
#include <wincrypt.h>
// clang-format on

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "rest/impl/base64.hpp"

namespace {

int fail(const std::string& what) {
    std::fprintf(stderr, "import-root-ca: %s (error %lu)\n", what.c_str(), ::GetLastError());
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: import-root-ca FILE.pem\n");
        return 2;
    }
    std::ifstream file(argv[1], std::ios::binary);
    if (!file) {
        return fail(std::string("cannot open ") + argv[1]);
    }
    std::stringstream text;
    text << file.rdbuf();
    const std::string pem = text.str();

    HCERTSTORE store =
        ::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_LOCAL_MACHINE, L"Root");
    if (store == nullptr) {
        return fail("cannot open the machine's root store");
    }
    const std::string begin = "-----BEGIN CERTIFICATE-----";
    const std::string end = "-----END CERTIFICATE-----";
    int imported = 0;
    for (auto start = pem.find(begin); start != std::string::npos; start = pem.find(begin, start)) {
        start += begin.size();
        const auto stop = pem.find(end, start);
        if (stop == std::string::npos) {
            break;
        }
        std::string base64;
        for (auto index = start; index < stop; ++index) {
            if (pem[index] != '\r' && pem[index] != '\n') {
                base64 += pem[index];
            }
        }
        const std::string der = zentrova::monitoring_modules::rest::impl::base64_decode(base64);
        if (!::CertAddEncodedCertificateToStore(
                store, X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(der.data()),
                static_cast<DWORD>(der.size()), CERT_STORE_ADD_USE_EXISTING, nullptr)) {
            ::CertCloseStore(store, 0);
            return fail("cannot add a certificate of " + std::string(argv[1]));
        }
        ++imported;
        start = stop + end.size();
    }
    ::CertCloseStore(store, 0);
    if (imported == 0) {
        std::fprintf(stderr, "import-root-ca: %s holds no certificate\n", argv[1]);
        return 1;
    }
    std::printf("import-root-ca: %d certificate(s) of %s trusted\n", imported, argv[1]);
    return 0;
}
