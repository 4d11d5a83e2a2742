// SPDX-License-Identifier: Apache-2.0
/// @file
/// All observations as a file of some format gives them back.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Input.h"

namespace obstool {

struct Format;

/// Saves all observations and loads the file again beside them, to see what comes back. While it lives the store
/// holds the second set as well, in address-key mode, under a group of its own.
class SecondSet {
public:
    /// Throws std::runtime_error when there is no place for the file.
    SecondSet(const Format& format, std::int32_t freeGroup);
    ~SecondSet();
    SecondSet(const SecondSet&) = delete;
    SecondSet& operator=(const SecondSet&) = delete;

    std::string path() const { return file_.path(); }
    const std::vector<std::int64_t>& keys() const { return keys_; }          ///< in the order of the file
    const std::vector<std::int64_t>& badLines() const { return badLines_; }  ///< their numbers, from 1

private:
    static void onLine(std::int32_t kind, const char* file, std::int64_t number, const char* reason, void* self);

    TemporaryFile file_;
    std::int32_t group_;
    std::vector<std::int64_t> keys_, badLines_;
};

}  // namespace obstool
