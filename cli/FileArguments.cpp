// SPDX-License-Identifier: Apache-2.0
#include "FileArguments.h"

#include <glob.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace obstool {

namespace {

namespace fs = std::filesystem;

/// Links to folders are not followed: they may lead in a circle. A folder that cannot be listed is named itself.
void listFolder(const fs::path& folder, std::vector<fs::path>& files) {
    std::error_code error, none;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
        const fs::path path = at->path();
        if (path.filename().string().starts_with('.')) continue;
        if (at->is_directory(none) && !at->is_symlink(none)) listFolder(path, files);
        else if (at->is_regular_file(none)) files.push_back(path);
    }
    if (error) files.push_back(folder);
}

void addFile(const std::string& name, FileArguments& found) {
    std::error_code none;
    std::vector<fs::path> files;
    if (fs::is_directory(name, none)) listFolder(name, files);
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) {
        found.files.push_back(file.string());
        found.ofFolders.insert(file.string());
    }
    if (files.empty()) found.files.push_back(name);
}

}  // namespace

bool isDevice(const std::string& name) {
    std::error_code none;
    const fs::file_status file = fs::status(name, none);
    return fs::exists(file) && !fs::is_regular_file(file) && !fs::is_directory(file);
}

bool isPattern(const std::string& name) { return name.find_first_of("*?[") != std::string::npos; }

FileArguments expandFiles(const std::vector<std::string>& given) {
    FileArguments found;
    std::error_code none;
    for (const std::string& name : given) {
        glob_t matches{};
        // A file may be called like a pattern.
        const bool matched = isPattern(name) && !fs::exists(fs::symlink_status(name, none)) &&
                             ::glob(name.c_str(), 0, nullptr, &matches) == 0;
        const std::size_t before = found.files.size();
        for (std::size_t i = 0; matched && i < matches.gl_pathc; ++i)
            if (!isDevice(matches.gl_pathv[i])) addFile(matches.gl_pathv[i], found);
        if (found.files.size() == before) addFile(name, found);
        ::globfree(&matches);
    }
    return found;
}

}  // namespace obstool
