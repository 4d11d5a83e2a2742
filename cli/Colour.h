// SPDX-License-Identifier: Apache-2.0
/// @file
/// Colour on terminals.
#pragma once

#include <string>
#include <string_view>

namespace obstool {

/// "always", "never" or "auto": on a terminal that can, unless NO_COLOR is set.
void setColour(const std::string& when);

/// Whether what goes to a standard stream is to be in colour.
bool isColoured(int descriptor);

enum class Tone { fault, name, title };

/// The text in its tone where the stream is coloured, else as it is.
std::string toned(std::string_view text, Tone tone, int descriptor);

}  // namespace obstool
