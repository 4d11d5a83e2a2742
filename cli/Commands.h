/// @file
/// The subcommands and their options; main.cpp reads the command line into these.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Output.h"

namespace obstool {

struct CommonOptions {
    std::vector<std::string> files;
    std::string log;  ///< empty: none
};

struct InfoOptions : CommonOptions {
    std::size_t top = 10;  ///< rows of the sensor and satellite tables; 0 is all
    bool duplicates = false;
    bool json = false;
};

struct ListOptions : CommonOptions {
    std::int32_t order = -1;  ///< of ObsGetLoaded
    bool keysOnly = false;
    std::optional<std::size_t> limit;
};

struct ConvertOptions : CommonOptions {
    std::string output;
    std::string format;  ///< a name of kSaveFormats
    bool append = false;
};

/// A format that convert writes. `form` is the save form of ObsSaveFile.
struct SaveFormat {
    std::string_view name;
    std::int32_t form;
    std::string_view description;
};
inline constexpr std::array kSaveFormats{
    SaveFormat{"b3", 0, "B3 cards"},
};

ExitStatus runInfo(const InfoOptions& options, Output& out);
ExitStatus runList(const ListOptions& options, Output& out);
ExitStatus runConvert(const ConvertOptions& options);

}  // namespace obstool
