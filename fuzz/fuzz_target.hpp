#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Every fuzz target is written once and built twice: by clang with libFuzzer (`make fuzz`), where
// its body is the LLVMFuzzerTestOneInput entry point, and by the normal compiler into the replay
// test (tests/reliability), where each body is a named function so that one test executable holds
// them all and CI replays every seed and regression input on every run.
#if defined(MICROSOFTAZURE_FUZZ_REPLAY)
#define MICROSOFTAZURE_FUZZ_TARGET(name) int fuzz_##name(const std::uint8_t* data, std::size_t size)
#else
#define MICROSOFTAZURE_FUZZ_TARGET(name) \
    extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
#endif

// The targets, for the replay test: X(name) for each.
#define MICROSOFTAZURE_FUZZ_TARGETS(X) \
    X(json_query)                      \
    X(url)                             \
    X(settings)                        \
    X(token_response)                  \
    X(response_check)                  \
    X(sensor_check)

namespace zentrova::monitoring_modules::fuzz {

// A property of the code under test that an input broke. Not a std::exception, so that no
// handler of the code under test can swallow it.
struct invariant_broken {
    std::string what;
};

// Stops the run when `holds` is false. Under libFuzzer the message goes to standard error and
// the process aborts, so the input is kept as a crash; in the replay test it is thrown.
void require(bool holds, std::string_view what);

// Reads a fuzz input from the front: lines first, then whatever is left.
class input_reader {
public:
    input_reader(const std::uint8_t* data, std::size_t size)
        : text_(reinterpret_cast<const char*>(data), size) {}  // NOLINT: bytes as text
    explicit input_reader(std::string_view text) : text_(text) {}

    // The text up to the next line break (which is consumed), or all that is left.
    std::string_view line();
    // The text up to `separator` (which is consumed), or all that is left.
    std::string_view until(std::string_view separator);
    // The status code on the next line; a line that holds none gives 200, so bodies alone fuzz too.
    std::int32_t status_line();
    std::string_view rest() const { return text_; }
    bool empty() const { return text_.empty(); }

private:
    std::string_view text_;
};

}  // namespace zentrova::monitoring_modules::fuzz
