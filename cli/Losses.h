// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a format cannot carry of the stored observations.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "Formats.h"

namespace obstool {

/// The worst first.
enum class Loss { refused, unreadable, dropped, changed, rounded };

/// A loss of one kind, of all observations of a type or for one reason.
struct LossOfField {
    static constexpr char kSeveralTypes = '-';
    char type;
    std::string_view field;  ///< or the reason that a save gives; empty: the observation as a whole
    std::string_view unit;
    Loss loss;
    std::int64_t observations = 0;
    double largest = 0;                 ///< difference, in `unit`
    std::vector<std::string> examples;  ///< the first ones; none of rounded values
};

struct Losses {
    std::int64_t observations = 0;      ///< examined
    std::vector<LossOfField> ofFields;  ///< by reason, then by type; the worst first
    std::vector<std::string> remarks;

    /// @param exact whether rounding counts.
    bool any(bool exact) const;
};

/// What a save tells of an observation.
struct Told {
    std::int64_t key;
    std::int32_t kind;  ///< OBS_SAVE_...
    std::string_view reason;
};

/// All that a save tells, by ascending key.
std::vector<Told> toldBySaving(const std::function<void()>& save);
/// The same of a save to a format of which nothing is kept.
std::vector<Told> toldBySaving(const Format& format);

/// Compares every stored observation with what its text in a format gives back. Changes the TTY year.
/// @param told what a save to the format told
/// @param firstLine number of the first line written.
/// @param freeGroup group number that no observation has.
Losses findLosses(const Format& format, const std::vector<Told>& told, std::int64_t firstLine, std::size_t examples,
                  std::int32_t freeGroup);

/// The report as text, empty when there is nothing to tell.
/// @param output as shown to the user.
std::string describe(const Losses& losses, const Format& format, std::string_view output);

}  // namespace obstool
