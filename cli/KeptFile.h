// SPDX-License-Identifier: Apache-2.0
/// @file
/// Files that are there already are kept unless the user says otherwise.
#pragma once

#include <string>
#include <vector>

#include "Session.h"

namespace obstool {

/// Whether writing a name would replace a regular file: not "-", a pipe, a device, or the file that standard output is.
bool isKeptFile(const std::string& name);

/// Whether both are names of one file.
bool isSameFile(const std::string& a, const std::string& b);

/// What an input that is replaced by the stored observations loses, such as "2 comments, 1 bad line"; empty for nothing
/// but the form of its lines.
std::string lostWith(const LoadResult& input, const std::vector<LoadResult>& all);

}  // namespace obstool
