#pragma once

#include <openssl/types.h>

namespace zentrova::monitoring_modules::emulator::impl {

// Holds back what TLS writes while one response is being written, so that the status line,
// the headers and the body reach the socket in one write instead of one per part. With
// TCP_NODELAY that is one segment for a small answer, and no part of it waits for the
// client's delayed ACK. It sits as a filter between the TLS connection and its socket.
// Each call touches only the given connection, which one thread owns at a time.
class response_coalescer {
public:
    // Installs the filter on first use, then collects writes until finish().
    static void begin(SSL* ssl);
    // Sends what was collected and lets later writes (alerts, 100 Continue) pass straight
    // through. False when the socket refused the data.
    static bool finish(SSL* ssl);
};

}  // namespace zentrova::monitoring_modules::emulator::impl
