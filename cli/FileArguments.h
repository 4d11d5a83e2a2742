// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a user names as files: files, folders and patterns.
#pragma once

#include <set>
#include <string>
#include <vector>

namespace obstool {

struct FileArguments {
    std::vector<std::string> files;   ///< in the order of the arguments, those of one sorted
    std::set<std::string> ofFolders;  ///< those that were found in a folder
};

/// A folder stands for the files in it and below, hidden ones left out, a pattern for the files and folders that match,
/// but for pipes and devices, which might never end.
/// What stands for nothing stays as it is, so that opening it tells why.
FileArguments expandFiles(const std::vector<std::string>& given);

/// Whether there is a device, a pipe or the like of the name.
bool isDevice(const std::string& name);

/// Whether a name that no file has is meant as a pattern.
bool isPattern(const std::string& name);

}  // namespace obstool
