#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>
#ifndef _WIN32
#include <unistd.h>
#endif

namespace zentrova::monitoring_modules::testing {

// A fresh folder under the system's temporary one for the running test, named after the process
// and the test so that no two runs share it; removed with the object. Make it while the test
// runs (in a fixture's members or SetUp).
class scratch_directory {
public:
    explicit scratch_directory(const std::string& prefix)
        : path_(std::filesystem::temp_directory_path() /
                (prefix + "-" + std::to_string(::getpid()) + "-" +
                 ::testing::UnitTest::GetInstance()->current_test_info()->name())) {
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    ~scratch_directory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    scratch_directory(const scratch_directory&) = delete;
    scratch_directory& operator=(const scratch_directory&) = delete;

    const std::filesystem::path& path() const { return path_; }

    // The text of a file in the folder ("" when there is none).
    std::string read(const std::filesystem::path& name) const {
        std::ifstream in(path_ / name);
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }

private:
    std::filesystem::path path_;
};

}  // namespace zentrova::monitoring_modules::testing
