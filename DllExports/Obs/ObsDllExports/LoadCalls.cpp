// SPDX-License-Identifier: Apache-2.0
// Group "loading" of the exported header.
#include <new>
#include <optional>
#include <string>

#include "DllExports/Obs/ObsDllExports/CallGuard.h"
#include "DllExports/Obs/ObsDllVarsUtils/Conversions.h"
#include "Obs/ObsCardReading/Loading/LoadFile.h"
#include "Obs/ObsCardReading/Loading/ReadObs.h"
#include "Obs/ObsTree/Store.h"

namespace {

using obs::kNoKey;
using obs::kStatusOk;
using obs::kStatusRefused;

bool areOptions(const ObsLoadOptions& options) {
    const auto isOneOfThree = [](int32_t choice) { return choice >= 0 && choice <= 2; };
    return options.size == sizeof options && options.ttyYear >= -1 && isOneOfThree(options.settingsLines) &&
           isOneOfThree(options.includes) && options.maxLines >= 0 && options.maxBadTold >= 0 &&
           options.maxIncludes >= 0;
}

/// The options that a caller gives; logged and nothing when they are none.
std::optional<obs::LoadOptions> takeOptions(std::string_view name, const ObsLoadOptions* options, int32_t gid) {
    const ObsLoadOptions none{sizeof(ObsLoadOptions), 0, 0, 0, 0, 0, 0};
    const ObsLoadOptions& given = options != nullptr ? *options : none;
    if (!areOptions(given)) {
        obs::logFailure(name, "The options have another size, or a value out of range.");
        return std::nullopt;
    }
    return obs::LoadOptions{gid,
                            given.ttyYear,
                            static_cast<obs::SettingsLines>(given.settingsLines),
                            static_cast<obs::Includes>(given.includes),
                            false,
                            given.maxLines,
                            given.maxBadTold,
                            given.maxIncludes};
}

constexpr const char* kFromFile = "file";
constexpr const char* kFromMemory = "memory as";

/// A load goes on where memory does not suffice for the line.
void announce(std::string_view shownName, const char* from, std::string_view file) noexcept {
    try {
        std::string said(shownName);
        said.append(": Reading observation data from ").append(from).append(" \"").append(file).append("\".");
        family::traceloginfo(said);
    } catch (const std::bad_alloc&) {}
}

/// NOTE: the information line names the same function for all entry points of a reader of files.
template <class Reader>
int32_t load(std::string_view name, std::string_view shownName, const char* from, const char* fileName, Reader&& read) {
    return obs::guarded(
        name, kStatusRefused,
        [&] {
            const std::string_view file = obs::trimmedText(fileName);
            announce(shownName, from, file);
            return read(file);
        },
        "The last observation line is bad: it names no satellite, or has a number or time that makes no key.");
}

int32_t loadFile(std::string_view name, std::string_view shownName, const char* fileName, int32_t gid,
                 int32_t (*read)(std::string_view, int32_t)) {
    if (obs::refuseNull(name, {fileName})) return kStatusRefused;
    return load(name, shownName, kFromFile, fileName, [&](std::string_view file) { return read(file, gid); });
}

template <class Reader>
int32_t loadText(std::string_view name, const char* textName, const char* text, int64_t length, Reader&& read) {
    if (obs::refuseNull(name, {textName, text}) || obs::refuseLength(name, length)) return kStatusRefused;
    const std::string_view bytes(text, static_cast<std::size_t>(length));
    return load(name, name, kFromMemory, textName, [&](std::string_view shown) { return read(shown, bytes); });
}

int32_t refuseLine(std::string_view name, const obs::CardText& line) {
    std::string reason = "This isn't an observation (";
    obs::logFailure(name, reason.append(line.text()).append(")."));
    return kStatusRefused;
}

int64_t addB3Card(std::string_view name, const char* b3Card) {
    if (obs::refuseNull(name, {b3Card})) return kNoKey;
    return obs::guarded(name, kNoKey, [&] { return obs::AddFrB3Card(obs::cardText(b3Card)); });
}

int64_t addTTYCards(std::string_view name, const char* card1, const char* card2) {
    if (obs::refuseNull(name, {card1, card2})) return kNoKey;
    return obs::guarded(name, kNoKey, [&] { return obs::AddFrTTYCards(obs::cardText(card1), obs::cardText(card2)); });
}

int64_t addCsv(std::string_view name, const char* csvLine) {
    if (obs::refuseNull(name, {csvLine})) return kNoKey;
    return obs::guarded(name, kNoKey, [&] { return obs::AddFrCsv(obs::cardText(csvLine)); });
}

}  // namespace

int32_t ObsLoadFile(const char* fileName) {
    return loadFile("ObsLoadFile", "ObsLoadFile", fileName, 0, obs::ReadObsFrFile);
}

int32_t ObsLoadFileGID(const char* fileName, int32_t gid) {
    return loadFile("ObsLoadFileGID", "ObsLoadFile", fileName, gid, obs::ReadObsFrFile);
}

int32_t ObsLoadFileWith(const char* fileName, int32_t gid, const ObsLoadOptions* options) {
    constexpr std::string_view kName = "ObsLoadFileWith";
    if (obs::refuseNull(kName, {fileName})) return kStatusRefused;
    const auto given = takeOptions(kName, options, gid);
    if (!given) return kStatusRefused;
    return load(kName, "ObsLoadFile", kFromFile, fileName,
                [&](std::string_view file) { return obs::readObsWith(file, *given); });
}

int32_t ObsLoadText(const char* name, const char* text, int64_t length, int32_t gid, const ObsLoadOptions* options) {
    constexpr std::string_view kName = "ObsLoadText";
    const auto given = takeOptions(kName, options, gid);
    if (!given) return kStatusRefused;
    return loadText(kName, name, text, length, [&](std::string_view shown, std::string_view bytes) {
        return obs::readObsText(shown, bytes, *given);
    });
}

int32_t ObsLoadSlrText(const char* name, const char* text, int64_t length, int32_t gid) {
    return loadText("ObsLoadSlrText", name, text, length, [&](std::string_view shown, std::string_view bytes) {
        return obs::readSlrText(shown, bytes, gid);
    });
}

int32_t ObsKeepOrigins(int32_t wanted) {
    if (wanted != 0 && wanted != 1) {
        obs::logFailure("ObsKeepOrigins", "Origins are wanted (1) or not (0).");
        return kStatusRefused;
    }
    return obs::guarded("ObsKeepOrigins", kStatusRefused, [&] {
        obs::obskeeporigins(wanted == 1);
        return kStatusOk;
    });
}

int32_t ObsGetOrigin(int64_t obsKey, char fileName[512], int64_t* line) {
    constexpr std::string_view kName = "ObsGetOrigin";
    if (obs::refuseNull(kName, {fileName, line})) return kStatusRefused;
    family::strtochararr({}, fileName);
    *line = 0;
    return obs::guarded(
        kName, kStatusRefused,
        [&] {
            obs::Origin origin;
            std::string file;
            if (!obs::obsfindorigin(obsKey, origin, file)) return kStatusRefused;
            family::strtochararr(file, fileName);
            *line = origin.line;
            return kStatusOk;
        },
        "There is no such observation, or none that came from a file while origins were kept (ObsKeepOrigins).");
}

int32_t ObsLoadSlrFile(const char* fileName) {
    return loadFile("ObsLoadSlrFile", "ObsLoadSlrFile", fileName, 0, obs::ReadSlrFrFile);
}

int32_t ObsLoadSlrFileGID(const char* fileName, int32_t gid) {
    return loadFile("ObsLoadSlrFileGID", "ObsLoadSlrFile", fileName, gid, obs::ReadSlrFrFile);
}

int32_t ObsLoadCard(const char* card) {
    if (obs::refuseNull("ObsLoadCard", {card})) return kStatusRefused;
    return obs::guarded(
        "ObsLoadCard", kStatusRefused,
        [&] {
            obs::LoadCounts counts;
            const obs::CardText line = obs::cardText(card);
            const obs::LineClass lineClass = obs::ObsCardType(line);
            return obs::hasReader(lineClass) ? obs::ReadObsRec(line, lineClass, counts)
                                             : refuseLine("ObsLoadCard", line);
        },
        obs::kNoKeyReason);
}

int32_t ObsLoadTwoCards(const char* card1, const char* card2) {
    if (obs::refuseNull("ObsLoadTwoCards", {card1, card2})) return kStatusRefused;
    return obs::guarded(
        "ObsLoadTwoCards", kStatusRefused,
        [&] {
            obs::LoadCounts counts;
            const obs::CardText line1 = obs::cardText(card1);
            const obs::LineClass lineClass = obs::ObsCardType(line1);
            if (!obs::hasReader(lineClass)) return refuseLine("ObsLoadTwoCards", line1);
            const bool mayBePair = lineClass == obs::LineClass::tty || lineClass == obs::LineClass::b3 ||
                                   lineClass == obs::LineClass::b3Extended;
            if (mayBePair && obs::ReadTTY2LineObs(line1, obs::cardText(card2), lineClass, counts) == kStatusOk)
                return kStatusOk;
            // NOTE: a second attempt with the first card alone: a bad B3 card is counted and reported twice.
            return obs::ReadObsRec(line1, lineClass, counts);
        },
        obs::kNoKeyReason);
}

int64_t ObsAddFrB3Card(const char* b3Card) { return addB3Card("ObsAddFrB3Card", b3Card); }

void ObsAddFrB3CardML(const char* b3Card, int64_t* obsKey) {
    if (obs::refuseNull("ObsAddFrB3CardML", {obsKey})) return;
    *obsKey = addB3Card("ObsAddFrB3CardML", b3Card);
}

int64_t ObsAddFrTTYCards(const char* card1, const char* card2) { return addTTYCards("ObsAddFrTTYCards", card1, card2); }

void ObsAddFrTTYCardsML(const char* card1, const char* card2, int64_t* obsKey) {
    if (obs::refuseNull("ObsAddFrTTYCardsML", {obsKey})) return;
    *obsKey = addTTYCards("ObsAddFrTTYCardsML", card1, card2);
}

int64_t ObsAddFrCsv(const char* csvLine) { return addCsv("ObsAddFrCsv", csvLine); }

void ObsAddFrCsvML(const char* csvLine, int64_t* obsKey) {
    if (obs::refuseNull("ObsAddFrCsvML", {obsKey})) return;
    *obsKey = addCsv("ObsAddFrCsvML", csvLine);
}

int32_t ObsGetLoadCounts(int64_t* loaded, int64_t* duplicate, int64_t* bad) {
    if (obs::refuseNull("ObsGetLoadCounts", {loaded, duplicate, bad})) return kStatusRefused;
    const obs::LoadCounts& counts = obs::latestLoad().counts;
    *loaded = counts.loaded;
    *duplicate = counts.duplicate;
    *bad = counts.bad;
    return kStatusOk;
}

int32_t ObsGetLoadLines(ObsLoadLines* lines) {
    if (obs::refuseNull("ObsGetLoadLines", {lines})) return kStatusRefused;
    if (lines->size != sizeof *lines) {
        obs::logFailure("ObsGetLoadLines", "The structure has another size.");
        return kStatusRefused;
    }
    const obs::LoadResult& load = obs::latestLoad();
    const obs::LineCounts& counts = load.lines;
    *lines = {lines->size,  counts.lines,      counts.observations, counts.comments,     counts.keywords,
              counts.laser, counts.passedOver, counts.zeroed,       load.includesLeftOut};
    return obs::kStatusOk;
}

static_assert(OBS_LINE_BAD == obs::kLineBad && OBS_LINE_DUPLICATE == obs::kLineDuplicate &&
              OBS_LINE_ZEROED == obs::kLineZeroed && OBS_LINE_PASSED_OVER == obs::kLinePassedOver &&
              OBS_LINE_KEYWORD_FAULT == obs::kLineKeywordFault &&
              OBS_LINE_INCLUDE_LEFT_OUT == obs::kLineIncludeLeftOut && OBS_LINE_SELECTION == obs::kLineSelection &&
              OBS_LINE_UNKNOWN_SENSOR == obs::kLineUnknownSensor && OBS_LINE_BROKEN_OFF == obs::kLineBrokenOff);

void ObsSetLoadCallback(void (*report)(int32_t kind, const char* fileName, int64_t lineNumber, const char* reason,
                                       void* user),
                        void* user) {
    obs::setLineReport(report, user);
}
