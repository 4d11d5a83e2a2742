#include "Session.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "Input.h"
#include "Text.h"
#include "siblings/include/ObsFamily.h"

namespace obstool {

namespace {

constexpr std::int32_t kBadLine = 2;  // what ObsLoadFile returns when the last line was bad
constexpr std::int32_t kReplace = 0, kAppend = 1;

std::string shown(const std::string& name, const char* stream) {
    return name == "-" ? stream : name.empty() ? "''" : name;
}

std::string lastError() {
    Text512 text;
    return FamilyGetLastError(text.data()) == 0 ? std::string() : text.str();
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
    return message.starts_with("fileopen:") || message.starts_with("ReadOnlyObs: Cannot read");
}

/// The library holds back the signal that ends a command whose output nobody reads.
void endIfReaderIsGone() {
    pollfd output{STDOUT_FILENO, 0, 0};
    if (::poll(&output, 1, 0) > 0 && (output.revents & POLLERR) != 0) std::raise(SIGPIPE);
}

}  // namespace

std::string describe(const LineReport& report) {
    return printable(fmt::format("{}:{}: {}", report.file, report.line, report.reason));
}

void complainOfBadLine(const LineReport& report) {
    if (report.bad) complain(fmt::format("{}:{}", report.file, report.line), report.reason);
}

Session::Session(ReportSink sink) : sink_(std::move(sink)) {
    ObsSetLoadCallback(onLine, this);
    FamilySetLogCallback(onMessage, this);
}

Session::~Session() {
    ObsSetLoadCallback(nullptr, nullptr);
    FamilySetLogCallback(nullptr, nullptr);
    FamilyCloseLog();
}

bool Session::openLog(const std::string& name) {
    if (name.empty()) return true;
    std::string problem = fileNameProblem(name);
    if (problem.empty() && FamilyOpenLog(Text512(name).data()) != 0) problem = lastError();
    if (!problem.empty()) fail(name, problem);
    return problem.empty();
}

void Session::onLine(std::int32_t kind, const char* file, std::int64_t line, const char* reason, void* self) {
    auto& session = *static_cast<Session*>(self);
    // The library also logged the reason; what else it logged is still to be told.
    std::erase_if(session.errors_, [reason](const std::string& error) { return sameMessage(error, reason); });
    session.sink_({kind == OBS_LINE_BAD, file == session.openedAs_ ? session.shownAs_ : file, line,
                   std::string(withoutTrailingBlanks(reason))});
}

void Session::onMessage(std::int32_t severity, const char* text, void* self) {
    if (severity != 0) static_cast<Session*>(self)->errors_.emplace_back(withoutTrailingBlanks(text));
}

std::vector<LoadResult> Session::load(const std::vector<std::string>& names) {
    std::vector<LoadResult> results;
    for (const std::string& name : names) results.push_back(loadOne(name));
    return results;
}

LoadResult Session::loadOne(const std::string& name) {
    LoadResult result;
    result.file = shownAs_ = shown(name, "(standard input)");
    const Input input(name);
    if (!input.problem().empty()) {
        fail(result.file, input.problem());
        return result;
    }
    openedAs_ = input.path();
    errors_.clear();
    const std::int32_t status = ObsLoadFile(Text512(openedAs_).data());
    ObsGetLoadCounts(&result.loaded, &result.duplicate, &result.bad);
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

void Session::save(const std::string& name, bool append, std::int32_t form) {
    const bool toOutput = name == "-";
    const std::string subject = shown(name, "(standard output)");
    std::string problem = fileNameProblem(name);
    // Closed or not writable: opening /dev/stdout might succeed nevertheless.
    if (toOutput && ::write(STDOUT_FILENO, "", 0) < 0) problem = std::strerror(errno);
    if (!problem.empty()) return fail(subject, problem);

    FamilyClearLastError();
    // Appending to standard output keeps what an earlier command wrote to the same file.
    const std::int32_t status = ObsSaveFile(Text512(toOutput ? "/dev/stdout" : name).data(),
                                            append || toOutput ? kAppend : kReplace, form);
    // A failing write is only logged.
    problem = status != 0 ? std::strerror(status) : lastError();
    if (toOutput && !problem.empty()) endIfReaderIsGone();
    if (!problem.empty()) return fail(subject, problem);
    // The library wrote through a descriptor of its own: a later command goes on behind it.
    if (toOutput) ::lseek(STDOUT_FILENO, 0, SEEK_END);
}

void Session::fail(const std::string& subject, const std::string& reason) {
    complain(subject, reason);
    raise(ExitStatus::failure);
}

void Session::raise(ExitStatus status) { status_ = std::max(status_, status); }

}  // namespace obstool
