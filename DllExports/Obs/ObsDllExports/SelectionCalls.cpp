// SPDX-License-Identifier: Apache-2.0
// Group "selection" of the exported header.
#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "DllExports/Obs/Columns/ArrowNodes.h"
#include "DllExports/Obs/Columns/RowFilter.h"
#include "DllExports/Obs/ObsDllExports/CallGuard.h"
#include "Obs/ObsCardReading/Loading/SelectionText.h"
#include "Obs/ObsTree/Ordering.h"
#include "Obs/ObsTree/Passes.h"
#include "Obs/ObsTree/Selection.h"

namespace {

using obs::kStatusOk;
using obs::kStatusRefused;

static_assert(OBS_CRITERIA == obs::kCountedCriteria);
static_assert(OBS_KNOWN_REALS == 2 * obs::KnownValues::kNumbers && OBS_KNOWN_TEXTS == 2 * obs::KnownValues::kTexts);

/// Reads the criteria; false after a message.
bool takeCriteria(std::string_view name, const double* criteria, obs::ObsSelection& selection) {
    const obs::MaybeRefusal refusal = obs::selectionFromArray(criteria, selection);
    if (refusal) obs::logFailure(name, refusal->message());
    return !refusal;
}

/// Reads criteria that are a text; what is wrong, after a message.
std::optional<obs::SelectionFault> takeText(std::string_view name, const char* criteria, obs::SelectionText& parsed,
                                            const std::vector<std::string>* files = nullptr) {
    const std::string_view text = family::chararrtostr(criteria);
    auto fault = obs::parseSelection(text, obs::DoubtfulDates::refused, parsed, files);
    if (fault) family::tracelogerror(obs::selectionMessage(name, text, *fault));
    return fault;
}

/// Rows that are not stored: their files are known when they are read.
const std::vector<std::string> kNoFiles;

}  // namespace

void ObsGetSelected(const double criteria[32], int32_t order, int32_t* count, int64_t* keys) {
    if (obs::refuseNull("ObsGetSelected", {count})) return;
    *count = 0;
    if (obs::refuseNull("ObsGetSelected", {criteria, keys})) return;
    obs::guarded("ObsGetSelected", kStatusRefused, [&] {
        obs::ObsSelection own;
        if (!takeCriteria("ObsGetSelected", criteria, own)) return kStatusRefused;
        if (!obs::obstreeisempty()) *count = obs::obsgetselected(own, obs::currentSelection(), order, keys);
        return kStatusOk;
    });
}

void ObsResetSelObs(void) { obs::setSelection({}); }

int32_t ObsSetSelObs(const char* criteria) {
    if (obs::refuseNull("ObsSetSelObs", {criteria})) return kStatusRefused;
    return obs::guarded("ObsSetSelObs", kStatusRefused, [&] {
        const bool good =
            obs::setSelectionFromText("ObsSetSelObs", family::chararrtostr(criteria), obs::DoubtfulDates::refused);
        return good ? kStatusOk : kStatusRefused;
    });
}

int32_t ObsGetSelectionCounts(const double criteria[32], int32_t* selected, int32_t dropped[OBS_CRITERIA]) {
    if (obs::refuseNull("ObsGetSelectionCounts", {criteria, selected, dropped})) return kStatusRefused;
    *selected = 0;
    std::fill_n(dropped, OBS_CRITERIA, 0);
    return obs::guarded("ObsGetSelectionCounts", kStatusRefused, [&] {
        obs::ObsSelection own;
        if (!takeCriteria("ObsGetSelectionCounts", criteria, own)) return kStatusRefused;
        const obs::SelectionCounts counts = obs::countSelected(own, obs::currentSelection());
        *selected = counts.selected;
        std::copy(counts.dropped.begin(), counts.dropped.end(), dropped);
        return kStatusOk;
    });
}

void ObsGetSelectedByText(const char* criteria, int32_t order, int32_t* count, int64_t* keys) {
    if (obs::refuseNull("ObsGetSelectedByText", {count})) return;
    *count = -1;
    if (obs::refuseNull("ObsGetSelectedByText", {criteria, keys})) return;
    obs::guarded("ObsGetSelectedByText", kStatusRefused, [&] {
        obs::SelectionText parsed;
        if (takeText("ObsGetSelectedByText", criteria, parsed)) return kStatusRefused;
        *count = obs::obstreeisempty() ? 0 : obs::obsgetselected(parsed.selection, {}, order, keys);
        return *count < 0 ? kStatusRefused : kStatusOk;
    });
}

int32_t ObsGetTermCounts(const char* criteria, int32_t room, int32_t* selected, int32_t* terms, int32_t* firstColumns,
                         int32_t* lastColumns, int32_t* drops) {
    constexpr std::string_view kName = "ObsGetTermCounts";
    if (obs::refuseNull(kName, {criteria, selected, terms})) return kStatusRefused;
    *selected = *terms = 0;
    if (obs::refuseCount(kName, room, {firstColumns, lastColumns, drops})) return kStatusRefused;
    return obs::guarded(kName, kStatusRefused, [&] {
        obs::SelectionText parsed;
        const auto put = [&](std::size_t i, obs::Columns columns) {
            if (i >= static_cast<std::size_t>(room)) return;
            firstColumns[i] = static_cast<std::int32_t>(columns.first);
            lastColumns[i] = static_cast<std::int32_t>(columns.last);
        };
        if (const auto fault = takeText(kName, criteria, parsed)) {
            put(0, fault->columns);
            return kStatusRefused;
        }
        const obs::TermCounts counts = obs::countTerms(parsed.selection);
        *selected = counts.selected;
        *terms = static_cast<std::int32_t>(parsed.terms.size());
        for (std::size_t i = 0; i < parsed.terms.size(); ++i) put(i, parsed.terms[i]);
        std::copy_n(counts.dropped.begin(),
                    std::min<std::size_t>(counts.dropped.size(), static_cast<std::size_t>(room)), drops);
        return kStatusOk;
    });
}

int32_t ObsSelectRows(const char* criteria, struct ArrowArrayStream* stream, int64_t room, int8_t* mask,
                      int64_t* rows) {
    constexpr std::string_view kName = "ObsSelectRows";
    if (obs::refuseNull(kName, {criteria, stream, rows}) || (room > 0 && obs::refuseNull(kName, {mask})))
        return kStatusRefused;
    *rows = 0;
    obs::Owner<ArrowArrayStream> own(*stream);
    stream->release = nullptr;
    if (own->release == nullptr || room < 0) {
        obs::logFailure(kName, room < 0 ? "The room must not be negative." : "The stream has been released.");
        return kStatusRefused;
    }
    return obs::guarded(kName, kStatusRefused, [&] {
        obs::SelectionText parsed;
        if (takeText(kName, criteria, parsed, &kNoFiles)) return kStatusRefused;
        const auto selectionFor = [&](const std::vector<std::string>& files) {
            takeText(kName, criteria, parsed, &files);
            return parsed.selection;
        };
        *rows = obs::selectRows(*own, selectionFor, room, mask);
        return kStatusOk;
    });
}

int32_t ObsGetSelectionColumns(const char* criteria, char columns[512]) {
    constexpr std::string_view kName = "ObsGetSelectionColumns";
    if (obs::refuseNull(kName, {criteria, columns})) return kStatusRefused;
    return obs::guarded(kName, kStatusRefused, [&] {
        obs::SelectionText parsed;
        std::string names;
        const bool isRefused = takeText(kName, criteria, parsed, &kNoFiles).has_value();
        for (const std::string_view name : obs::columnsOf(parsed.selection))
            (names += names.empty() ? "" : " ") += name;
        family::strtochararr(isRefused ? "" : names, columns);
        return isRefused ? kStatusRefused : kStatusOk;
    });
}

int32_t ObsMayMeet(const char* criteria, const double reals[OBS_KNOWN_REALS], const char* const* texts) {
    constexpr std::string_view kName = "ObsMayMeet";
    constexpr int32_t kFailure = -1;
    if (obs::refuseNull(kName, {criteria, reals})) return kFailure;
    bool isPossible = false;
    const int32_t status = obs::guarded(kName, kFailure, [&] {
        obs::SelectionText parsed;
        if (takeText(kName, criteria, parsed, &kNoFiles)) return kFailure;
        if (std::any_of(reals, reals + OBS_KNOWN_REALS, [](double value) { return std::isnan(value); })) {
            obs::logFailure(kName, "A real is not a number.");
            return kFailure;
        }
        obs::KnownValues known;
        for (std::size_t i = 0; i < OBS_KNOWN_REALS; ++i) known.numbers[i / 2][i % 2] = reals[i];
        for (std::size_t i = 0; texts != nullptr && i < OBS_KNOWN_TEXTS; ++i)
            if (texts[i] != nullptr && texts[i][0] != '\0') known.texts[i / 2][i % 2] = texts[i];
        isPossible = obs::mayMeet(parsed.selection, obs::boxOf(known));
        return kStatusOk;
    });
    return status != kStatusOk ? kFailure : isPossible ? 1 : 0;
}

int32_t ObsGetPasses(int32_t count, const int64_t* keys, int32_t room, ObsPass* passes, int32_t* passCount) {
    constexpr std::string_view kName = "ObsGetPasses";
    constexpr int32_t kAll = -1;
    if (obs::refuseNull(kName, {passCount})) return kStatusRefused;
    *passCount = 0;
    if (obs::refuseCount(kName, room, {passes}) || (count != kAll && obs::refuseCount(kName, count, {keys})))
        return kStatusRefused;
    return obs::guarded(kName, kStatusRefused, [&] {
        obs::PassFinder finder;
        obs::UnknownKeys unknown;
        if (count == kAll) {
            finder = obs::storedSightings();
        } else {
            obs::obsfindrecs(keys, static_cast<std::size_t>(count), false,
                             [&](std::size_t i, const obs::ObsRecord* rec) {
                                 if (rec == nullptr) unknown.note(keys[i]);
                                 else finder.add(rec->satNum, rec->senNum, rec->obsTime);
                             });
            if (unknown.count != 0) return unknown.status(kName, static_cast<std::size_t>(count));
        }
        int32_t found = 0;
        finder.passes([&](const obs::Pass& one) {
            if (found < room) passes[found] = {one.satNum, one.senNum, one.observations, 0, one.first, one.last};
            ++found;
        });
        *passCount = found;
        if (found <= room) return kStatusOk;
        obs::logFailure(kName,
                        "There is room for " + std::to_string(room) + " of " + std::to_string(found) + " passes.");
        return kStatusRefused;
    });
}
