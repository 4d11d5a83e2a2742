// SPDX-License-Identifier: Apache-2.0
#include "Progress.h"

#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstdio>

#include <fmt/format.h>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "Output.h"
#include "Text.h"

namespace obstool {

namespace {

enum State { idle, loading, interrupted };
std::atomic<int> gState = idle;
static_assert(std::atomic<int>::is_always_lock_free, "a handler of signals uses it");

std::string amount(Progress::Of what, double number) {
    if (what == Progress::Of::save) return fmt::format("{:.0f} observations", number);
    return fmt::format("{:.1f} MB", number / 1e6);
}

std::string duration(double seconds) {
    const auto whole = static_cast<std::int64_t>(std::ceil(seconds));
    return whole < 60 ? fmt::format("{} s", whole) : fmt::format("{} min {} s", whole / 60, whole % 60);
}

void write(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

constexpr std::string_view kWipeLine = "\r\x1b[K";

}  // namespace

bool interruptLoad() {
    int expected = loading;
    return gState.compare_exchange_strong(expected, interrupted);
}

Progress::Progress(Of what, std::string_view name, bool quiet)
    : what_(what), name_(name), isSilent_(quiet || ::isatty(STDERR_FILENO) == 0) {
    gState = what == Of::load ? loading : idle;
    if (what != Of::copy) ObsSetProgressCallback(onProgress, this);
}

Progress::~Progress() {
    ObsSetProgressCallback(nullptr, nullptr);
    gState = idle;
    if (isShown_) write(kWipeLine);
}

void Progress::endLoad() {
    if (gState.exchange(idle) == interrupted) throw Interrupted();
}

void Progress::tell(std::int64_t done, std::int64_t total) {
    constexpr auto kPause = std::chrono::milliseconds(100);
    if (isSilent_ || Clock::now() - told_ < kPause) return;
    told_ = Clock::now();
    show(done, total);
}

std::int32_t Progress::onProgress(std::int64_t done, std::int64_t total, void* self) {
    if (gState == interrupted) return 1;
    static_cast<Progress*>(self)->show(done, total);
    return 0;
}

void Progress::show(std::int64_t done, std::int64_t total) {
    const double seconds = std::chrono::duration<double>(Clock::now() - start_).count();
    if (isSilent_ || seconds < 1 || done == 0) return;
    isShown_ = true;
    std::string line = lineOf(done, total, seconds);
    // A line that is wrapped could not be wiped off.
    constexpr std::size_t kUsualWidth = 80;
    const std::size_t width = terminalWidth(STDERR_FILENO);
    const std::size_t room = (width > 0 ? width : kUsualWidth) - 1;
    const std::string name = printable(name_);
    if (name.size() + 2 + line.size() <= room) line = fmt::format("{}: {}", name, line);
    write(fmt::format("{}{}", kWipeLine, line.substr(0, room)));
}

std::string Progress::lineOf(std::int64_t done, std::int64_t total, double seconds) const {
    const double rate = static_cast<double>(done) / seconds;
    const std::string_view verb = what_ == Of::copy ? "read " : "";
    if (total == 0)
        return fmt::format("{}{}, {}/s", verb, amount(what_, static_cast<double>(done)), amount(what_, rate));
    return fmt::format("{}{} % of {}, {}/s, {} left", verb, done * 100 / total,
                       amount(what_, static_cast<double>(total)), amount(what_, rate),
                       duration(static_cast<double>(total - done) / rate));
}

}  // namespace obstool
