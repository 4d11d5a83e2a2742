// SPDX-License-Identifier: Apache-2.0
/// Why a reader refused a card. Readers write nothing to the log: a load names its bad lines in the
/// order of the file, which may be later than they are read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace obs {

/// A message: fixed words, the text they quote (blank-padded to a width), fixed words.
struct Refusal {
    std::string_view before;
    std::string quoted = {};
    std::size_t quotedWidth = 0;
    std::string_view after = {};
    std::int32_t status = 2;  ///< what a call that asks for one gets
    bool isLogged = true;     ///< else the log has the message already; whoever asks for lines is told all the same
    std::string unknownSensor = {};  ///< when that is the reason: what it is called

    Refusal forWantOf(std::string sensor) && {
        unknownSensor = std::move(sensor);
        return std::move(*this);
    }

    std::string message() const {
        std::string text(before);
        text += quoted;
        if (quoted.size() < quotedWidth) text.append(quotedWidth - quoted.size(), ' ');
        return text += after;
    }
};

/// A refusal, or nothing when the card was read.
using MaybeRefusal = std::optional<Refusal>;

/// Of a line that holds a NUL: no format has one, and it would end the line for whoever takes it as a text.
inline MaybeRefusal refuseNul(std::string_view line) {
    if (line.find('\0') == std::string_view::npos) return std::nullopt;
    return Refusal{"ReadObsRec: The line holds a NUL character.", {}, 0, {}};
}

}  // namespace obs
