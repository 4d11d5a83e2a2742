// SPDX-License-Identifier: Apache-2.0
// Loads and saves that tell how far they are, and are cancelled.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <thread>

#include "Obs/ObsTree/Selection.h"
#include "ObsDllExports.h"
#include "tests/CaseFile.h"
#include "tests/LoadFixture.h"

namespace obs::test {

namespace {

constexpr auto kLongerThanAnInterval = std::chrono::milliseconds(160);

/// Cards `first` to `last`, each of another time.
std::string cards(int first, int last) {
    static const std::string base = readCases(OBS_TEST_DATA "/b3/b3.cases")[0].card;
    std::string text;
    for (int i = first; i <= last; ++i)
        text += std::string(base).replace(16, 7, std::to_string(10000000 + i).substr(1)) + "\n";
    return text;
}

std::string contentOf(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class ProgressTest : public LoadFixture {
protected:
    void SetUp() override {
        LoadFixture::SetUp();
        ObsResetSelObs();
        ObsSetProgressCallback(
            [](std::int64_t done, std::int64_t total, void* self) {
                auto& test = *static_cast<ProgressTest*>(self);
                EXPECT_GE(done, test.calls_.empty() ? 0 : test.calls_.back().first);
                EXPECT_LE(done, total);
                test.calls_.emplace_back(done, total);
                return test.answer_ ? test.answer_() : 0;
            },
            this);
        // Lets time pass in the midst of a load.
        ObsSetLoadCallback(
            [](std::int32_t kind, const char*, std::int64_t, const char*, void*) {
                if (kind == OBS_LINE_SELECTION) std::this_thread::sleep_for(kLongerThanAnInterval);
            },
            nullptr);
    }
    void TearDown() override {
        ObsSetProgressCallback(nullptr, nullptr);
        SetTTYYear(0);
        ObsResetSelObs();
        LoadFixture::TearDown();
    }

    static std::vector<std::int64_t> inOrderOfAdding() {
        std::vector<std::int64_t> keys(checkedKeys().size());
        std::int32_t count = 0;
        EXPECT_EQ(ObsListKeys(-8, 0, 0, static_cast<std::int32_t>(keys.size()), keys.data(), &count), 0);
        return keys;
    }

    std::vector<std::pair<std::int64_t, std::int64_t>> calls_;
    std::function<std::int32_t()> answer_;
};

}  // namespace

TEST_F(ProgressTest, loadsCountEveryFileOnce) {
    const std::string part = cards(5000, 9000), deck = "SELOB sat=1\n" + cards(1, 4000);
    write("part.txt", part);
    const auto size = static_cast<std::int64_t>(deck.size());
    const std::string include = "OBSFIL part.txt\n";
    struct Deck {
        std::string text;
        std::int64_t firstTotal, lastTotal;
        std::int32_t loaded;
    };
    const auto withPart = size + static_cast<std::int64_t>(include.size() + part.size());
    const Deck kDecks[] = {
        {deck, size, size, 4000},
        // Read as one, dropped, and read in two passes; the time passes in the second.
        {deck + include, withPart, withPart, 8001},
        {include + deck, withPart, withPart, 8001},
    };
    for (const Deck& one : kDecks) {
        ObsRemoveAll();
        calls_.clear();
        answer_ = [] {
            EXPECT_GE(ObsGetCount(), 0) << "no lock is held";
            EXPECT_GT(ObsAddFrB3Card(cards(9999, 9999).c_str()), -1);
            return 0;
        };
        EXPECT_EQ(ObsLoadFile(write("deck.txt", one.text).c_str()), 0);
        EXPECT_EQ(ObsGetCount(), one.loaded + 1);
        ASSERT_GE(calls_.size(), 2u);
        EXPECT_LT(calls_.front().first, one.firstTotal);
        EXPECT_EQ(calls_.front().second, one.firstTotal);
        EXPECT_EQ(calls_.back(), std::pair(one.lastTotal, one.lastTotal));
    }
    calls_.clear();
    EXPECT_EQ(ObsLoadSlrFile(write("empty.crd", "").c_str()), 0);
    EXPECT_EQ(calls_.size(), 1u);
    ObsLoadFile("/no such file");
    EXPECT_EQ(calls_.size(), 1u);
}

TEST_F(ProgressTest, aCancelledLoadLeavesTheStoreAsItWas) {
    write("part.txt", "TTY_YEAR 2021\n" + cards(5000, 5002));
    const std::string settings = "TTY_YEAR 2024\n" + cards(1, 9) + "SELOB sat=1\n";
    for (const std::string& deck :
         {settings + cards(10, 4000), "VM_DMA_OBS_ON\n" + settings + cards(10, 4000),
          "OBSFIL part.txt\n" + settings + cards(10, 4000), settings + "VM_DMA_OBS_ON\n" + cards(10, 20)})
        for (const bool atOnce : {true, false}) {
            ObsRemoveAll();
            calls_.clear();
            SetTTYYear(2020);
            const std::int64_t before = ObsAddFrB3Card(cards(3, 3).c_str());
            ASSERT_GT(before, 0);
            std::vector<std::int64_t> expected{before};
            const std::int64_t first = ObsAddFrB3Card(cards(1, 1).c_str());
            EXPECT_EQ(ObsRemove(first), 0);
            answer_ = [&] {
                if (!atOnce && calls_.back().first < calls_.back().second) return 0;
                // Another thread's: one of its own, and one that this load has stored, removed and added again.
                const std::int32_t mode = GetObsKeyMode();
                SetObsKeyMode(0);
                const std::int64_t again = ObsAddFrB3Card(cards(1, 1).c_str());
                if (again == 0) {
                    EXPECT_EQ(ObsRemove(first), 0);
                    expected.push_back(ObsAddFrB3Card(cards(1, 1).c_str()));
                    EXPECT_EQ(expected.back(), first);
                } else {
                    expected.push_back(again);
                }
                expected.push_back(ObsAddFrB3Card(cards(9999, 9999).c_str()));
                SetObsKeyMode(mode);
                return 1;
            };
            EXPECT_EQ(ObsLoadFile(write("deck.txt", deck).c_str()), 2);
            EXPECT_EQ(log_.errors.back(), "ObsLoadFile: The progress callback has cancelled it.");
            EXPECT_EQ(inOrderOfAdding(), expected);
            EXPECT_EQ(std::tuple(ttyYear(), obskeymodeget(), bool(currentSelection().bounds)),
                      std::tuple(2020, 0, false));
            std::int64_t loaded = -1, duplicate = -1, bad = -1;
            ObsGetLoadCounts(&loaded, &duplicate, &bad);
            EXPECT_EQ(std::tuple(loaded, duplicate, bad), std::tuple(0, 0, 0));
        }
}

// Numbers of insertion that start again in the midst of a load: what it stored is still known.
TEST_F(ProgressTest, whatIsTakenBackSurvivesRenumbering) {
    std::int64_t kept = ObsAddFrB3Card(cards(1, 1).c_str());
    answer_ = [&] {
        gStore.lastSeqNum = std::numeric_limits<std::int32_t>::max();
        EXPECT_GT(ObsAddFrB3Card(cards(9999, 9999).c_str()), 0);
        return 1;
    };
    EXPECT_EQ(ObsLoadFile(write("deck.txt", cards(2, 50)).c_str()), 2);
    EXPECT_EQ(inOrderOfAdding().size(), 2u);
    EXPECT_EQ(inOrderOfAdding().front(), kept);
}

TEST_F(ProgressTest, savesTellAndAreCancelled) {
    EXPECT_EQ(ObsLoadFileGID(write("deck.txt", cards(1, 20'000)).c_str(), 3), 0);
    const std::string plain = folder_ / "plain.b3", old = write("old.b3", "old\n");
    calls_.clear();
    EXPECT_EQ(ObsSaveFile(plain.c_str(), 0, 0), 0);
    EXPECT_EQ(calls_.back(), (std::pair<std::int64_t, std::int64_t>(20'000, 20'000)));

    answer_ = [] { return -1; };
    const std::function<std::int32_t()> saves[] = {
        [&] { return ObsSaveFile(old.c_str(), 0, 2); }, [&] { return ObsSaveFileGID(old.c_str(), 3, 1, 0); },
        [&] { return ObsSaveSlrFile(old.c_str(), 0, 1); }, [&] { return ObsSaveSlrFile(old.c_str(), 1, 1); }};
    for (const auto& save : saves) {
        calls_.clear();
        EXPECT_EQ(save(), 2);
        EXPECT_TRUE(log_.errors.back().ends_with("The progress callback has cancelled it.")) << log_.errors.back();
        EXPECT_EQ(contentOf(old), "old\n");
        std::int64_t written = -1, leftOut = -1, altered = -1;
        std::int32_t systemError = -1;
        ObsGetSaveCounts(&written, &leftOut, &altered, &systemError);
        EXPECT_EQ(std::tuple(written, leftOut, altered, systemError), std::tuple(0, 0, 0, ECANCELED));
    }

    // Into a pipe whose reader waits: the save goes on where it has given way, the first observation being gone.
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    std::string read;
    std::thread reader([&] {
        std::this_thread::sleep_for(kLongerThanAnInterval);
        char block[4096];
        for (ssize_t n = 0; (n = ::read(ends[0], block, sizeof block)) > 0;)
            read.append(block, static_cast<std::size_t>(n));
    });
    calls_.clear();
    answer_ = [&] { return calls_.size() > 1 ? 0 : ObsRemove(inOrderOfAdding().front()); };
    EXPECT_EQ(ObsSaveFileGID(("/proc/self/fd/" + std::to_string(ends[1])).c_str(), 3, 1, 0), 0);
    ::close(ends[1]);
    reader.join();
    ::close(ends[0]);
    EXPECT_EQ(read, contentOf(plain));
    ASSERT_GE(calls_.size(), 2u);
    EXPECT_LT(calls_.front().first, 20'000);
    EXPECT_EQ(calls_.front().second, 20'000);
    EXPECT_EQ(ObsGetCount(), 19'999);
}

}  // namespace obs::test
