#pragma once

#include "tests/support/failure_text.hpp"

namespace zentrova::monitoring_modules::rest::testing {

using monitoring_modules::testing::failure_text;

}  // namespace zentrova::monitoring_modules::rest::testing
