// SPDX-License-Identifier: Apache-2.0
// Memory running out at every allocation of a call in turn: nothing crashes, each failure says why, what was there
// stays and the numbers are true.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <new>

#include "ObsDllExports.h"
#include "tests/CaseFile.h"
#include "tests/Files.h"
#include "tests/TestLog.h"

namespace {

/// Allocations of this thread that still succeed; below 0 all do. Of those after them one fails, or all.
thread_local long allowed = -1;
thread_local bool onlyOneFails = false;
thread_local bool hasFailed = false;

void* allocated(std::size_t size) {
    if (allowed == 0) {
        hasFailed = true;
        if (onlyOneFails) allowed = -1;
        throw std::bad_alloc();
    }
    if (allowed > 0) --allowed;
    if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) { return allocated(size); }
void* operator new[](std::size_t size) { return allocated(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace obs::test {

namespace {

std::ptrdiff_t openFiles() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return std::distance(begin(files), end(files));
}

bool tellsOfMemory(const std::string& message) { return message.find("emory") != std::string::npos; }

/// Runs a call with its first, second ... allocation failing, alone and with all after it, until none is left to fail.
void failEachAllocation(const std::string& what, const std::function<void()>& call,
                        const std::function<void()>& check) {
    for (const bool onlyOne : {true, false}) {
        long nth = 0;
        do {
            SCOPED_TRACE(what + ", allocation " + std::to_string(nth) + (onlyOne ? " alone" : " and all after it"));
            ObsRemoveAll();
            FamilyClearLastError();
            const std::ptrdiff_t files = openFiles();
            onlyOneFails = onlyOne;
            hasFailed = false;
            allowed = nth++;
            call();
            allowed = -1;
            const bool failed = hasFailed;
            EXPECT_EQ(openFiles(), files);
            check();
            hasFailed = failed;
        } while (hasFailed && nth < 5000 && !testing::Test::HasFailure());
        EXPECT_LT(nth, 5000);
    }
}

class Memory : public testing::Test {
protected:
    void TearDown() override { ObsRemoveAll(); }
    const TempFolder folder_;
};

const std::string kCsv = "U,5,211,2024,1,12,0,0,0,0,0,0,0,0,0,0,500,0,0,6" + std::string(36, ',');
const std::string kRf =
    "2024:01:15::12:34:56.123456 1500 1 2 1 CDE_ESP 0 CTU_ESP 0 25544 7 2024:01:15::12:34:56 1 A B C";

}  // namespace

// First, since the sensors take their memory when they are first asked for.
TEST_F(Memory, anRfLineSaysSo) {
    std::string unknownSite = kRf;
    unknownSite.replace(unknownSite.find("CTU"), 3, "ZZZ");
    std::int32_t status = -1;
    failEachAllocation(
        "an unknown site", [&] { status = ObsLoadCard(unknownSite.c_str()); },
        [&] {
            EXPECT_EQ(status, 2);
            if (hasFailed) EXPECT_TRUE(tellsOfMemory(lastError())) << lastError();
            else EXPECT_EQ(lastError().substr(0, 34), "ReadRFObs: No record matches site2");
        });
}

TEST_F(Memory, callsFailWithTheirReasonOrDoTheirWork) {
    const std::string b3 = readCases(OBS_TEST_DATA "/b3/b3.cases")[0].card;
    const std::string sensors = folder_.write("sensors.csv",
                                              "number,description,latitude_deg,longitude_deg,height_m\n"
                                              "7090,A description longer than 16,1,2,3\n");
    const std::string earth =
        folder_.write("earth.csv", "mjd,dut1_s,xp_arcsec,yp_arcsec,lod_s\n60000,0,0,0,0\n60001,0,0,0,0\n");
    const std::string saved = folder_ / "saved.txt", log = folder_ / "log.txt";
    double sigmas[64] = {}, vector[3] = {};
    sigmas[40] = 6;
    sigmas[41] = 1;
    char text[512];
    struct {
        const char* name;
        std::int32_t adds;
        std::function<std::int64_t()> call;  ///< 0 when it has done its work
    } const calls[] = {
        {"ObsLoadCard, B3", 1, [&] { return ObsLoadCard(b3.c_str()); }},
        {"ObsLoadCard, CSV", 1, [&] { return ObsLoadCard(kCsv.c_str()); }},
        {"ObsLoadTwoCards, RF", 1, [&] { return ObsLoadTwoCards(kRf.c_str(), ""); }},
        {"ObsLoadTwoCards, bad", 0, [&] { return ObsLoadTwoCards("no observation", "") - 2; }},
        {"ObsAddFrCsv", 1, [&] { return ObsAddFrCsv(kCsv.c_str()) < 0; }},
        {"ObsAddFrFields", 1,
         [&] {
             return ObsAddFrFields('U', 5, 211, 27000, 1, 2, 3, 0, 0, 0, 0, '2', 0, 0, 0, 0, vector, vector, sigmas) <
                    0;
         }},
        {"ObsReadArrow, ObsImportArrow", 1,
         [&] {
             ObsReadState state{};
             state.size = sizeof state;
             state.rotateToDate = state.isLast = 1;
             ArrowArrayStream columns;
             std::int64_t counts[OBS_ARROW_COUNTS];
             const auto size = static_cast<std::int64_t>(b3.size());
             const std::int32_t status =
                 ObsReadArrow(b3.c_str(), size, &state, nullptr, nullptr, 0, 0, nullptr, nullptr, &columns);
             return status != 0 ? status : ObsImportArrow(&columns, 0, 0, counts, 0, nullptr);
         }},
        {"ObsB3ToCsv", 0, [&] { return ObsB3ToCsv(b3.c_str(), text); }},
        {"ObsSetSelObs", 0, [&] { return ObsSetSelObs("sat=5 type=6"); }},
        {"ObsSaveFile", 0, [&] { return ObsSaveFile(saved.c_str(), 0, 2); }},
        {"FamilyLoadSensors", 0, [&] { return FamilyLoadSensors(sensors.c_str()); }},
        {"FamilyLoadEarthOrientation", 0, [&] { return FamilyLoadEarthOrientation(earth.c_str()); }},
        {"FamilySetEarthOrientation", 0, [&] { return FamilySetEarthOrientation(0, 0, 0, 0); }},
        {"FamilyAddSensor", 0, [&] { return FamilyAddSensor(1, "x", 1, 2, 3); }},
        {"FamilyOpenLog", 0,
         [&] {
             const std::int32_t status = FamilyOpenLog(log.c_str());
             FamilyCloseLog();
             return status;
         }},
    };
    for (const auto& one : calls) {
        std::int64_t failure = 0;
        failEachAllocation(
            one.name, [&] { failure = one.call(); },
            [&] {
                EXPECT_TRUE(failure == 0 || tellsOfMemory(lastError())) << lastError();
                EXPECT_EQ(ObsGetCount(), failure == 0 ? one.adds : 0);
            });
        EXPECT_EQ(failure, 0) << one.name;
    }
    ObsResetSelObs();
}

TEST_F(Memory, manyArraysKeepTheirPartsOrAreRefused) {
    constexpr std::int32_t kCount = 3;
    double arrays[kCount][64] = {}, back[64];
    for (int i = 0; i < kCount; ++i) {
        const double head[] = {1, 5.0 + i, 211, 27000, 1, 2, 3};
        std::copy(std::begin(head), std::end(head), arrays[i]);
        arrays[i][11] = 2;
        arrays[i][i == 2 ? 33 : 40] = 7;  // biases; or sigmas and CSV data
        if (i != 2) arrays[i][41] = arrays[i][23] = 0.5;
    }
    std::int64_t keys[kCount];
    std::int32_t status = -1;
    failEachAllocation(
        "ObsAddFrArrays", [&] { status = ObsAddFrArrays(kCount, arrays[0], keys); },
        [&] {
            const auto refused = std::count(keys, keys + kCount, -1);
            EXPECT_EQ(status, refused > 0 ? 2 : 0);
            EXPECT_EQ(ObsGetCount(), kCount - refused);
            EXPECT_TRUE(refused == 0 || tellsOfMemory(lastError())) << lastError();
            for (int i = 0; i < kCount; ++i) {
                if (keys[i] < 0) continue;
                ASSERT_EQ(ObsDataToArray(keys[i], back), 0);
                EXPECT_TRUE(std::equal(back, back + 64, arrays[i])) << i;
            }
        });
    // One by one they are stored without what memory does not suffice for.
    std::int64_t key = 0;
    bool lost = false;
    failEachAllocation(
        "ObsAddFrArray", [&] { key = ObsAddFrArray(arrays[0]); },
        [&] { lost = lost || (ObsDataToArray(key, back) == 0 && back[23] == 0); });
    EXPECT_TRUE(lost);
}

TEST_F(Memory, aFailingLoadCountsWhatItStored) {
    std::string card = readCases(OBS_TEST_DATA "/b3/b3.cases")[0].card, bad = card, deck;
    bad[33] = 'X';
    for (int i = 0; i < 40; ++i) {
        card[16] = static_cast<char>('1' + i / 10);  // another minute each
        card[17] = static_cast<char>('0' + i % 10);
        deck += card + "\n" + (i % 4 == 0 ? bad + "\n" + card + "\n" : "") + (i % 9 == 0 ? kCsv + "\n" : "");
    }
    const std::string file = folder_.write("deck.txt", deck);
    std::int64_t told[4] = {};
    ObsSetLoadCallback([](std::int32_t kind, const char*, std::int64_t, const char*,
                          void* user) { ++static_cast<std::int64_t*>(user)[kind]; },
                       told);
    std::int32_t status = -1;
    for (const std::int32_t mode : {0, 1}) {
        SetObsKeyMode(mode);
        failEachAllocation(
            "ObsLoadFile",
            [&] {
                std::fill(std::begin(told), std::end(told), 0);
                status = ObsLoadFile(file.c_str());
            },
            [&] {
                std::int64_t loaded = 0, duplicate = 0, badLines = 0;
                ObsGetLoadCounts(&loaded, &duplicate, &badLines);
                EXPECT_EQ(loaded, ObsGetCount());
                EXPECT_GE(duplicate, told[OBS_LINE_DUPLICATE]);
                EXPECT_GE(badLines, told[OBS_LINE_BAD]);
                EXPECT_TRUE(status == 0 || tellsOfMemory(lastError())) << lastError();
                EXPECT_TRUE(status != 0 || loaded + duplicate + badLines == 65) << "lines are missing";
            });
    }
    ObsSetLoadCallback(nullptr, nullptr);
    SetObsKeyMode(0);
}

}  // namespace obs::test
