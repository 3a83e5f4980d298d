// SPDX-License-Identifier: BSD-3-Clause
#include "apps/NearestName.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <utility>

namespace TEVRA::apps {

namespace {

std::string letters_of(const std::string& name) {
    std::string letters;
    for (const unsigned char c : name) {
        if (c != '-' && c != '_') {
            letters += static_cast<char>(std::tolower(c));
        }
    }
    return letters;
}

/// Edit distance in which a swap of neighbours is one step (optimal string alignment).
std::size_t typing_errors(const std::string& a, const std::string& b) {
    std::vector<std::size_t> beforeLast;
    std::vector<std::size_t> last(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        last[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::vector<std::size_t> row(b.size() + 1, i);
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t other = a[i - 1] == b[j - 1] ? 0 : 1;
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + other});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
            }
        }
        beforeLast = std::exchange(last, std::move(row));
    }
    return last[b.size()];
}

bool is_part(const std::string& part, const std::string& whole) {
    constexpr std::size_t SHORTEST = 3; // shorter ones are part of too many
    return part.size() >= SHORTEST && whole.find(part) != std::string::npos;
}

} // namespace

std::optional<std::string> NearestName(const std::string& word, const std::vector<std::string>& names) {
    const std::string typed = letters_of(word);
    std::optional<std::string> nearest;
    std::pair<bool, std::size_t> fewest; // part only, errors: the smaller the better
    for (const std::string& name : names) {
        const std::string known = letters_of(name);
        const std::size_t errors = typing_errors(typed, known);
        const bool isTypo = errors <= typed.size() / 3;
        if (!isTypo && !is_part(typed, known) && !is_part(known, typed)) {
            continue;
        }
        const std::pair<bool, std::size_t> rank(!isTypo, errors);
        if (!nearest || rank < fewest) {
            nearest = name;
            fewest = rank;
        }
    }
    return nearest;
}

} // namespace TEVRA::apps
