#include "host/closest_name.hpp"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace zentrova::monitoring_modules::host {
namespace {

// Levenshtein distance, one row at a time.
std::size_t edits_between(const std::string& from, const std::string& to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t above = row[j];
            row[j] = std::min(
                {row[j] + 1, row[j - 1] + 1, diagonal + (from[i - 1] == to[j - 1] ? 0 : 1)});
            diagonal = above;
        }
    }
    return row[to.size()];
}

}  // namespace

std::string closest_name(const std::string& name, const std::vector<std::string>& candidates) {
    std::string best;
    std::size_t fewest = 0;
    for (const auto& candidate : candidates) {
        const std::size_t edits = edits_between(name, candidate);
        if (best.empty() || edits < fewest) {
            best = candidate;
            fewest = edits;
        }
    }
    return best;
}

}  // namespace zentrova::monitoring_modules::host
