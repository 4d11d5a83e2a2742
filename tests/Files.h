// SPDX-License-Identifier: Apache-2.0
/// Files that tests write and look at.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace obs::test {

inline std::string contentOf(const std::filesystem::path& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

/// A folder of its own for each test, gone after it.
struct TempFolder {
    TempFolder() {
        std::string pattern = std::filesystem::temp_directory_path() / "obs_test.XXXXXX";
        path = ::mkdtemp(pattern.data());
    }
    ~TempFolder() { std::filesystem::remove_all(path); }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::string operator/(const std::string& name) const { return path / name; }
    std::string write(const std::string& name, const std::string& text) const {
        std::ofstream(path / name, std::ios::binary) << text;
        return path / name;
    }
    std::filesystem::path path;
};

}  // namespace obs::test
