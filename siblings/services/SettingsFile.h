// SPDX-License-Identifier: Apache-2.0
/// Comma-separated files of settings, as the siblings load them: a header line with the names of the
/// fields, then lines of as many fields. Part of each library that loads them.
#pragma once

#include <functional>
#include <span>
#include <string_view>

namespace family {

/// What to do after a bad line.
enum class BadLines { LeaveOut, GiveUp };

/// Is given the fields of one line, trimmed; says what is wrong with them, or null.
using TakeSetting = std::function<const char*(std::span<const std::string_view> fields)>;

/// Hands every line to `take`; blank lines are passed over. False when the file could not be read, the header is
/// wrong or a line was bad, each then logged in the name of `operation` with the line's number.
/// Throws when memory runs out.
bool readsettingsfile(std::string_view operation, std::string_view fileName, std::string_view header, BadLines badLines,
                      const TakeSetting& take);

/// A field that must hold a number.
bool readsetting(std::string_view field, double& value);

}  // namespace family
