// SPDX-License-Identifier: Apache-2.0
#include "siblings/include/Services.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <unordered_set>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/Child.h"
#include "tests/Files.h"
#include "tests/TestLog.h"

/// Takes the place of the system's, for the library as well.
std::vector<std::string> flushed;  ///< what, for each call
int flushOfFolderFails = 0;
extern "C" __attribute__((visibility("default"))) int fsync(int descriptor) {
    const auto link = std::filesystem::path("/proc/self/fd") / std::to_string(descriptor);
    const auto path = std::filesystem::read_symlink(link);
    const bool isFolder = std::filesystem::is_directory(path);
    flushed.emplace_back(isFolder ? "folder" : path.extension() == ".tmp" ? "temporary" : "file");
    errno = isFolder ? flushOfFolderFails : 0;
    return errno == 0 ? 0 : -1;
}

namespace family {
namespace {

namespace fs = std::filesystem;

using obs::test::contentOf;

class ServicesTest : public testing::Test {
protected:
    void SetUp() override { FamilyClearLastError(); }
    void TearDown() override {
        FamilyCloseLog();
        FamilySetLogCallback(nullptr, nullptr);
    }
    std::string path(const char* name) const { return directory_ / name; }
    /// Writes a text to a file; what closing it says.
    std::int32_t written(const std::string& name, std::int32_t mode, std::string_view text) {
        Unit unit = kNoUnit;
        EXPECT_EQ(fileopen(name, mode, unit), 0);
        EXPECT_TRUE(text.empty() || filewrite(unit, text.data(), text.size()));
        return fileclose(unit);
    }
    const obs::test::TempFolder folder_;
    const fs::path& directory_ = folder_.path;
};

using Message = std::pair<int, std::string>;
using Messages = std::vector<Message>;

void note(int32_t severity, const char* text, void* messages) {
    static_cast<Messages*>(messages)->emplace_back(severity, text);
}

TEST_F(ServicesTest, LastErrorBelongsToTheThread) {
    tracelogerror(std::string_view("first\0part", 10));
    std::thread([] { EXPECT_EQ(lastError(), ""); }).join();
    traceloginfo("information is not an error");
    EXPECT_EQ(lastError(), "first part");
}

TEST_F(ServicesTest, CallbackAndFile) {
    Messages heard;
    FamilySetLogCallback(note, &heard);
    tracelogerror("one");
    ASSERT_EQ(FamilyOpenLog(path("log").c_str()), 0);
    EXPECT_EQ(FamilyOpenLog(directory_.c_str()), 2);  // the old file stays the log
    traceloginfo(std::string_view("t\0wo\x1b\n{}", 8));
    FamilySetLogCallback(nullptr, nullptr);
    FamilyCloseLog();
    tracelogerror("three");
    ASSERT_EQ(heard.size(), 3U);
    EXPECT_EQ(std::pair(heard[0], heard[2]), std::pair(Message(1, "one"), Message(0, "t wo\x1b\n{}")));
    const std::string log = contentOf(path("log"));
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2) << log;
    EXPECT_NE(log.find("Z info t wo??{}\n"), std::string::npos) << log;
}

TEST_F(ServicesTest, HeldMessagesComeInTheirOrder) {
    Messages heard;
    FamilySetLogCallback(note, &heard);
    {
        const MessageHold hold;
        {
            const MessageHold inner;
            tracelogerror("one");
        }
        traceloginfo("two");
        std::thread([] { tracelogerror("of another thread"); }).join();
    }
    EXPECT_EQ(heard, (Messages{{1, "of another thread"}, {1, "one"}, {0, "two"}}));
}

TEST_F(ServicesTest, CapturedMessagesAreSaidByAnotherThread) {
    Messages heard;
    std::vector<family::Message> captured;
    const auto work = [&] {
        const MessageCapture capture(captured);
        for (const char* text : {"one", "two"}) tracelogerror(text);
        traceloginfo("three");
    };
    FamilySetLogCallback(note, &heard);
    std::thread(work).join();
    EXPECT_TRUE(heard.empty());
    saymessages(captured);
    EXPECT_EQ(heard, (Messages{{1, "one"}, {1, "two"}, {0, "three"}}));
    FamilySetLogCallback(nullptr, nullptr);
    captured.clear();
    std::thread(work).join();
    ASSERT_EQ(captured.size(), 1u);
    EXPECT_EQ(captured[0].text, "two");
}

TEST_F(ServicesTest, CallbackThatLogsEndsItselfAndThrows) {
    int calls = 0;
    const auto callback = [](int32_t, const char*, void* user) {
        ++*static_cast<int*>(user);
        tracelogerror("from inside");
        FamilySetLogCallback(nullptr, nullptr);
        throw std::runtime_error("lost");
    };
    FamilySetLogCallback(callback, &calls);
    EXPECT_NO_THROW(tracelogerror("outer"));
    EXPECT_EQ(calls, 1);
}

TEST_F(ServicesTest, ReplaceAppendRead) {
    constexpr fs::perms kOwnerOnly = fs::perms::owner_read | fs::perms::owner_write;
    std::ofstream(path("fort.7")) << "old";
    fs::permissions(path("fort.7"), kOwnerOnly);
    fs::create_symlink("fort.7", path("link"));
    Unit unit = kNoUnit;
    ASSERT_EQ(fileopen(path("link"), kOpenReplace, unit), 0);
    EXPECT_TRUE(filewrite(unit, "one\n", 4));
    EXPECT_EQ(contentOf(path("fort.7")), "old");
    EXPECT_EQ(fileclose(unit), 0);
    EXPECT_TRUE(fs::is_symlink(path("link")));
    EXPECT_EQ(fs::status(path("fort.7")).permissions(), kOwnerOnly);
    EXPECT_EQ(written(path("fort.7"), kOpenAppend, "two\n"), 0);
    ASSERT_EQ(fileopen(path("fort.7"), kOpenRead, unit), 0);
    EXPECT_TRUE(existfortdotfileunit(unit));
    EXPECT_EQ(filesize(unit), 8);
    EXPECT_TRUE(fileseek(unit, 4));
    char buffer[16];
    EXPECT_EQ(fileread(unit, buffer, sizeof buffer), 4);
    EXPECT_EQ(std::string(buffer, 4), "two\n");
    EXPECT_EQ(fileclose(unit), 0);

    EXPECT_EQ(written(path("new"), kOpenReplace, ""), 0);
    const mode_t mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(fs::status(path("new")).permissions(), static_cast<fs::perms>(0666 & ~mask));
}

TEST_F(ServicesTest, RefusedFiles) {
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    const std::string missing = "make a file in folder " + path("no") + " (for " + path("no/deck") + "): No such file",
                      folder = "open file " + directory_.native() + ": Is a directory";
    const std::tuple<std::string, std::int32_t, int, std::string> cases[] = {
        {path("pipe"), kOpenRead, EINVAL, "open file " + path("pipe") + ": Not a regular file"},
        {path("no/deck"), kOpenReplace, ENOENT, missing},
        {path("no/deck"), kOpenAppend, ENOENT, missing},
        {directory_, kOpenRead, EISDIR, folder},
        {directory_, kOpenReplace, EISDIR, folder}};
    for (const auto& [name, mode, error, message] : cases) {
        Unit unit = kNoUnit;
        EXPECT_EQ(fileopen(name, mode, unit), error) << name;
        EXPECT_EQ(unit, kNoUnit);
        EXPECT_TRUE(lastError().starts_with("fileopen: Cannot " + message)) << lastError();
    }
}

// What a process writes is not for its children to give up.
TEST_F(ServicesTest, AChildLeavesItsParentsFilesAlone) {
    Unit unit = kNoUnit;
    ASSERT_EQ(fileopen(path("whole"), kOpenReplace, unit), 0);
    EXPECT_EQ(inChild([] { return FamilyGiveUpFiles(), 0; }), 0);
    EXPECT_TRUE(filewrite(unit, "kept", 4));
    EXPECT_EQ(fileclose(unit), 0);
    EXPECT_EQ(contentOf(path("whole")), "kept");
}

TEST_F(ServicesTest, FailedOrGivenUpFilesStayAsTheyWere) {
    const auto giveUp = [](Unit& unit) {
        FamilyGiveUpFiles();
        EXPECT_TRUE(filewrite(unit, "lost", 4)) << "as a signal may come at any time";
        filediscard(unit);
    };
    const auto fail = [](Unit& unit) {
        // A limit on the size of files stands for a full disk; its signal would end the process.
        struct rlimit before {};
        ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
        const struct rlimit small { 10, before.rlim_max };
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
        EXPECT_FALSE(filewrite(unit, "more than ten bytes", 19));
        ::setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_EQ(fileclose(unit), EFBIG);
    };
    for (const std::int32_t mode : {kOpenReplace, kOpenAppend}) {
        for (void (*const end)(Unit&) : {+giveUp, +fail, +filediscard}) {
            std::ofstream(path("old")) << "old";
            Unit unit = kNoUnit;
            ASSERT_EQ(fileopen(path("old"), mode, unit), 0);
            EXPECT_TRUE(filewrite(unit, "new", 3));
            end(unit);
            EXPECT_EQ(contentOf(path("old")), "old") << mode;
            EXPECT_EQ(std::distance(fs::directory_iterator(directory_), {}), 1);
        }
    }
}

TEST_F(ServicesTest, FlushedBeforeAndAfterTheNameIsNew) {
    const struct {
        const char *old, *after;
        std::int32_t mode;
        std::vector<std::string> flushed;
    } cases[] = {{nullptr, "new\n", kOpenReplace, {"temporary", "folder"}},
                 {"old\n", "new\n", kOpenReplace, {"temporary", "folder"}},
                 {nullptr, "new\n", kOpenAppend, {"file", "folder"}},
                 {"old\n", "old\nnew\n", kOpenAppend, {"file"}},
                 {"old", "old\nnew\n", kOpenAppend, {"file"}},
                 {"", "new\n", kOpenAppend, {"file"}}};
    for (const auto& test : cases) {
        for (const int failing : {0, EIO}) {
            fs::remove(path("a"));
            if (test.old != nullptr) std::ofstream(path("a")) << test.old;
            flushed.clear();
            flushOfFolderFails = failing;
            FamilyClearLastError();
            const bool told = failing != 0 && test.flushed.back() == "folder";
            EXPECT_EQ(written(path("a"), test.mode, "new\n"), told ? EIO : 0);
            EXPECT_EQ(flushed, test.flushed) << test.after;
            EXPECT_EQ(contentOf(path("a")), test.after);
            EXPECT_EQ(lastError(), told ? "fileclose: Cannot flush the folder of a file that is written, " +
                                              directory_.native() + ": Input/output error"
                                        : "");
        }
    }
    flushOfFolderFails = 0;
}

TEST_F(ServicesTest, LostReaderDoesNotEndTheProcess) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    Unit unit = kNoUnit;
    ASSERT_EQ(fileopen("/dev/fd/" + std::to_string(ends[1]), kOpenReplace, unit), 0);
    ::close(ends[0]);
    EXPECT_FALSE(filewrite(unit, "lost", 4));
    EXPECT_EQ(fileclose(unit), EPIPE);
    ::close(ends[1]);
}

TEST(Getinputfilename, Values) {
    const std::pair<const char*, const char*> cases[] = {{"OBSFIL deck.txt", "deck.txt"},
                                                         {"OBSFIL=deck.txt\r\n", "deck.txt"},
                                                         {"OBSFIL =", ""},
                                                         {"OBSFIL \t = a b.txt  ", "a b.txt"},
                                                         {"OBSFIL = \"a b \" rest", "a b "}};
    for (const auto& [line, value] : cases) { EXPECT_EQ(getinputfilename(line), value) << line; }
    EXPECT_EQ(inputstrtoint("TTY_YEAR = 2004"), 2004);
}

TEST(Chararrtostr, EndsAtNulOrBlanks) {
    for (const std::size_t length : {0U, 15U, 16U, 17U, 495U, 496U, 511U, 512U}) {
        const std::string text(length, 'x');
        char array[512];
        strtochararr(text + std::string(700 - length, length == 512 ? '!' : ' '), array);
        EXPECT_EQ(chararrtostr(array), text);
        EXPECT_EQ(chararrtostr(text.c_str()), text);  // a sanitizer sees a read past the NUL
    }
    EXPECT_EQ(compresscsvline(" ,1, 2 .5,  ,3, "), ",1,2.5,,3,");
}

TEST(Readreal, WrittenForms) {
    const std::tuple<const char*, int, double> cases[] = {
        {"    ", 3, 0},      {" - 1 2 . 5 ", 0, -12.5},
        {"+1.5E+2", 0, 150}, {"1.5d-2", 0, 0.015},
        {"5.", 0, 5},        {"12345", 4, 1.2345},
        {"1.5", 4, 1.5},     {"-3", 1, -0.3},
        {"1e-400", 0, 0},    {"1e999999999999", 0, std::numeric_limits<double>::max()}};
    double value = -1;
    for (const auto& [text, impliedDecimals, expected] : cases) {
        EXPECT_TRUE(readreal(text, impliedDecimals, value)) << text;
        EXPECT_EQ(value, expected) << text;
    }
    for (const char* text : {"-", ".", "inf", "nan", "1e", "e5", "1.2.3", "1,5", "0x10", "1e5.0", "1-"}) {
        value = -1;
        EXPECT_FALSE(readreal(text, 0, value)) << text;
        EXPECT_EQ(value, 0) << text;
    }
    EXPECT_EQ(std::pair(strtoint("-1.9"), strtoint("2147483648")), std::pair(-1, 2147483647));
}

TEST(Readreal, RoundsAsTheRuntimeDoes) {
    std::mt19937_64 random(7);
    for (int i = 0; i < 20000; ++i) {
        const std::string digits = std::to_string((random() >> 1) >> (random() % 60));
        const int decimals = static_cast<int>(random() % 20);
        double value = 0;
        ASSERT_TRUE(readreal(digits, decimals, value));
        ASSERT_EQ(value, std::strtod((digits + "e-" + std::to_string(decimals)).c_str(), nullptr)) << digits;
        char text[64];
        std::snprintf(text, sizeof text, "%.*g", 1 + i % 21, value * std::pow(10, i % 580 - 300));
        ASSERT_EQ(strtoreal(text), std::strtod(text, nullptr)) << text;
    }
}

TEST(Alpha5, BothWays) {
    for (int number = 0; number <= 339999; number += 7) {
        char text[5];
        numtoalpha5(number, text);
        ASSERT_EQ(alpha5tonum({text, 5}), number);
    }
    const std::pair<const char*, std::int32_t> cases[] = {
        {"A0000", 100000}, {"j2931", 182931}, {"P4018", 234018}, {"Z9999", 339999}, {"    5", 5},
        {"     ", 0},      {"I0000", -1},     {"O0000", -1},     {"A000", -1},      {"0A000", -1},
        {"-0001", -1},     {"1234.", -1},     {"2147483648", -1}};
    for (const auto& [text, number] : cases) {
        std::int32_t found = -1;
        EXPECT_EQ(readalpha5(text, found) ? found : -1, number) << text;
    }
    char text[5];
    numtoalpha5(5, text);
    EXPECT_EQ(std::string(text, 5), "00005");
    numtoalpha5(340000, text);
    EXPECT_EQ(std::string(text, 5), "*****");
}

TEST(Degtohhmmsss, RoundsAndReduces) {
    for (const auto& [degrees, expected] : {std::pair{359.9999, "0000000"},
                                            // clang-format off
                                            {359.9997, "2359599"}, {-15.0, "2300000"}, {375.0, "0100000"},
                                            {-1e-20, "0000000"}, {0.49 / 2400, "0000000"}, {0.5 / 2400, "0000001"},
                                            // clang-format on
                                            {HUGE_VAL, "*******"}}) {
        char text[7];
        degtohhmmsss_str(degrees, text);
        EXPECT_EQ(std::string(text, 7), expected) << degrees;
    }
}

TEST(Eqr, FourUnitsInTheLastPlace) {
    constexpr double kUnit = std::numeric_limits<double>::epsilon();
    EXPECT_TRUE(eqr(1.5, 1.5 + 4 * kUnit) && neqr(1.5, 1.5 + 5 * kUnit) && neqr(0.0, 5e-324));
}

TEST(Nextsatkey, FixedValuesAndChains) {
    // Stored keys outlive a process, so the hash may not change: values of its first release.
    EXPECT_EQ(nextsatkey(12'960'000'012'345'211, 0), 12'960'008'494'141'061);
    EXPECT_EQ(nextsatkey(12'960'008'494'141'061, 0), 12'960'009'267'986'577);
    EXPECT_NE(nextsatkey(12'960'000'012'345'211, 1), 12'960'008'494'141'061);
    EXPECT_EQ(nextsatkey(-1, 0), -1);
    EXPECT_EQ(nextsatkey(3'170'880'000'000'000'000, 0), -1);
    constexpr std::int64_t kTenDigits = 10'000'000'000;
    std::unordered_set<std::int64_t> seen;
    for (std::int64_t start = 12'345'678 * kTenDigits, i = 0, key = 0; i < 20'000; ++i) {
        key = i % 100 == 0 ? nextsatkey(start++, 0) : nextsatkey(key, 0);
        ASSERT_EQ(key / kTenDigits, 12'345'678);
        ASSERT_GE(key % kTenDigits, 3'400'000'000);
        seen.insert(key);
    }
    EXPECT_GE(seen.size(), 19'998U);  // 20,000 draws from 6.6e9 hardly ever meet
}

}  // namespace
}  // namespace family
