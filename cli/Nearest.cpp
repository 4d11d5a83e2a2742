// SPDX-License-Identifier: Apache-2.0
#include "Nearest.h"

#include <algorithm>
#include <cstddef>

#include <fmt/format.h>

namespace obstool {

namespace {

/// How many letters have to be left out, added, changed or swapped with their neighbour.
std::size_t distanceOf(std::string_view a, std::string_view b) {
    std::vector<std::size_t> before(b.size() + 1), above(b.size() + 1), row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) above[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
        std::swap(before, above);
        std::swap(above, row);
    }
    return above[b.size()];
}

}  // namespace

std::string nearest(std::string_view word, const std::vector<std::string>& candidates) {
    constexpr std::size_t kLongest = 64, kFewestOfStart = 3;
    if (word.empty() || word.size() > kLongest) return {};
    std::string best;
    std::size_t least = std::max<std::size_t>(1, word.size() / 3) + 1;
    for (const std::string& candidate : candidates) {
        const std::size_t distance = distanceOf(word, candidate);
        if (distance >= least) continue;
        least = distance;
        best = candidate;
    }
    if (!best.empty() || word.size() < kFewestOfStart) return best;
    const auto begun = std::find_if(candidates.begin(), candidates.end(),
                                    [&](const std::string& candidate) { return candidate.starts_with(word); });
    return begun == candidates.end() ? std::string() : *begun;
}

std::string didYouMean(std::string_view word, const std::vector<std::string>& candidates) {
    const std::string meant = nearest(word, candidates);
    return meant.empty() ? std::string() : fmt::format("; did you mean '{}'?", meant);
}

}  // namespace obstool
