// SPDX-License-Identifier: Apache-2.0
// Random decks with lines of every kind, loaded by one thread and by several, and saved: all that a caller can see of it
// is the same.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "ObsDllExports.h"
#include "siblings/include/ObsFamily.h"
#include "tests/Files.h"

namespace {

const std::string kBlock =
    "99999\n7603901890797105070253210009594200003300407300100650541\n"
    "2143607865450520359980000000066101352905055010800000049\n* within\n"
    "2143607865450520359980000000066101352905055010800000049\n";
const std::string kSession =
    "SLROBS\nH1 CRD  1 2021  1 27  9\nH2 GRZL 7839 34 2 4\nH3 l 7603901 1155 8820 0 1 1\n"
    "H4 0 2004 10 3 12 0 0 na na na na na na 0 0 0 0 1 0 2 0\n20 43200 950 290 50 0\n10 43210 0.25 std 2 2 0 0\n"
    "10 43211 0.26 std 2 2 0 0\nH8\n";

/// A deck with as many lines of the rarer kinds as its seed says.
class Maker {
public:
    explicit Maker(std::uint32_t seed) : random_(seed), kind_(seed % 6) {}

    std::string make(std::size_t bytes) {
        std::string text = kind_ == 5 ? "\xEF\xBB\xBF" : "";
        if (kind_ != 2) text += "TTY_YEAR 2024\n";
        while (text.size() < bytes) text += item();
        if (kind_ == 2) text += "TTY_YEAR 2024\n";
        return random_() % 2 == 0 ? text : text + line(0).substr(0, 90);
    }

private:
    bool oneIn(std::uint32_t share) { return random_() % share == 0; }

    double below(std::uint32_t limit) { return static_cast<double>(random_() % limit); }

    /// An observation in a save form; some occur twice, some share a key.
    std::string line(std::int32_t form) {
        static constexpr double kTypes[] = {1, 2, 3, 4, 5, 8, 9};
        double array[64] = {};
        array[0] = 1;
        array[1] = 5 + below(40);
        array[2] = 211 + below(5);
        array[3] = 27030 + below(20000) / 864;
        array[4] = array[5] = 10 + below(3);
        array[6] = 1000 + below(2);
        array[11] = kTypes[random_() % std::size(kTypes)];
        char texts[2][512];
        if (ObsArrToLines(array, form, texts[0], texts[1]) != 0) return "* no such line\n";
        std::string lines;
        for (const char* text : texts) {
            const std::string one(text, sizeof texts[0]);
            const std::size_t length = one.find_last_not_of(' ') + 1;
            if (length != 0) lines += one.substr(0, length) + (oneIn(50) ? "\r\n" : "\n");
        }
        return lines;
    }

    std::string item() {
        static const std::vector<std::string> kOrdinary = {"* a comment\n",
                                                           "\n",
                                                           "no observation\n",
                                                           "10 43212 0.26 std 2 2 0 0\n",
                                                           "SELOB sat=5:20\n",
                                                           "SELOB nonsense\n",
                                                           std::string(700, '1') + "\n"};
        static const std::vector<std::string> kActing = {kBlock,
                                                         kSession + "H9\n",
                                                         kSession,
                                                         "SLROBS\n",
                                                         "OBSFIL include.txt\n",
                                                         "OBSFIL missing.txt\n",
                                                         "TTY_YEAR 2023\n",
                                                         "TTY_YEAR x\n",
                                                         "SLROBS laser.txt\n"};
        if (oneIn(60)) return kOrdinary[random_() % (kind_ == 0 ? 4 : kOrdinary.size())];
        if (kind_ >= 3 && oneIn(kind_ == 4 ? 100 : 5000)) return kActing[random_() % kActing.size()];
        if (kind_ == 1 && oneIn(9000)) return "VM_DMA_OBS_ON\n";
        std::string one = line(static_cast<std::int32_t>(random_() % 3));
        if (oneIn(40))
            one[random_() % (one.size() - 1)] = "X \0"[random_() % 3];  // of messages, perhaps the first card
        if (oneIn(80)) one.erase(0, one.find('\n') + 1);
        return one;
    }

    std::mt19937 random_;
    std::uint32_t kind_;
};

/// All that a load does and says.
struct Load {
    std::string said;
    std::vector<std::int64_t> keys;
    std::string saved;

    Load(const obs::test::TempFolder& folder, std::int32_t threads) {
        ObsRemoveAll();
        SetObsKeyMode(0);
        ObsSetTTYYear(2022);
        ObsSetSelObs("");
        EXPECT_EQ(ObsSetThreads(threads), 0);
        FamilySetLogCallback(
            [](std::int32_t severity, const char* text, void* user) { static_cast<Load*>(user)->say(severity, text); },
            this);
        ObsSetLoadCallback(
            [](std::int32_t kind, const char* file, std::int64_t number, const char* reason, void* user) {
                static_cast<Load*>(user)->say(
                    kind, std::string(file).append(":").append(std::to_string(number)).append(" ").append(reason));
            },
            this);
        say(ObsLoadFile((folder / "deck.txt").c_str()), "result");
        FamilySetLogCallback(nullptr, nullptr);
        ObsSetLoadCallback(nullptr, nullptr);
        ObsSetThreads(1);
        look();
    }

private:
    void say(std::int32_t kind, const std::string& text) { said += std::to_string(kind) + " " + text + "\n"; }

    void look() {
        std::int64_t loaded, duplicate, bad;
        ObsGetLoadCounts(&loaded, &duplicate, &bad);
        ObsLoadLines lines{};
        lines.size = sizeof lines;
        ObsGetLoadLines(&lines);
        for (const std::int64_t count :
             {loaded, duplicate, bad, lines.lines, lines.observations, lines.comments, lines.keywords, lines.laser,
              lines.passedOver, lines.zeroed, lines.includesLeftOut})
            said += std::to_string(count) + " ";
        say(GetObsKeyMode(), "key mode");
        SetObsKeyMode(0);
        keys.resize(static_cast<std::size_t>(ObsGetCount()));
        const double open[32] = {};
        std::int32_t selected = 0;
        ObsGetSelected(open, 9, &selected, keys.data());
        say(selected, "selected");
        ObsGetLoaded(-8, keys.data());
        for (const std::int64_t key : keys) {
            char line[512];
            if (ObsGetCsv(key, line) == 0) saved.append(line, sizeof line);
        }
        // Those of observations added under address keys are different each time.
        std::erase_if(keys, [](std::int64_t key) { return key > 3'170'880'000'000'000'000; });
    }
};

}  // namespace

class SideBySide : public testing::Test {
protected:
    void TearDown() override {
        ObsRemoveAll();
        SetObsKeyMode(0);
        ObsSetTTYYear(0);
        ObsSetSelObs("");
        ObsSetThreads(1);
    }
    const obs::test::TempFolder folder_;
};

#if defined(__SANITIZE_THREAD__)
constexpr std::uint32_t kSeeds = 6;  // each kind of deck once: it takes its time
#else
constexpr std::uint32_t kSeeds = 12;
#endif

TEST_F(SideBySide, aLoadByAnyNumberOfThreadsIsTheSame) {
    folder_.write("include.txt", "* an include\n" + kBlock);
    folder_.write("laser.txt", kSession.substr(kSession.find('\n') + 1));
    for (std::uint32_t seed = 0; seed < kSeeds; ++seed) {
        folder_.write("deck.txt", Maker(seed).make(1'200'000 + 50'000 * seed));
        const Load one(folder_, 1);
        ASSERT_GT(one.keys.size(), 100u) << seed;
        for (const std::int32_t threads : {2, 5}) {
            const Load more(folder_, threads);
            ASSERT_TRUE(one.said == more.said) << "seed " << seed << ", " << threads << " threads";
            ASSERT_TRUE(one.keys == more.keys) << "seed " << seed << ", " << threads << " threads";
            ASSERT_TRUE(one.saved == more.saved) << "seed " << seed << ", " << threads << " threads";
        }
    }
}

/// All that a save in a form does and says.
static std::string savedBy(std::int32_t threads, std::int32_t form, const obs::test::TempFolder& folder) {
    std::string said;
    const auto say = [](std::int64_t number, std::int32_t kind, const char* text, void* user) {
        *static_cast<std::string*>(user) += std::to_string(number) + " " + std::to_string(kind) + " " + text + "\n";
    };
    ObsSetSaveCallback(say, &said);
    FamilySetLogCallback(
        [](std::int32_t severity, const char* text, void* user) {
            *static_cast<std::string*>(user) += std::to_string(severity) + " " + text + "\n";
        },
        &said);
    ObsSetThreads(threads);
    EXPECT_EQ(ObsSaveFile((folder / "saved.txt").c_str(), 0, form), 0);
    ObsSetThreads(1);
    FamilySetLogCallback(nullptr, nullptr);
    ObsSetSaveCallback(nullptr, nullptr);
    std::int64_t written = 0, leftOut = 0, altered = 0;
    std::int32_t systemError = 0;
    EXPECT_EQ(ObsGetSaveCounts(&written, &leftOut, &altered, &systemError), 0);
    for (const std::int64_t count : {written, leftOut, altered}) said += std::to_string(count) + " ";
    return said + obs::test::contentOf(folder / "saved.txt");
}

TEST_F(SideBySide, aSaveByAnyNumberOfThreadsIsTheSame) {
    folder_.write("deck.txt", Maker(3).make(3'000'000));
    ObsLoadFile((folder_ / "deck.txt").c_str());
    for (const std::int32_t form : {0, 1, 2, 3}) {
        const std::string one = savedBy(1, form, folder_);
        for (const std::int32_t threads : {2, 5}) EXPECT_TRUE(savedBy(threads, form, folder_) == one) << form;
    }
}

TEST_F(SideBySide, aCancelledLoadLeavesNothing) {
    folder_.write("deck.txt", Maker(0).make(3'000'000));
    ObsSetThreads(4);
    struct Watch {
        int calls = 0;
        std::int64_t last = 0;
        bool fell = false;
    } watch;
    for (const int allowed : {0, 1000}) {
        watch = {};
        watch.calls = -allowed;
        ObsSetProgressCallback(
            [](std::int64_t done, std::int64_t total, void* user) {
                auto& w = *static_cast<Watch*>(user);
                w.fell = w.fell || done < w.last || done > total;
                w.last = done;
                return ++w.calls > 0 ? 1 : 0;
            },
            &watch);
        const std::int32_t result = ObsLoadFile((folder_ / "deck.txt").c_str());
        ObsSetProgressCallback(nullptr, nullptr);
        EXPECT_FALSE(watch.fell);
        EXPECT_EQ(result == 2 && ObsGetCount() == 0, allowed == 0);
    }
}

TEST_F(SideBySide, theNumberOfThreadsIsASetting) {
    EXPECT_EQ(ObsGetThreads(), 1);
    for (const std::int32_t wrong : {-1, 257}) EXPECT_EQ(ObsSetThreads(wrong), 2);
    EXPECT_EQ(ObsGetThreads(), 1);
    EXPECT_EQ(ObsSetThreads(0), 0);
    EXPECT_EQ(ObsGetThreads(), 0);
}
