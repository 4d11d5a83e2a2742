// SPDX-License-Identifier: Apache-2.0
/// What a file is, by how it begins.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace obs {

/// A kind with its number, as the exported header has them, and its name, such as "a gzip file".
struct FileKind {
    std::int32_t number;
    std::string_view name;
};
inline constexpr std::int32_t kFirstForeignKind = 100;

/// Of a file that is looked at.
inline constexpr std::size_t kHeadBytes = 1 << 16;

struct Identified {
    FileKind kind;
    std::uint32_t formats;  ///< 2^number of each format that a line is of
};

/// What the first bytes of a file say that it is; files that lines name are not looked at.
Identified identify(std::string_view head);

}  // namespace obs
