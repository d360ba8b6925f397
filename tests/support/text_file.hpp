#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace zentrova::monitoring_modules::testing {

// The whole text of a file; "" when there is none (a log the module has not written yet).
inline std::string read_text_file(const std::filesystem::path& path) {
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// `actual` must equal the golden file at `path` (tests/**/data). With MICROSOFTAZURE_UPDATE_GOLDEN
// set the file is rewritten instead, for a change of output that was meant; review its diff.
inline void expect_golden(const std::string& actual, const std::filesystem::path& path) {
    if (std::getenv("MICROSOFTAZURE_UPDATE_GOLDEN") != nullptr) {
        std::ofstream(path, std::ios::binary) << actual;
        return;
    }
    EXPECT_TRUE(std::filesystem::exists(path)) << "no golden file " << path;
    EXPECT_EQ(actual, read_text_file(path))
        << "differs from " << path << " (MICROSOFTAZURE_UPDATE_GOLDEN=1 rewrites it)";
}

}  // namespace zentrova::monitoring_modules::testing
