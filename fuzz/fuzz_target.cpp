#include "fuzz/fuzz_target.hpp"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace zentrova::monitoring_modules::fuzz {

void require(bool holds, std::string_view what) {
    if (holds) {
        return;
    }
#if defined(MICROSOFTAZURE_FUZZ_REPLAY)
    throw invariant_broken{std::string(what)};
#else
    std::fprintf(stderr, "invariant broken: %.*s\n", static_cast<int>(what.size()), what.data());
    std::abort();
#endif
}

std::string_view input_reader::line() {
    return until("\n");
}

std::int32_t input_reader::status_line() {
    const std::string_view text = line();
    std::int32_t status = 200;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), status);
    static_cast<void>(end);
    return error == std::errc() ? status : 200;
}

std::string_view input_reader::until(std::string_view separator) {
    const auto end = text_.find(separator);
    if (end == std::string_view::npos) {
        return std::exchange(text_, {});
    }
    const std::string_view part = text_.substr(0, end);
    text_.remove_prefix(end + separator.size());
    return part;
}

}  // namespace zentrova::monitoring_modules::fuzz
