// <windows.h> defines min and max as macros unless told otherwise; a header of ours that calls
// std::min, std::max or numeric_limits<>::max() unguarded stops compiling in a Windows host's
// code. This file includes the public headers after such macros, as a host's code would.
// MinGW's <windows.h> leaves the macros out in C++ and libstdc++'s own headers do not survive
// them (the Windows SDK's standard library does), so the standard library comes first and the
// macros are defined here: what is tested is our headers' own code.
#include <windows.h>

#include <gtest/gtest.h>

#include <bits/stdc++.h>

#ifndef min
#define min(a, b) (((a) < (b)) ? (a) : (b))
#endif
#ifndef max
#define max(a, b) (((a) > (b)) ? (a) : (b))
#endif

#include "framework/channels/dynamic_channel.hpp"
#include "framework/i18n/i18n_msg.hpp"
#include "framework/logging/log_interface.hpp"
#include "framework/messaging/message_service.hpp"
#include "framework/metascans/metascan_base.hpp"
#include "framework/module/sensor_dispatcher.hpp"
#include "framework/module/service_container.hpp"
#include "framework/responses/meta_scan_result.hpp"
#include "framework/responses/sensor_scan_result.hpp"
#include "framework/sensors/sensor_base.hpp"
#include "framework/settings/kind_integer.hpp"
#include "framework/settings/kind_string.hpp"
#include "framework/settings/persistent_data_storage.hpp"
#include "framework/settings/secure_string.hpp"
#include "framework/settings/sensor_data_wrapper.hpp"
#include "module/exports.h"
#include "rest/authentication_provider_interface.hpp"
#include "rest/exceptions.hpp"
#include "rest/rest_factory.hpp"
#include "rest/rest_interface.hpp"

namespace {

namespace framework = zentrova::monitoring_modules::framework;

TEST(MacroGuard, PublicHeadersCompileAndWorkBesideWindowsMinAndMax) {
    // The macros are still in force here: the headers above neither broke on them nor removed
    // them.
    EXPECT_EQ(min(2, 3), 2);
    EXPECT_EQ(max(2, 3), 3);
    framework::settings::validation_rules rules;
    rules.upper_bound = 10;
    EXPECT_EQ(framework::settings::kind_integer::parse_and_validate("7", rules), 7);
    EXPECT_FALSE(framework::settings::kind_integer::parse_and_validate("42", rules).has_value());
    EXPECT_EQ(framework::i18n::i18n_msg::from_key("error.request_failed", {"detail"}).text(),
              "#:error.request_failed[detail]");
}

}  // namespace
