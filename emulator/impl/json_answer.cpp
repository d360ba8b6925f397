#include "emulator/impl/json_answer.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

http_answer json_answer(const jsoncons::ojson& body, int status) {
    http_answer answer;
    answer.status = status;
    body.dump(answer.body);
    return answer;
}

}  // namespace zentrova::monitoring_modules::emulator::impl
