// SPDX-License-Identifier: Apache-2.0
#include "Output.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Colour.h"
#include "Text.h"

namespace obstool {

std::size_t terminalWidth(int descriptor) {
    winsize size{};
    return ::isatty(descriptor) != 0 && ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

void complain(std::string_view subject, std::string_view reason) {
    const std::string line =
        fmt::format("obstool: {}: {}\n", toned(printable(subject), Tone::fault, STDERR_FILENO), printable(reason));
    std::fwrite(line.data(), 1, line.size(), stderr);
}

void pointOut(std::string_view text, std::size_t first, std::size_t last) {
    const std::string marks = std::string(first - 1, ' ') + std::string(last + 1 - first, '^');
    const std::string lines = fmt::format("  {}\n  {}\n", printable(text), toned(marks, Tone::fault, STDERR_FILENO));
    std::fwrite(lines.data(), 1, lines.size(), stderr);
}

void Output::flush() {
    errno = 0;
    const bool written = std::fwrite(buffer_.data(), 1, buffer_.size(), stdout) == buffer_.size();
    if (!written && error_ == 0) error_ = errno != 0 ? errno : EIO;
    buffer_.clear();
}

ExitStatus Output::finish() {
    flush();
    if (std::fflush(stdout) != 0 && error_ == 0) error_ = errno;
    if (error_ == 0) return ExitStatus::allGood;
    complain("(standard output)", std::strerror(error_));
    return ExitStatus::failure;
}

}  // namespace obstool
