// SPDX-License-Identifier: Apache-2.0
#include "Session.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include <fmt/format.h>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "Input.h"
#include "KeptFile.h"
#include "Progress.h"
#include "Stations.h"
#include "Text.h"
#include "siblings/include/ObsFamily.h"

namespace obstool {

namespace {

constexpr std::int32_t kReplace = 0, kAppend = 1;

std::string shown(const std::string& name, const char* stream) {
    return name == "-" ? stream : name.empty() ? "''" : name;
}

/// The library holds back the signal that ends a command whose output nobody reads.
void endIfReaderIsGone() {
    pollfd output{STDOUT_FILENO, 0, 0};
    if (::poll(&output, 1, 0) > 0 && (output.revents & POLLERR) != 0) std::raise(SIGPIPE);
}

}  // namespace

void complainOfLine(const LineReport& report) {
    if (report.kind != OBS_LINE_DUPLICATE) complain(report.place(), report.whatAndWhy());
}

Session::Session(const CommonOptions& options, LineReports::Sink sink, bool everyLine)
    : options_(options),
      sink_(std::move(sink)),
      lines_(everyLine ? LineReports::kAll : options.lineLimit, !everyLine),
      faults_(options.lineLimit, true) {
    ObsSetLoadCallback(onLine, this);
}

Session::~Session() {
    ObsSetLoadCallback(nullptr, nullptr);
    FamilyCloseLog();
}

bool Session::start() {
    const CommonOptions& options = options_;
    for (const std::size_t group : options.groups) {
        if (group >= 1 && group <= options.files.size()) continue;
        fail("--group", fmt::format("there is no file {} of {}", group, options.files.size()));
        return false;
    }
    // Criteria that name sensors have to wait for them.
    const bool wait = options.select && namesSensors(*options.select);
    const Asked origin = options.select ? askedOrigin(*options.select) : Asked::nothing;
    if (origin != Asked::nothing) ObsKeepOrigins(1);
    checksLate_ = origin == Asked::file;
    if (!wait && !checksLate_ && !checkCriteria(options)) return false;
    if (!openLog(options.log) || !loadStations(options.sensors)) return false;
    if (!loadSettings(options.earthOrientation, FamilyLoadEarthOrientation)) return false;
    if (wait && !checksLate_ && !checkCriteria(options)) return false;
    setCorrections(options);
    ObsSetThreads(options.threads);
    return true;
}

bool Session::checkCriteria(const CommonOptions& options) {
    const auto problem = options.select ? criteriaProblem(*options.select) : std::nullopt;
    if (!problem) return true;
    fail("--select", problem->reason);
    if (problem->firstColumn > 0) pointOut(*options.select, problem->firstColumn, problem->lastColumn);
    return false;
}

void Session::setCorrections(const CommonOptions& options) {
    const auto named = std::find(kTroposphereModels.begin(), kTroposphereModels.end(), options.troposphere);
    const auto model = named == kTroposphereModels.end() ? 0 : named - kTroposphereModels.begin();
    ObsSetSlrCorrections(static_cast<std::int32_t>(model), options.centreOfMass ? 1 : 0);
}

void Session::countCorrections(const std::string& file) {
    struct Correction {
        std::int32_t number;
        std::string_view name, needs;
    };
    static constexpr Correction kCorrections[] = {
        {OBS_SLR_TROPOSPHERE, "troposphere",
         "it needs elevation, weather, wavelength and the place of the station (--sensors), within the model's limits"},
        {OBS_SLR_CENTRE_OF_MASS, "centre of mass", "the distance to the reflectors is not known"},
    };
    for (const Correction& correction : kCorrections) {
        std::int64_t applied = 0, byFile = 0, notApplied = 0;
        ObsGetSlrCorrectionCounts(correction.number, &applied, &byFile, &notApplied);
        if (notApplied == 0) continue;
        uncorrected_ += notApplied;
        complain(file, fmt::format("not corrected for the {}: {} of {} laser ranges; {}", correction.name, notApplied,
                                   applied + byFile + notApplied, correction.needs));
    }
}

bool Session::openLog(const std::string& name) {
    if (name.empty()) return true;
    std::string problem = fileNameProblem(name);
    const auto isLog = [&](const std::string& file) { return isSameFile(file, name); };
    if (std::any_of(options_.files.begin(), options_.files.end(), isLog))
        problem = "the log would be added to a file that is read";
    if (problem.empty() && FamilyOpenLog(Text512(name).data()) != 0) problem = lastError();
    if (!problem.empty()) fail(name, problem);
    else logName_ = name;
    return problem.empty();
}

/// Of several sensors of one number the one loaded last counts.
bool Session::loadStations(const std::string& sensors) {
    return loadSettings(shippedStations(), FamilyLoadSensors) && loadSettings(sensors, FamilyLoadSensors);
}

/// Of a file of sensors or of Earth orientation.
bool Session::loadSettings(const std::string& name, std::int32_t (*loadFrom)(const char*)) {
    if (name.empty()) return true;
    std::string problem = fileNameProblem(name);
    if (problem.empty() && loadFrom(Text512(name).data()) != 0) problem = lastError();
    if (!problem.empty()) fail(name, problem);
    return problem.empty();
}

void Session::quietly(const std::function<void()>& work) {
    FamilyCloseLog();
    work();
    if (!logName_.empty()) openLog(logName_);
}

void Session::onLine(std::int32_t kind, const char* file, std::int64_t line, const char* reason, void* self) {
    auto& session = *static_cast<Session*>(self);
    if (line < session.options_.firstTold || line > session.options_.lastTold) return;
    const std::string shownFile = file == session.openedAs_ ? session.shownAs_ : file;
    switch (kind) {
        case OBS_LINE_UNKNOWN_SENSOR: session.unknownSensor_ = reason; break;
        case OBS_LINE_BAD: {
            std::string why = withoutPadding(reason);
            if (!session.unknownSensor_.empty()) why += fmt::format(" ({}: --sensors)", session.unknownSensor_);
            session.unknownSensor_.clear();
            session.lines_.add(kind, shownFile, line, why);
            break;
        }
        case OBS_LINE_PASSED_OVER:
            if (!session.options_.passedOverIgnored) session.lines_.add(kind, shownFile, line, withoutPadding(reason));
            break;
        case OBS_LINE_ZEROED: session.lines_.add(kind, shownFile, line, withoutPadding(reason)); break;
        case OBS_LINE_DUPLICATE:
            if (session.options_.duplicates) session.lines_.add(kind, shownFile, line, withoutPadding(reason));
            break;
        case OBS_LINE_SELECTION:
            if (!session.options_.select)
                session.faults_.add(kind, shownFile, line,
                                    "the criteria of SELOB lines are not applied: give them to --select");
            break;
        case OBS_LINE_BROKEN_OFF: session.brokenOff_ = true; [[fallthrough]];
        case OBS_LINE_KEYWORD_FAULT:
        case OBS_LINE_INCLUDE_LEFT_OUT:
            session.keywordFault_ = session.keywordFault_ || kind == OBS_LINE_KEYWORD_FAULT;
            session.faults_.add(kind, shownFile, line, withoutPadding(reason));
            break;
        default: break;
    }
}

std::vector<LoadResult> Session::load() {
    const CommonOptions& options = options_;
    std::vector<LoadResult> results;
    std::int32_t group = 0;
    for (const std::string& name : options.files) results.push_back(loadOne(name, ++group));
    const auto wanted = [&](std::int32_t number) {
        return options.groups.empty() || std::count(options.groups.begin(), options.groups.end(), number) > 0;
    };
    for (; group > 0; --group)
        if (!wanted(group)) ObsRemoveGID(group);
    if (options.select) select(options);
    return results;
}

void Session::select(const CommonOptions& options) {
    if (checksLate_ && !checkCriteria(options)) {
        ObsRemoveAll();
        return;
    }
    selection_ = countSelected(*options.select);
    if (options.dryRun) return;
    removeUnselected(*selection_);
    if (selection_->selected == 0 && selection_->observations > 0)
        complain("--select", fmt::format("none of {} observations meets the criteria", selection_->observations));
}

LoadResult Session::loadOne(const std::string& name, std::int32_t group) {
    LoadResult result;
    result.file = shownAs_ = shown(name, "(standard input)");
    const Input input(name, options_.quiet);
    if (!input.problem().empty()) {
        fail(result.file, input.problem());
        return result;
    }
    openedAs_ = input.path();
    const std::optional<FileKind> kind = identify(input);
    if (!kind) {
        fail(result.file, lastError());
        return result;
    }
    if (kind->number >= OBS_FILE_OTHER && options_.ofFolders.count(name) > 0) {
        complain(result.file, fmt::format("skipped: it is {}, not observations", kind->name));
        raise(ExitStatus::badLines);
        return result;
    }
    if (kind->number >= OBS_FILE_OTHER && kind->number < OBS_FILE_GUESS) {
        fail(result.file, fmt::format("this is {}, not observations", kind->name));
        return result;
    }
    result.form = formOf(input, kind->formats);
    std::int32_t status = 0;
    {
        Progress progress(Progress::Of::load, result.file, options_.quiet);
        status = load(input, kind->number == OBS_FILE_LASER_RANGES, group);
        progress.endLoad();
    }
    ObsGetLoadCounts(&result.loaded, &result.duplicate, &result.bad);
    ObsGetLoadLines(&result.lines);
    if (result.form.lineEnds == kReturnsAlone && kind->number < OBS_FILE_OTHER) {
        complain(result.file, "its lines end with CR alone and are taken as one (tr '\\r' '\\n' makes them readable)");
        raise(ExitStatus::badLines);
    }
    lines_.tell(result.file, sink_);
    faults_.tell(result.file, faultSink_);
    countCorrections(result.file);
    if (!input.brokenOff().empty())
        fail(result.file, fmt::format("{}: the {} lines before that are read", input.brokenOff(), result.lines.lines));
    // A file that cannot be opened has no lines. Else the status is that of the last line.
    result.read = status == 0 || result.lines.lines > 0;
    const bool isToldWhy =
        brokenOff_ || !input.brokenOff().empty() || result.bad > 0 || result.lines.includesLeftOut > 0;
    if (status != 0 && !isToldWhy) fail(result.file, lastError());
    judge(result, *kind);
    return result;
}

/// Nothing when the file cannot be read.
std::optional<FileKind> Session::identify(const Input& input) const {
    FamilyClearLastError();
    FileKind kind;
    return input.identify(kind.number, kind.formats, kind.name) == 0 ? std::optional(kind) : std::nullopt;
}

/// Each file begins with the same settings, whatever the one before it has set.
std::int32_t Session::load(const Input& input, bool isOfLaserRanges, std::int32_t group) {
    constexpr std::int32_t kNoYear = -1, kInThisLoadAlone = 1;
    brokenOff_ = keywordFault_ = false;
    FamilyClearLastError();
    const Text512 name(openedAs_);
    const std::string_view text = input.isText() ? input.text() : std::string_view();
    const auto length = static_cast<std::int64_t>(text.size());
    if (isOfLaserRanges)
        return input.isText() ? ObsLoadSlrText(name.data(), text.data(), length, group)
                              : ObsLoadSlrFileGID(name.data(), group);
    ObsLoadOptions options{};
    options.size = sizeof options;
    options.ttyYear = options_.ttyYear.value_or(kNoYear);
    options.settingsLines = kInThisLoadAlone;
    return input.isText() ? ObsLoadText(name.data(), text.data(), length, group, &options)
                          : ObsLoadFileWith(name.data(), group, &options);
}

/// What the counts of a load mean for the exit status.
void Session::judge(const LoadResult& result, const FileKind& kind) {
    const ObsLoadLines& lines = result.lines;
    const bool fails = result.bad > 0 || keywordFault_ || (lines.passedOver > 0 && !options_.passedOverIgnored) ||
                       (lines.zeroed > 0 && options_.zeroedFails);
    if (fails) raise(ExitStatus::badLines);
    if (brokenOff_ || lines.includesLeftOut > 0) raise(ExitStatus::failure);
    if (result.loaded + result.duplicate > 0 || lines.passedOver == 0) return;
    // What has lines that only could not be read is a file of observations.
    const std::string_view guess = kind.number >= OBS_FILE_GUESS ? std::string_view(kind.name) : "text of another kind";
    const std::string rest =
        result.bad > 0 ? fmt::format("{} are bad", result.bad) : fmt::format("it looks like {}", guess);
    fail(result.file, fmt::format("no observation was loaded: {} of {} lines are of no known kind, {}",
                                  lines.passedOver, lines.lines, rest));
}

void Session::save(const std::string& name, bool append, const Format& format) {
    const bool toOutput = name == "-";
    const std::string subject = shown(name, "(standard output)");
    std::string problem = fileNameProblem(name);
    // Closed or not writable: opening /dev/stdout might succeed nevertheless.
    if (toOutput && ::write(STDOUT_FILENO, "", 0) < 0) problem = std::strerror(errno);
    if (!problem.empty()) return fail(subject, problem);

    // To replace standard output is to go on where it stands, also in the file that it may be.
    std::int32_t status = 0;
    {
        const bool quiet = options_.quiet || (toOutput && ::isatty(STDOUT_FILENO) != 0);
        const Progress progress(Progress::Of::save, subject, quiet);
        status = format.save(Text512(toOutput ? "/dev/stdout" : name).data(), append && !toOutput ? kAppend : kReplace);
    }
    std::int64_t written = 0, leftOut = 0, altered = 0;
    std::int32_t systemError = 0;
    ObsGetSaveCounts(&written, &leftOut, &altered, &systemError);
    // With observations left out the last message may be about one of them.
    if (status != 0 || systemError != 0)
        problem = leftOut == 0 ? lastError() : std::strerror(systemError != 0 ? systemError : status);
    if (toOutput && !problem.empty()) endIfReaderIsGone();
    if (!problem.empty()) fail(subject, problem);
    for (const std::int32_t kind : {OBS_SAVE_LEFT_OUT, OBS_SAVE_UNREADABLE, OBS_SAVE_SENSOR})
        if (ObsGetSaveCountOf(kind) > 0) raise(ExitStatus::badLines);
}

void Session::fail(const std::string& subject, const std::string& reason) {
    complain(subject, reason);
    raise(ExitStatus::failure);
}

void Session::raise(ExitStatus status) { status_ = std::max(status_, status); }

}  // namespace obstool
