// SPDX-License-Identifier: Apache-2.0
/// Loads of files that a test writes, with what is said and counted on the way.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "Obs/ObsCardReading/Loading/LoadFile.h"
#include "Obs/ObsCardReading/Loading/TtyYear.h"
#include "tests/Files.h"
#include "tests/StoreCheck.h"
#include "tests/TestLog.h"

namespace obs::test {

struct Told {
    std::int32_t kind;
    std::string file;
    std::int64_t line;
    std::string reason;
};

class LoadFixture : public testing::Test {
protected:
    void SetUp() override {
        obsemptytree();
        obskeymodeset(0);
        SetTTYYear(0);
        setLineReport(
            [](std::int32_t kind, const char* file, std::int64_t line, const char* reason, void* user) {
                static_cast<LoadFixture*>(user)->told_.push_back(
                    {kind, std::filesystem::path(file).filename(), line, reason});
            },
            this);
    }
    void TearDown() override {
        setLineReport(nullptr, nullptr);
        obskeymodeset(0);
        obsemptytree();
    }

    std::string write(const std::string& name, const std::string& text) const { return temp_.write(name, text); }
    std::int32_t load(const std::string& text) { return ReadObsFrFile(write("deck.txt", text)); }
    void expectCounts(std::int64_t loaded, std::int64_t duplicate, std::int64_t bad) {
        const LoadCounts counts = latestLoad().counts;
        EXPECT_EQ(std::tuple(counts.loaded, counts.duplicate, counts.bad), std::tuple(loaded, duplicate, bad));
        EXPECT_EQ(log_.informations.back(), "Total observations = " + std::to_string(loaded + duplicate + bad) +
                                                ", Loaded = " + std::to_string(loaded) + ", Dup = " +
                                                std::to_string(duplicate) + ", Bad = " + std::to_string(bad));
        checkedKeys();
    }

    /// What was told since the last time, as "line:kind", in an included file with its name before it.
    std::string told() {
        std::string text;
        for (const Told& one : std::exchange(told_, {}))
            text += (one.file == "deck.txt" ? "" : one.file + ":") + std::to_string(one.line) + ":" +
                    std::to_string(one.kind) + " ";
        return text;
    }

    const TempFolder temp_;
    const std::filesystem::path& folder_ = temp_.path;
    TestLog log_;
    std::vector<Told> told_;
};

}  // namespace obs::test
