// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a word that is not known was probably meant to be.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace obstool {

/// The candidate nearest to a word, or empty where none is near: letters left out, added, changed or swapped with their
/// neighbour, one for each three of the word.
std::string nearest(std::string_view word, const std::vector<std::string>& candidates);

/// "; did you mean 'X'?", or empty.
std::string didYouMean(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace obstool
