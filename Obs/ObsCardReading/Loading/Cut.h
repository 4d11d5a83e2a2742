// SPDX-License-Identifier: Apache-2.0
/// Where a text may be cut into pieces that are read apart from one another.
#pragma once

#include <cstddef>
#include <string_view>

namespace obs {

/// The first place at or after `from` at which nothing is open, whatever comes before it: neither a message that
/// waits for its second card nor a block of laser ranges. The pieces on either side give together what the whole gives,
/// if each starts from the same settings; so a text with lines on which a load's first pass acts (isFirstPassLine) is
/// read in order instead, each piece going on from the context after the one before.
///
/// `text` begins where a piece may begin. Its size when there is no such place.
std::size_t nextCut(std::string_view text, std::size_t from);

}  // namespace obs
