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
#include "Stations.h"
#include "Text.h"
#include "siblings/include/ObsFamily.h"

namespace obstool {

namespace {

constexpr std::int32_t kBadLine = 2;  // what ObsLoadFile returns when the last line was bad
constexpr std::int32_t kReplace = 0, kAppend = 1;

std::string shown(const std::string& name, const char* stream) {
    return name == "-" ? stream : name.empty() ? "''" : name;
}

/// True when one text is the other, cut at some length.
bool sameMessage(std::string_view a, std::string_view b) {
    a = withoutTrailingBlanks(a);
    b = withoutTrailingBlanks(b);
    return !a.empty() && !b.empty() && (a.starts_with(b) || b.starts_with(a));
}

/// Of the messages that concern no observation line: whether an include file could not be
/// opened or reading broke off. Others are about keyword lines.
bool isFileFailure(std::string_view message) {
    return message.starts_with("fileopen:") || message.starts_with("ReadOnlyObs: Cannot read") ||
           message.starts_with("ReadSlr: Cannot read");
}

/// Of the information while loading: that a file of laser ranges holds something else, which is not even looked at.
bool isAboutStrangeLines(std::string_view message) {
    return message.find(" are no laser-ranging records ") != std::string_view::npos;
}

/// Of the messages while saving: that an observation was left out, and why.
bool isRefusal(std::string_view message) {
    return message.starts_with("Create") || message.starts_with("getsendata:");
}

/// Takes the library's messages for a while.
class Listening {
public:
    using Function = void (*)(std::int32_t, const char*, void*);
    Listening(Function onMessage, void* self) { FamilySetLogCallback(onMessage, self); }
    ~Listening() { FamilySetLogCallback(nullptr, nullptr); }
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;
};

/// The library holds back the signal that ends a command whose output nobody reads.
void endIfReaderIsGone() {
    pollfd output{STDOUT_FILENO, 0, 0};
    if (::poll(&output, 1, 0) > 0 && (output.revents & POLLERR) != 0) std::raise(SIGPIPE);
}

}  // namespace

std::string LineReport::place() const { return fmt::format("{}:{}", file, lines.front()); }

std::string LineReport::whatAndWhy() const {
    const std::string many = lines.size() > 1 ? fmt::format(" ({} lines up to {})", lines.size(), lines.back()) : "";
    return fmt::format("{}{}{}", reason, helpFor(reason), many);
}

void complainOfBadLine(const LineReport& report) {
    if (report.bad) complain(report.place(), report.whatAndWhy());
}

Session::Session(ReportSink sink) : sink_(std::move(sink)) {
    ObsSetLoadCallback(onLine, this);
}

Session::~Session() {
    ObsSetLoadCallback(nullptr, nullptr);
    FamilyCloseLog();
}

bool Session::start(const CommonOptions& options) {
    for (const std::size_t group : options.groups) {
        if (group >= 1 && group <= options.files.size()) continue;
        fail("--group", fmt::format("there is no file {} of {}", group, options.files.size()));
        return false;
    }
    // Criteria that name sensors have to wait for them.
    const bool wait = options.select && namesSensors(*options.select);
    if (!wait && !checkCriteria(options)) return false;
    if (!openLog(options.log) || !loadStations(options.sensors)) return false;
    if (wait && !checkCriteria(options)) return false;
    if (options.ttyYear) ObsSetTTYYear(*options.ttyYear);
    setCorrections(options);
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
    if (problem.empty() && FamilyOpenLog(Text512(name).data()) != 0) problem = lastError();
    if (!problem.empty()) fail(name, problem);
    else logName_ = name;
    return problem.empty();
}

/// Of several sensors of one number the one loaded last counts.
bool Session::loadStations(const std::string& sensors) {
    return loadSensors(shippedStations()) && loadSensors(sensors);
}

bool Session::loadSensors(const std::string& name) {
    if (name.empty()) return true;
    std::string problem = fileNameProblem(name);
    if (problem.empty() && FamilyLoadSensors(Text512(name).data()) != 0) problem = lastError();
    if (!problem.empty()) fail(name, problem);
    return problem.empty();
}

void Session::quietly(const std::function<void()>& work) {
    FamilyCloseLog();
    work();
    if (!logName_.empty()) openLog(logName_);
}

void Session::onLine(std::int32_t kind, const char* file, std::int64_t line, const char* reason, void* self) {
    if (kind != OBS_LINE_BAD && kind != OBS_LINE_DUPLICATE) return;
    auto& session = *static_cast<Session*>(self);
    // The library also logged the reason; what else it logged is still to be told.
    std::erase_if(session.errors_, [reason](const std::string& error) { return sameMessage(error, reason); });
    LineReport report{kind == OBS_LINE_BAD, file == session.openedAs_ ? session.shownAs_ : file, {line},
                      std::string(withoutTrailingBlanks(reason))};
    std::optional<LineReport>& held = session.held_;
    if (held && held->bad && report.bad && held->file == report.file && held->reason == report.reason) {
        held->lines.push_back(line);
        return;
    }
    session.reportHeld();
    held = std::move(report);
}

void Session::reportHeld() {
    if (held_) sink_(*held_);
    held_.reset();
}

void Session::onMessage(std::int32_t severity, const char* text, void* self) {
    auto& session = *static_cast<Session*>(self);
    if (severity == 0 && isAboutStrangeLines(text)) complain(session.shownAs_, withoutTrailingBlanks(text));
    // What a format cannot carry is reported elsewhere, and may be every observation.
    if (severity == 0 || (session.saving_ && isRefusal(text))) return;
    session.errors_.emplace_back(withoutTrailingBlanks(text));
}

std::vector<LoadResult> Session::load(const CommonOptions& options) {
    std::vector<LoadResult> results;
    std::int32_t group = 0;
    for (const std::string& name : options.files) results.push_back(loadOne(name, ++group));
    const auto wanted = [&](std::int32_t number) {
        return options.groups.empty() || std::count(options.groups.begin(), options.groups.end(), number) > 0;
    };
    for (; group > 0; --group)
        if (!wanted(group)) ObsRemoveGID(group);
    if (options.select) select(options);
    else noteSelectionOfFiles();
    return results;
}

void Session::select(const CommonOptions& options) {
    selection_ = countSelected(*options.select);
    if (options.dryRun) return;
    removeUnselected(*selection_);
    if (selection_->selected == 0 && selection_->observations > 0)
        complain("--select", fmt::format("none of {} observations meets the criteria", selection_->observations));
}

void Session::noteSelectionOfFiles() {
    const std::int64_t all = ObsGetCount(), selected = selectedByFiles();
    if (selected == all) return;
    complain("SELOB", fmt::format("the criteria that the files set, which {} of {} observations meet, are not applied: "
                                  "give them to --select", selected, all));
}

LoadResult Session::loadOne(const std::string& name, std::int32_t group) {
    const Listening listening(onMessage, this);
    LoadResult result;
    result.file = shownAs_ = shown(name, "(standard input)");
    const Input input(name);
    if (!input.problem().empty()) {
        fail(result.file, input.problem());
        return result;
    }
    const Input::Content content = input.content();
    if (content == Input::Content::predictions) {
        fail(result.file, "it holds predictions (H1 CPF), not observations");
        return result;
    }
    openedAs_ = input.path();
    errors_.clear();
    const auto loadFile = content == Input::Content::laserRanges ? ObsLoadSlrFileGID : ObsLoadFileGID;
    const std::int32_t status = loadFile(Text512(openedAs_).data(), group);
    reportHeld();
    ObsGetLoadCounts(&result.loaded, &result.duplicate, &result.bad);
    countCorrections(result.file);
    // The status of a bad line and of a missing file are the same number.
    result.read = status == 0 || (status == kBadLine && result.bad > 0);
    if (result.bad > 0) raise(ExitStatus::badLines);
    for (const std::string& error : errors_) {
        complain(result.file, error);
        raise(isFileFailure(error) ? ExitStatus::failure : ExitStatus::badLines);
    }
    if (!result.read) {
        raise(ExitStatus::failure);
        if (errors_.empty()) complain(result.file, std::strerror(status));
    }
    return result;
}

void Session::save(const std::string& name, bool append, const Format& format) {
    const bool toOutput = name == "-";
    const std::string subject = shown(name, "(standard output)");
    std::string problem = fileNameProblem(name);
    // Closed or not writable: opening /dev/stdout might succeed nevertheless.
    if (toOutput && ::write(STDOUT_FILENO, "", 0) < 0) problem = std::strerror(errno);
    if (!problem.empty()) return fail(subject, problem);

    const Listening listening(onMessage, this);
    errors_.clear();
    saving_ = true;
    // To replace standard output is to go on where it stands, also in the file that it may be.
    const std::int32_t status = format.save(Text512(toOutput ? "/dev/stdout" : name).data(),
                                            append && !toOutput ? kAppend : kReplace);
    // A failing write is only logged.
    if (!errors_.empty()) problem = errors_.front();
    else if (status != 0) problem = std::strerror(status);
    saving_ = false;
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
