// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/IncludeFiles.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace obs {

namespace {

namespace fs = std::filesystem;

std::int32_t refused(const std::string& name, const std::string& why) {
    family::tracelogerror("ReadExtObsFile: File " + name + " is not read: " + why);
    return kStatusRefused;
}

/// Where a deck is, links followed. A text in memory may have the name of no file.
fs::path folderOf(const std::string& naming, std::error_code& error) {
    const fs::path file = fs::canonical(naming, error);
    if (!error) return file.parent_path();
    const fs::path folder = fs::path(naming).parent_path();
    return fs::canonical(folder.empty() ? "." : folder, error);
}

/// False when a file is there and is not below the folder that another one is in.
bool isBelowFolderOf(const std::string& naming, std::string& name) {
    std::error_code error;
    const fs::path file = fs::canonical(name, error);
    if (error) return true;  // opening it says why
    const fs::path folder = folderOf(naming, error);
    if (error || std::mismatch(folder.begin(), folder.end(), file.begin(), file.end()).first != folder.end())
        return false;
    name = file.string();
    return true;
}

/// By the marks of gzip and zstd.
bool isPacked(family::Unit unit) {
    using namespace std::string_view_literals;
    std::array<char, 4> head{};
    const std::int64_t got = family::fileread(unit, head.data(), head.size());
    const std::string_view mark(head.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
    return !family::fileseek(unit, 0) || mark.starts_with("\x1f\x8b"sv) || mark == "\x28\xB5\x2F\xFD"sv;
}

}  // namespace

std::int32_t openInclude(const LoadState& naming, std::string& name, family::Unit& unit) {
    LoadRun& run = naming.run;
    if (run.options.includes == Includes::none) return refused(name, "Include files are not wanted.");
    if (run.options.maxIncludes > 0 && run.includesRead >= run.options.maxIncludes)
        return refused(name, "There are more than " + std::to_string(run.options.maxIncludes) + " include files.");
    if (run.options.includes == Includes::belowFolder && !isBelowFolderOf(naming.fileName, name))
        return refused(name, "It is not below the folder of the file that names it.");
    ++run.includesRead;
    if (const std::int32_t error = family::fileopen(name, family::kOpenRead, unit)) return error;
    if (!isPacked(unit)) return kStatusOk;
    family::fileclose(unit);
    return refused(name, "It is packed (gzip or zstd); files that a deck names are read unpacked.");
}

}  // namespace obs
