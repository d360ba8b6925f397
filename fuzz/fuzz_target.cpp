#include "fuzz/fuzz_target.hpp"

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
