// Replays every fuzz target's seed corpus and regression inputs (fuzz/corpus/<target>,
// fuzz/regressions/<target>) through the target built with the normal compiler, so that CI
// keeps every finding fixed, under the sanitizers too.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "fuzz/fuzz_target.hpp"

#define MICROSOFTAZURE_DECLARE_FUZZ_TARGET(name) \
    int fuzz_##name(const std::uint8_t* data, std::size_t size);
MICROSOFTAZURE_FUZZ_TARGETS(MICROSOFTAZURE_DECLARE_FUZZ_TARGET)
#undef MICROSOFTAZURE_DECLARE_FUZZ_TARGET

namespace zentrova::monitoring_modules::testing {
namespace {

namespace fs = std::filesystem;

struct fuzz_target {
    std::string name;
    int (*run)(const std::uint8_t*, std::size_t);
};

void PrintTo(const fuzz_target& target, std::ostream* out) {
    *out << target.name;
}

std::vector<fuzz_target> fuzz_targets() {
    return {
#define MICROSOFTAZURE_LIST_FUZZ_TARGET(name) {#name, &fuzz_##name},
        MICROSOFTAZURE_FUZZ_TARGETS(MICROSOFTAZURE_LIST_FUZZ_TARGET)
#undef MICROSOFTAZURE_LIST_FUZZ_TARGET
    };
}

// The files of fuzz/<collection>/<target>, in name order.
std::vector<fs::path> inputs_of(const std::string& target, const std::string& collection) {
    std::vector<fs::path> files;
    const fs::path directory = fs::path(MICROSOFTAZURE_FUZZ_DIR) / collection / target;
    if (fs::is_directory(directory)) {
        for (const auto& entry : fs::directory_iterator(directory)) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

class FuzzReplay : public ::testing::TestWithParam<fuzz_target> {};

TEST_P(FuzzReplay, EverySeedAndRegressionInputPasses) {
    auto inputs = inputs_of(GetParam().name, "corpus");
    EXPECT_FALSE(inputs.empty()) << "fuzz/corpus/" << GetParam().name << " holds no seed";
    const auto regressions = inputs_of(GetParam().name, "regressions");
    inputs.insert(inputs.end(), regressions.begin(), regressions.end());
    for (const auto& file : inputs) {
        std::ifstream in(file, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(in),
                                std::istreambuf_iterator<char>()};
        try {
            GetParam().run(reinterpret_cast<const std::uint8_t*>(bytes.data()),  // NOLINT
                           bytes.size());
        } catch (const fuzz::invariant_broken& broken) {
            ADD_FAILURE() << file << ": " << broken.what;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryTarget, FuzzReplay, ::testing::ValuesIn(fuzz_targets()),
                         [](const ::testing::TestParamInfo<fuzz_target>& info) {
                             return info.param.name;
                         });

}  // namespace
}  // namespace zentrova::monitoring_modules::testing
