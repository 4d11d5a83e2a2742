// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a file is, by how it begins.
#pragma once

#include <string>
#include <string_view>

namespace obstool {

enum class Content { observations, laserRanges, foreign };

struct FileKind {
    Content content;
    std::string_view name;  ///< of foreign content
};

/// The first bytes of a file; none of a file without a length, such as those that the kernel makes up while they are
/// read, of which some never end.
std::string headOf(const std::string& path);

/// What a mark at its beginning says that a file is; observations without one.
FileKind kindOf(std::string_view head);

/// What a file in which nothing was found might be.
std::string_view guessOf(std::string_view head);

}  // namespace obstool
