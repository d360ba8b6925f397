#pragma once

// The emulator's responders build their answers as jsoncons documents; this header is theirs
// alone (the emulator is a tool, and only its own .cpp files include it).
#include <jsoncons/json.hpp>

#include "emulator/impl/http_exchange.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

inline jsoncons::ojson json_object() {
    return jsoncons::ojson(jsoncons::json_object_arg);
}
inline jsoncons::ojson json_array() {
    return jsoncons::ojson(jsoncons::json_array_arg);
}

// A JSON answer with the given status, its body written compactly.
http_answer json_answer(const jsoncons::ojson& body, int status = 200);

}  // namespace zentrova::monitoring_modules::emulator::impl
