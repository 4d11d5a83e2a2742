// SPDX-License-Identifier: Apache-2.0
#include "Input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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

}  // namespace

TemporaryFile::TemporaryFile() : descriptor_(makeTemporary()) {}

TemporaryFile::~TemporaryFile() {
    if (isOpen()) ::close(descriptor_);
}

std::string TemporaryFile::path() const { return pathOfDescriptor(descriptor_); }

std::string fileNameProblem(const std::string& name) {
    if (name.empty()) return "the file name is empty";
    if (name.size() > kTextLength) return fmt::format("the file name is longer than {} characters", kTextLength);
    // A blank-padded text cannot hold them: another file might be taken.
    if (name.front() == ' ' || name.back() == ' ') return "the file name begins or ends with a blank";
    return {};
}

Input::Input(const std::string& name) {
    if (name == "-") openStandardInput();
    else openNamed(name);
}

void Input::openStandardInput() {
    // A redirected file can be opened again by name, unless part of it was consumed
    // already or it is another user's.
    const std::string path = pathOfDescriptor(STDIN_FILENO);
    struct stat info {};
    if (::fstat(STDIN_FILENO, &info) == 0 && S_ISREG(info.st_mode) && ::lseek(STDIN_FILENO, 0, SEEK_CUR) == 0 &&
        ::access(path.c_str(), R_OK) == 0)
        path_ = path;
    else copyToTemporary(STDIN_FILENO);
}

void Input::openNamed(const std::string& name) {
    problem_ = fileNameProblem(name);
    if (!problem_.empty()) return;
    const int descriptor = ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    struct stat info {};
    if (descriptor < 0 || ::fstat(descriptor, &info) != 0) problem_ = std::strerror(errno);
    else if (S_ISREG(info.st_mode)) path_ = name;
    else copyToTemporary(descriptor);
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
        struct stat info {};
        if (n > 0 && ::fstat(source, &info) == 0 && S_ISCHR(info.st_mode) && ::isatty(source) == 0) {
            problem_ = "it is a device that may give data without end";
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
