// SPDX-License-Identifier: Apache-2.0
// Every exported function in the ways in which it fails: each leaves its message, and none leaves two.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <functional>
#include <set>

#include "tests/CaseFile.h"
#include "tests/ExportTest.h"
#include "tests/LoadFixture.h"

namespace obs::test {

namespace {

/// A call that fails: the function, the beginnings of its messages with a "|" between them ("~" is "function: "), what
/// it returns, and itself.
struct Failing {
    std::string function, messages;
    std::int64_t result;
    std::function<std::int64_t()> call;
};

std::string cardWithKey() {
    static const std::string card = readCases(OBS_TEST_DATA "/b3/b3.cases")[0].card;
    return card;
}

std::string cardWithoutSatellite() { return cardWithKey().replace(1, 5, "00000").replace(80, 10, "0000000000"); }

const std::string kNoKeyCsv = "U,0,211,2024,1,12,0,0";
constexpr std::int64_t kUnknownKey = 12345;

}  // namespace

class Failures : public LoadFixture {
protected:
    void SetUp() override {
        LoadFixture::SetUp();
        setLineReport(nullptr, nullptr);
    }

    AllFields f_;
    Text a_, b_;
    double array_[64] = {}, noTime_[64] = {0, 0, 0, std::nan("")}, states_[64];
    double nanCriteria_[32] = {std::nan("")};
    double vector_[3] = {};
    std::int64_t key_ = 0;
    std::int32_t count_ = 0, dropped_[OBS_CRITERIA], numbers_[64];
    ObsLoadLines wrongSize_{};
    ObsLoadOptions noOptions_{};
    ObsReadState noState_{};
    ArrowArrayStream stream_{};
    std::int64_t counts_[OBS_ARROW_COUNTS];
    const char* columns_[3] = {"key", "key", "line"};
};

#define FIELDS(sat, time, rate, type) \
    'U', sat, 211, time, 1., 2., 3., rate, 0., 0., 0., type, 0, 0, 0, 0, vector_, vector_
#define FAILS(result, messages, function, ...)                                               \
    Failing {                                                                                \
#function, messages, result, [&]() -> std::int64_t { return function(__VA_ARGS__); } \
    }
#define FAILS_VOID(result, messages, function, ...)                                                             \
    Failing {                                                                                                   \
#function, messages, 0, [&]() -> std::int64_t { key_ = result; function(__VA_ARGS__); return key_ - (result); } \
    }
#define FAILS_ML(result, messages, function, ...)                                          \
    Failing {                                                                              \
#function, messages, result, [&]() -> std::int64_t { function(__VA_ARGS__); return key_; } \
    }

TEST_F(Failures, everyFailingCallLeavesItsMessage) {
    const std::string noSatellite = cardWithoutSatellite();
    const std::string noKey = write("no_key.txt", noSatellite + "\n"), missing = folder_ / "missing.txt";
    const std::string makesNoKey = "~No satellite number, or a number or time that makes no key.";
    const double nan = std::nan("");
    const std::string ttyCard = "))U   11200000001120000000000123456 1234567";
    SetTTYYear(2024);
    ASSERT_GT(ObsAddFrB3Card(cardWithKey().c_str()), 0);  // a group of an empty store is saved without a file
    const std::vector<Failing> calls{
        FAILS_VOID(0, "~A null pointer", ObsGetInfo, nullptr),
        FAILS(2, "ObsSetThreads: The number of threads must be from 0 to 256.", ObsSetThreads, -1),
        FAILS(2, "SetObsKeyMode: invalid input value for obs key mode.", SetObsKeyMode, 2),
        FAILS(2, "ObsSetLargePages: It is neither 0 nor 1.", ObsSetLargePages, 2),
        FAILS(-1, "~A number is negative", ObsFieldsToObsKey, -1, 211, 27000.),
        FAILS(-1, "~A number is negative, or the time", ObsFieldsToObsKey, 5, 211, nan),
        FAILS(-1, "~A number is negative", ObsFieldsToObsKeyML, 5, 211, 1e300, &key_),
        FAILS(2, "~The last observation line is bad", ObsLoadFile, noKey.c_str()),
        FAILS(ENOENT, "fileopen: Cannot open file", ObsLoadFile, missing.c_str()),
        FAILS(2, "~The last observation line is bad", ObsLoadFileGID, noKey.c_str(), 5),
        FAILS(ENOENT, "fileopen: ", ObsLoadSlrFile, missing.c_str()),
        FAILS(ENOENT, "fileopen: ", ObsLoadSlrFileGID, missing.c_str(), 5),
        FAILS(2, makesNoKey, ObsLoadCard, noSatellite.c_str()),
        FAILS(2, "ReadCsv: Bad date time", ObsLoadCard, ("U,5,211,24,1,0,0,0" + std::string(48, ',')).c_str()),
        FAILS(2, "ReadSlr: ", ObsLoadCard, "99999"),
        FAILS(2, makesNoKey, ObsLoadTwoCards, noSatellite.c_str(), ""),
        FAILS(2, "ReadB3Ext: Bad B|ReadB3Ext: Bad B", ObsLoadTwoCards, "B3E", ""),
        FAILS(-1, makesNoKey, ObsAddFrB3Card, noSatellite.c_str()),
        FAILS(-1, "AddFrB3Card: This isn't", ObsAddFrB3Card, "not a card"),
        FAILS_ML(-1, makesNoKey, ObsAddFrB3CardML, noSatellite.c_str(), &key_),
        FAILS(-1, makesNoKey, ObsAddFrTTYCards, ttyCard.c_str(), ""),
        FAILS_ML(-1, makesNoKey, ObsAddFrTTYCardsML, ttyCard.c_str(), "", &key_),
        FAILS(-1, makesNoKey, ObsAddFrCsv, kNoKeyCsv.c_str()),
        FAILS(-1, makesNoKey, ObsAddFrCsv, "U,-5,211,2024,1,12,0,0"),
        FAILS(-1, "ReadCsv: Bad date time", ObsAddFrCsv, "hello"),
        FAILS_ML(-1, makesNoKey, ObsAddFrCsvML, kNoKeyCsv.c_str(), &key_),
        FAILS(-1, makesNoKey, ObsAddFrFields, FIELDS(0, 27000., 0., '1'), array_),
        FAILS(-1, makesNoKey, ObsAddFrFields, FIELDS(5, nan, 0., '1'), array_),
        FAILS(-1, "AddFrFields: Invalid equinox", ObsAddFrFields, FIELDS(5, 27000., 4., '5'), array_),
        FAILS_ML(-1, makesNoKey, ObsAddFrFieldsML, FIELDS(-5, 27000., 0., '1'), array_, &key_),
        FAILS(-1, makesNoKey, ObsAddFrArray, array_),
        FAILS_ML(-1, makesNoKey, ObsAddFrArrayML, array_, &key_),
        FAILS(2, makesNoKey, ObsAddFrArrays, 1, array_, &key_),
        FAILS(2, "~The count must not", ObsAddFrArrays, -1, array_, &key_),
        FAILS(2, "~A null pointer", ObsGetLoadCounts, nullptr, nullptr, nullptr),
        FAILS(2, "~The structure has another size", ObsGetLoadLines, &wrongSize_),
        FAILS(2, "~The options have another size", ObsLoadFileWith, noKey.c_str(), 0, &noOptions_),
        FAILS(2, "~The last observation line is bad", ObsLoadFileWith, noKey.c_str(), 0, nullptr),
        FAILS(2, "~Origins are wanted (1) or not (0)", ObsKeepOrigins, 2),
        FAILS(2, "~There is no such observation, or none that", ObsGetOrigin, 7, a_, &key_),
        FAILS(2, "~The options have another size", ObsLoadText, "deck", "", 0, 0, &noOptions_),
        FAILS(2, "~The last observation line is bad", ObsLoadText, "deck", noSatellite.data(), 80, 0, nullptr),
        FAILS(2, "~The length must not be negative", ObsLoadText, "deck", "", -1, 0, nullptr),
        FAILS(2, "~A null pointer", ObsLoadSlrText, "deck", nullptr, 0, 0),
        FAILS(2, "~The length must not be negative", ObsIdentifyText, "", -1, &count_, &numbers_[0], a_),
        FAILS(
            2, "~The state has another size", ObsReadLines, "", 0, &noState_,
            [](const double*, std::int64_t, std::int64_t, void*) {}, nullptr, nullptr),
        FAILS(2, "~The state has another size", ObsReadStateToText, &noState_, a_),
        FAILS(2, "~This is not the text of a state", ObsReadStateFromText, "obs1 year=x", &noState_),
        FAILS(2, "~A null pointer", ObsGetNamedFile, nullptr, "", a_),
        FAILS(ENOENT, "fileopen: ", ObsIdentifyFile, "/missing", &count_, &numbers_[0], a_),
        FAILS(2, "~The line has no such group", ObsGetLineColumn, "x", "", 1, a_, b_, a_, numbers_),
        FAILS(2, "~A null pointer", ObsGetLineKind, nullptr, a_),
        FAILS(2, "~The state has another size", ObsReadArrow, "", 0, &noState_, nullptr, nullptr, 0, 0, nullptr,
              nullptr, &stream_),
        FAILS(2, "~Unable to locate 1 of 1", ObsExportArrow, 1, &kUnknownKey, 0, nullptr, 0, 0, &stream_),
        FAILS(2, "~Column \"line\": Stored", ObsExportArrow, -1, nullptr, 0, columns_ + 2, 1, 0, &stream_),
        FAILS(2, "~Column \"key\": It occurs twice", ObsExportArrow, -1, nullptr, 0, columns_, 2, 0, &stream_),
        FAILS(2, "~The count must not", ObsExportArrow, -2, nullptr, 0, nullptr, 0, 0, &stream_),
        FAILS(2, "~The number of rows of a batch", ObsExportArrow, -1, nullptr, 0, nullptr, 0, -1, &stream_),
        FAILS(2, "~The stream has been released", ObsImportArrow, &stream_, 0, 0, counts_, 0, nullptr),
        FAILS(-1, "~The place is not in the text", ObsNextCut, "", 0, 1),
        FAILS(2, "~the troposphere", ObsSetSlrCorrections, 3, 0),
        FAILS(2, "~the correction must be", ObsGetSlrCorrectionCounts, 3, &key_, &key_, &key_),
        FAILS(2, "~A null pointer", ObsGetSaveCounts, nullptr, &key_, &key_, &count_),
        FAILS(-1, "~there is no such kind", ObsGetSaveCountOf, 0),
        {"ObsB3Parse", "~Invalid or unsupported obs format.", 2, [&] { return f_.parse("SELOB"); }},
        FAILS(2, "~Invalid or unsupported obs format.", ObsParse, "SELOB", "", array_),
        FAILS(2, "~Unable to locate obsKey", ObsGetB3Card, kUnknownKey, a_),
        FAILS(2, "~Invalid equinox", ObsFieldsToB3Card, FIELDS(5, 27000., 4., '5'), a_),
        FAILS(2, "~Unable to locate obsKey", ObsGetTTYCard, kUnknownKey, a_, b_),
        FAILS(2, "~Invalid equinox", ObsFieldsToTTYCard, FIELDS(5, 27000., 4., '9'), a_, b_),
        FAILS(2, "~Unable to locate obsKey", ObsGetCsv, kUnknownKey, a_),
        FAILS(2, "CreateCsvObs: Error - CSV format doesn't support type 7", ObsFieldsToCsv, FIELDS(5, 27000., 0., '7'),
              a_),
        FAILS(2, "CreateCsvObs: Error - Unable to construct", ObsFieldsToCsv, FIELDS(5, nan, 0., '1'), a_),
        {"ObsGetAllFields", "~Unable to locate obsKey", 2, [&] { return f_.get(kUnknownKey); }},
        FAILS(2, "~Unable to locate obsKey", ObsDataToArray, kUnknownKey, array_),
        FAILS(2, "~Unable to locate 1 of 1", ObsDataToArrays, 1, &kUnknownKey, states_),
        FAILS(2, "~Invalid or unsupported obs format.", ObsArrToLines, array_, 3, a_, b_),
        FAILS(2, "~No format has this save form", ObsGetCards, 1, &kUnknownKey, 9, a_, 512, &key_, &count_, numbers_),
        FAILS(2, "~Unable to locate 1 of 1", ObsGetCards, 1, &kUnknownKey, 0, a_, 512, &key_, &count_, numbers_),
        FAILS(2, "~Unable to locate 1 of 1", ObsGetStatesMany, 1, &kUnknownKey, 0, states_, numbers_),
        FAILS(2, "~No format has this save form", ObsGetLines, kUnknownKey, 9, a_, b_),
        FAILS(2, "~Unable to locate obsKey", ObsGetLines, kUnknownKey, 0, a_, b_),
        FAILS(2, "~The elements are numbered", ObsGetElementInfo, 64, a_, b_),
        FAILS(2, "ObsGetAllFields: Unable to locate obsKey", ObsGetField, kUnknownKey, 9, a_),
        FAILS(2, "~Unable to locate obsKey", ObsSetField, kUnknownKey, 9, "1"),
        FAILS(2, "ObsGetAllFields: Unable", ObsUpdateFrFields, kUnknownKey, 'U', 1., 2., 3., 0., 0., 0., 0., '1', 0, 0,
              0, 0, vector_, vector_),
        FAILS(2, "~The field indices", ObsGetFieldReals, 1, &kUnknownKey, 38, states_),
        FAILS(2, "~Unable to locate 1 of 1", ObsGetFieldReals, 1, &kUnknownKey, 9, states_),
        FAILS(2, "~The field indices", ObsGetFieldInfo, 38, a_, b_, b_),
        FAILS(2, "~The columns are numbered", ObsGetColumnInfo, -1, a_, b_, numbers_),
        FAILS(2, "~The columns are numbered", ObsGetColumnReals, 1, &kUnknownKey, 1000, states_),
        FAILS(2, "~Unable to locate 1 of 1", ObsGetColumnReals, 1, &kUnknownKey, 0, states_),
        FAILS(2, "~The observation types are", ObsGetTypeInfo, 20, &f_.type, a_, numbers_),
        FAILS(2, "~The formats are numbered", ObsGetFormatInfo, ObsGetFormatCount(), a_, b_, numbers_),
        FAILS(2, "~The observation types are", ObsGetFormatPrecision, 0, 20, states_, numbers_),
        FAILS(2, "~", ObsDataToStates, noTime_, states_),
        FAILS(2, "~Unable to locate obsKey", ObsGetStates, kUnknownKey, states_, 0),
        FAILS(2, "B32Csv: This isn't a valid B3/B3E card.", ObsB3ToCsv, "x", a_),
        FAILS(2, "ReadCsv: Bad date time|Csv2B3: This isn't a valid CSV observation.", ObsCsvToB3, "hello", 0, a_),
        FAILS(2, "ReadCsv: Bad date time|Csv2TTY: This isn't a valid CSV observation.", ObsCsvToTTY, "hello", 0, a_,
              b_),
        FAILS(2, "ReadTTY1stLine: Bad TTY card (|TTY2Csv: This isn't a valid TTY card.", ObsTTYToCsv, "))U   x", "",
              a_),
        FAILS(-1, "~No observation type", ObsTypeCToI, '?'),
        FAILS(' ', "~No character", ObsTypeIToC, 12),
        FAILS_VOID(-7, "~A null pointer", ObsGetLoaded, 1, nullptr),
        FAILS_VOID(-7, "~A null pointer", ObsGetLoadedGID, 1, 1, nullptr),
        FAILS(2, "RemoveNode: Unable to locate this key", ObsRemove, kUnknownKey),
        FAILS(2, "~There is room for 0 of 1 keys.", ObsListKeys, 0, 0, 0, 0, nullptr, &count_),
        FAILS(2, "~There is room for 0 of 1 passes.", ObsGetPasses, -1, nullptr, 0, nullptr, &count_),
        FAILS(2, "~Unable to locate 1 of 1", ObsGetPasses, 1, &kUnknownKey, 0, nullptr, &count_),
        FAILS(2, "~Unable to locate 1 of 1", ObsRemoveKeys, 1, &kUnknownKey),
        FAILS_VOID(-7, "~A criterion is not a number", ObsGetSelected, nanCriteria_, 1, &count_, &key_),
        FAILS(2, "~\"x\" (column 1) is not one of the names", ObsSetSelObs, "x"),
        FAILS_VOID(-7, "~\"sat\" (column 1) is not followed", ObsGetSelectedByText, "sat", 1, &count_, &key_),
        FAILS(2, "~\"x\" (column 5) is not a satellite", ObsGetTermCounts, "sat=x", 0, &count_, dropped_, nullptr,
              nullptr, nullptr),
        FAILS(2, "~\"x\" (column 5) is not a satellite", ObsGetSelectionColumns, "sat=x", a_),
        FAILS(-1, "~\"x\" (column 5) is not a satellite", ObsMayMeet, "sat=x", vector_, nullptr),
        FAILS(-1, "~A real is not a number", ObsMayMeet, "", nanCriteria_, nullptr),
        FAILS(2, "~The stream has been released", ObsSelectRows, "", &stream_, 0, nullptr, counts_),
        FAILS(2, "~A criterion is not a number", ObsGetSelectionCounts, nanCriteria_, &count_, dropped_),
        FAILS(ENOENT, "fileopen: ", ObsSaveFile, (missing + "/x").c_str(), 0, 0),
        FAILS(ENOENT, "fileopen: ", ObsSaveFileGID, (missing + "/x").c_str(), 0, 0, 0),
        FAILS(2, "~the data type must be", ObsSaveSlrFile, missing.c_str(), 0, 2),
        FAILS(2, "~the data type must be", ObsSaveSlrFileGID, missing.c_str(), 0, 0, 2),
        FAILS(2, "~no place", FamilyGetLastError, nullptr),
        FAILS(2, "~Cannot open file", FamilyOpenLog, (missing + "/x").c_str()),
        FAILS(2, "~the mode must be", FamilySetAllKeyMode, 1, 2),
        FAILS(2, "~the mode must be", FamilySetDupKeyMode, 2),
        FAILS(2, "fileopen: ", FamilyLoadSensors, missing.c_str()),
        FAILS(2, "~The first line", FamilyLoadSensors, noKey.c_str()),
        FAILS(2, "~the sensor number", FamilyAddSensor, -1, "x", 0, 0, 0),
        FAILS(2, "~There are more sensors", FamilyListSensors, 0, nullptr, &count_),
        FAILS(2, "getsendata: Sensor 4711", FamilyGetSensor, 4711, a_, vector_, vector_, vector_),
        FAILS(2, "~UT1-UTC is at most", FamilySetEarthOrientation, 99, 0, 0, 0),
        FAILS(2, "fileopen: ", FamilyLoadEarthOrientation, missing.c_str()),
    };
    std::set<std::string> tried{"ObsInit",
                                "ObsSetTTYYear",
                                "GetObsKeyMode",
                                "ObsGetThreads",
                                "ObsGetCount",
                                "ObsGetCountGID",
                                "ObsRemoveGID",
                                "ObsRemoveAll",
                                "ObsResetSelObs",
                                "ObsSetLoadCallback",
                                "ObsSetSaveCallback",
                                "ObsGetFormatCount",
                                "ObsSetProgressCallback"};  // these have no way to fail
    for (const Failing& one : calls) {
        tried.insert(one.function);
        log_.errors.clear();
        FamilyClearLastError();
        EXPECT_EQ(one.call(), one.result) << one.function;
        std::vector<std::string> expected = split(one.messages, '|');
        ASSERT_EQ(log_.errors.size(), expected.size()) << one.function << testing::PrintToString(log_.errors);
        for (std::size_t i = 0; i < expected.size(); ++i) {
            if (expected[i][0] == '~') expected[i].replace(0, 1, one.function + ": ");
            EXPECT_EQ(log_.errors[i].substr(0, expected[i].size()), expected[i]);
        }
        EXPECT_EQ(FamilyGetLastError(a_), 1) << one.function;
    }
    for (std::int32_t (*silent)(std::int64_t) : {SatNumFrObsKey, SenNumFrObsKey}) {
        log_.errors.clear();
        EXPECT_EQ(silent(kUnknownKey), -1);
        EXPECT_TRUE(log_.errors.empty());
    }
    tried.insert({"SatNumFrObsKey", "SenNumFrObsKey"});
    std::ifstream header(OBS_TEST_DATA "/../../DllExports/Obs/ObsDllExports/ObsDllExports.h");
    int declared = 0;
    for (std::string line; std::getline(header, line);) {
        if (!line.starts_with("OBS_API ")) continue;
        const std::string start = line.substr(0, line.find('(')), name = start.substr(start.rfind(' ') + 1);
        EXPECT_TRUE(tried.contains(name)) << name << " is in no row";
        ++declared;
    }
    EXPECT_GE(declared, 85);
}

// What is not an observation is stored in neither key mode; what is one, whatever its kind, in both.
TEST_F(Failures, singleLinesInBothKeyModes) {
    const std::string csv = "U,5,211,2024,1,12,0,0" + std::string(48, ',');
    const std::string rf =
        "2024:01:15::12:34:56.123456 1500 1 2 1 CDE_ESP 0 CTU_ESP 0 25544 7 2024:01:15::12:34:56 1 A B C";
    for (const std::int32_t mode : {0, 1}) {
        SetObsKeyMode(mode);
        for (const char* line : {"", "x", "OBSFIL x", "TTY_YEAR 2021", "SELOB sat=5", "SLROBS", "VM_DMA_OBS_ON",
                                 "H1 CRD  2 2024  1  1 12", "U garbage", "99999", "* comment"}) {
            for (const std::string name : {"ObsLoadTwoCards", "ObsLoadCard"}) {
                log_.errors.clear();
                EXPECT_EQ(name == "ObsLoadCard" ? ObsLoadCard(line) : ObsLoadTwoCards(line, line), 2) << line;
                ASSERT_EQ(log_.errors.size(), 1u) << line << testing::PrintToString(log_.errors);
                const std::string own = name + ": This isn't an observation (" + line + ").";
                EXPECT_EQ(log_.errors[0], line == std::string("99999") ? log_.errors[0] : own);
            }
        }
        EXPECT_EQ(ObsGetCount(), 0);
        EXPECT_EQ(GetObsKeyMode(), mode);
        for (const std::string& line : {csv, rf, cardWithKey()}) {
            EXPECT_EQ(ObsLoadTwoCards(line.c_str(), ""), 0) << line << testing::PrintToString(log_.errors);
            std::int64_t key = 0;
            ASSERT_EQ(ObsGetCount(), 1) << line;
            ObsGetLoaded(9, &key);
            EXPECT_GT(SatNumFrObsKey(key), 0) << line;
            ObsRemoveAll();
        }
    }
}

}  // namespace obs::test
