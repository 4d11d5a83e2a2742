// SPDX-License-Identifier: Apache-2.0
#include "Input.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "Text.h"

namespace obstool {

namespace {

std::string pathOfDescriptor(int descriptor) { return fmt::format("/proc/self/fd/{}", descriptor); }

bool writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::write(descriptor, bytes.data(), bytes.size());
        if (n < 0 && errno != EINTR) return false;
        if (n > 0) bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

/// A descriptor of a new file that has no name any more; -1 with errno set on failure.
int makeTemporary() {
    const char* folder = std::getenv("TMPDIR");
    if (folder == nullptr || *folder == '\0') folder = P_tmpdir;
    std::string name = std::string(folder) + "/obstoolXXXXXX";
    // A signal that ends the command must not come between the two.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    const int descriptor = ::mkstemp(name.data());
    const int error = errno;
    if (descriptor >= 0) ::unlink(name.c_str());
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return descriptor;
}

/// Whether a line begins with a word, in either case, and goes on with a blank if at all.
bool beginsWith(std::string_view line, std::string_view upperCaseWord) {
    const std::string_view start = line.substr(0, upperCaseWord.size());
    return ::strncasecmp(start.data(), upperCaseWord.data(), upperCaseWord.size()) == 0 &&
           start.size() == upperCaseWord.size() &&
           (line.size() == start.size() || std::strchr(" \t\r", line[start.size()]) != nullptr);
}

}  // namespace

TemporaryFile::TemporaryFile() : descriptor_(makeTemporary()) {}

TemporaryFile::~TemporaryFile() {
    if (isOpen()) ::close(descriptor_);
}

std::string TemporaryFile::path() const { return pathOfDescriptor(descriptor_); }

std::string fileNameProblem(const std::string& name) {
    if (name.empty()) return "the file name is empty";
    if (name.size() > kTextLength)
        return fmt::format("the file name is longer than {} characters", kTextLength);
    // A blank-padded text cannot hold them: another file might be taken.
    if (name.front() == ' ' || name.back() == ' ') return "the file name begins or ends with a blank";
    return {};
}

Input::Input(const std::string& name) {
    if (name == "-")
        openStandardInput();
    else
        openNamed(name);
}

Input::Content Input::content() const {
    constexpr std::size_t kLongestHead = 1 << 16;  // of a file; longer comments are not looked through
    std::string head(kLongestHead, '\0');
    std::ifstream file(path_, std::ios::binary);
    file.read(head.data(), static_cast<std::streamsize>(head.size()));
    std::string_view rest(head.data(), static_cast<std::size_t>(file.gcount()));
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        const std::string_view line = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        const bool isBlank = line.find_first_not_of(" \t\r") == std::string_view::npos;
        if (isBlank || line.front() == '*' || beginsWith(line, "00")) continue;
        if (beginsWith(line, "H1 CPF")) return Content::predictions;
        const bool isLaser = beginsWith(line, "H1 CRD") || beginsWith(line, "99999") || beginsWith(line, "88888");
        return isLaser ? Content::laserRanges : Content::observations;
    }
    return Content::observations;
}

void Input::openStandardInput() {
    // A redirected file can be opened again by name, unless part of it was consumed
    // already or it is another user's.
    const std::string path = pathOfDescriptor(STDIN_FILENO);
    struct stat info {};
    if (::fstat(STDIN_FILENO, &info) == 0 && S_ISREG(info.st_mode) &&
        ::lseek(STDIN_FILENO, 0, SEEK_CUR) == 0 && ::access(path.c_str(), R_OK) == 0)
        path_ = path;
    else
        copyToTemporary(STDIN_FILENO);
}

void Input::openNamed(const std::string& name) {
    problem_ = fileNameProblem(name);
    if (!problem_.empty()) return;
    const int descriptor = ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    struct stat info {};
    if (descriptor < 0 || ::fstat(descriptor, &info) != 0)
        problem_ = std::strerror(errno);
    else if (S_ISREG(info.st_mode))
        path_ = name;
    else
        copyToTemporary(descriptor);
    if (descriptor >= 0) ::close(descriptor);
}

void Input::copyToTemporary(int source) {
    std::vector<char> buffer(1 << 16);
    ssize_t n = -1;
    while (n != 0) {
        n = ::read(source, buffer.data(), buffer.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            problem_ = std::strerror(errno);
            return;
        }
        // After the first read, so that a directory has failed by now.
        if (!temporary_) temporary_.emplace();
        const std::string_view bytes(buffer.data(), static_cast<std::size_t>(n));
        if (!temporary_->isOpen() || !writeAll(temporary_->descriptor(), bytes)) {
            problem_ = fmt::format("cannot copy it to a temporary file: {}", std::strerror(errno));
            return;
        }
    }
    path_ = temporary_->path();
}

}  // namespace obstool
