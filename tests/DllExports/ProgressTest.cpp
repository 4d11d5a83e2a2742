// SPDX-License-Identifier: Apache-2.0
// Loads and saves that tell how far they are, and are cancelled.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <functional>
#include <iterator>
#include <thread>

#include "Obs/FormatObs/SaveReport.h"
#include "Obs/ObsTree/Selection.h"
#include "ObsDllExports.h"
#include "tests/CaseFile.h"
#include "tests/LoadFixture.h"

namespace obs::test {

namespace {

constexpr auto kLongerThanAnInterval = std::chrono::milliseconds(160);
constexpr auto kCancelledText = "The progress callback has cancelled it.";

/// Cards `first` to `last`, each of another time.
std::string cards(int first, int last) {
    static const std::string base = readCases(OBS_TEST_DATA "/b3/b3.cases")[0].card;
    std::string text;
    for (int i = first; i <= last; ++i)
        text += std::string(base).replace(16, 7, std::to_string(10000000 + i).substr(1)) + "\n";
    return text;
}

std::int64_t addCard(int number) { return ObsAddFrB3Card(cards(number, number).c_str()); }

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
                return test.answer_();
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
    std::function<std::int32_t()> answer_ = [] { return 0; };
};

}  // namespace

TEST_F(ProgressTest, loadsCountEveryFileOnce) {
    const std::string part = cards(5000, 9000), deck = "SELOB sat=1\n" + cards(1, 4000), include = "OBSFIL part.txt\n";
    write("part.txt", part);
    answer_ = [] { return ObsGetCount() < 0 || addCard(9999) < 0 ? 1 : 0; };  // no lock is held
    // The second and third are read in two passes, time passing in the latter.
    for (const std::string& text : {deck, deck + include, include + deck}) {
        const auto total = static_cast<std::int64_t>(text.size() + (text == deck ? 0 : part.size()));
        ObsRemoveAll();
        calls_.clear();
        EXPECT_EQ(ObsLoadFile(write("deck.txt", text).c_str()), 0);
        EXPECT_EQ(ObsGetCount(), text == deck ? 4001 : 8002);
        ASSERT_GE(calls_.size(), 2u);
        EXPECT_LT(calls_.front().first, total);
        EXPECT_EQ(calls_.front().second, total);
        EXPECT_EQ(calls_.back(), std::pair(total, total));
    }
}

TEST_F(ProgressTest, aCancelledLoadLeavesTheStoreAsItWas) {
    write("part.txt", "TTY_YEAR 2021\n" + cards(5000, 5002));
    const std::string settings = "TTY_YEAR 2024\n" + cards(1, 9) + "SELOB sat=1\n", dma = "VM_DMA_OBS_ON\n";
    for (const std::string& deck : {settings + cards(10, 4000), dma + settings + cards(10, 4000),
                                    "OBSFIL part.txt\n" + settings + cards(10, 4000), settings + dma + cards(10, 20)})
        for (const bool atOnce : {true, false}) {
            ObsRemoveAll();
            SetTTYYear(2020);
            calls_.clear();
            std::vector<std::int64_t> expected{addCard(3)};
            const std::int64_t first = addCard(1);
            ObsRemove(first);
            answer_ = [&] {
                if (!atOnce && calls_.back().first < calls_.back().second) return 0;
                // Another thread's: one that this load may have stored, removed and added again, and one of its own.
                const std::int32_t mode = GetObsKeyMode();
                SetObsKeyMode(0);
                if (ObsRemove(first) != 0) log_.errors.clear();
                expected.insert(expected.end(), {addCard(1), addCard(9999)});
                SetObsKeyMode(mode);
                return 1;
            };
            EXPECT_EQ(ObsLoadFile(write("deck.txt", deck).c_str()), 2);
            EXPECT_EQ(log_.errors.back(), std::string("ObsLoadFile: ") + kCancelledText);
            EXPECT_EQ(expected[1], first);
            EXPECT_EQ(inOrderOfAdding(), expected);
            EXPECT_EQ(std::tuple(ttyYear(), obskeymodeget(), bool(currentSelection().bounds)),
                      std::tuple(2020, 0, false));
            EXPECT_EQ(latestLoad().counts.loaded, 0);
        }
}

TEST_F(ProgressTest, whatIsTakenBackSurvivesRenumbering) {
    std::vector<std::int64_t> expected{addCard(1)};
    gStore.lastSeqNum += 1000;  // so that the numbers change
    answer_ = [&] {
        gStore.lastSeqNum = std::numeric_limits<std::int32_t>::max();
        expected.push_back(addCard(9999));
        return 1;
    };
    EXPECT_EQ(ObsLoadFile(write("deck.txt", cards(2, 50)).c_str()), 2);
    EXPECT_EQ(inOrderOfAdding(), expected);
}

TEST_F(ProgressTest, savesTellAndAreCancelled) {
    EXPECT_EQ(ObsLoadFileGID(write("deck.txt", cards(1, 20'000)).c_str(), 3), 0);
    const std::string plain = folder_ / "plain.b3", old = write("old.b3", "old\n");
    answer_ = [] { return -1; };
    const std::function<std::int32_t()> saves[] = {
        [&] { return ObsSaveFile(old.c_str(), 0, 2); }, [&] { return ObsSaveFileGID(old.c_str(), 3, 1, 0); },
        [&] { return ObsSaveSlrFile(old.c_str(), 0, 1); }, [&] { return ObsSaveSlrFile(old.c_str(), 1, 1); }};
    for (const auto& save : saves) {
        calls_.clear();
        EXPECT_EQ(save(), 2);
        EXPECT_TRUE(log_.errors.back().ends_with(kCancelledText)) << log_.errors.back();
        EXPECT_EQ(contentOf(old), "old\n");
        const SaveCounts counts = latestSaveCounts();
        EXPECT_EQ(std::tuple(counts.written, counts.leftOut, counts.systemError), std::tuple(0, 0, ECANCELED));
    }

    // Into a pipe whose reader waits: the save goes on where it has given way, the first observation being gone.
    calls_.clear();
    answer_ = [] { return 0; };
    EXPECT_EQ(ObsSaveFile(plain.c_str(), 0, 0), 0);
    EXPECT_EQ(calls_.back(), (std::pair<std::int64_t, std::int64_t>(20'000, 20'000)));
    calls_.clear();
    answer_ = [&] { return calls_.size() > 1 ? 0 : ObsRemove(inOrderOfAdding().front()); };
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    std::string read;
    std::thread reader([&] {
        std::this_thread::sleep_for(kLongerThanAnInterval);
        char block[4096];
        for (ssize_t n = 0; (n = ::read(ends[0], block, sizeof block)) > 0;)
            read.append(block, static_cast<std::size_t>(n));
    });
    EXPECT_EQ(ObsSaveFileGID(("/proc/self/fd/" + std::to_string(ends[1])).c_str(), 3, 1, 0), 0);
    ::close(ends[1]);
    reader.join();
    ::close(ends[0]);
    EXPECT_EQ(read, contentOf(plain));
    EXPECT_LT(calls_.front().first, 20'000);
    EXPECT_EQ(ObsGetCount(), 19'999);
}

}  // namespace obs::test
