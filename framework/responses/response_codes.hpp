#pragma once

namespace zentrova::monitoring_modules::framework::responses {

// What the exports return to the host. 0 is success everywhere; 2 (an exception escaped) and
// 3 (no module initialised) are produced by the exports themselves, so none of these uses them.

enum class sensor_create_response_code : int { success = 0, creation_failed = 1, unknown_kind = 4 };

enum class sensor_destroy_response_code : int { success = 0, sensor_not_found = 4 };

enum class check_response_code : int { success = 0, check_failed = 1, sensor_not_found = 4 };

enum class meta_scan_response_code : int { success = 0, scan_failed = 1, unknown_kind = 4 };

enum class sensor_scan_response_code : int { success = 0, scan_failed = 1, sensor_not_found = 4 };

// The outcome inside a scan or meta-scan result.
enum class scan_response_codes : int { ok = 0, error = 3, meta_scan_error = 5 };

}  // namespace zentrova::monitoring_modules::framework::responses
