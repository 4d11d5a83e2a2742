// SPDX-License-Identifier: Apache-2.0
#include "Input.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "FileArguments.h"
#include "Progress.h"
#include "Text.h"
#include "Unpacker.h"

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

/// Bytes read, 0 at the end. What must not be read, or cannot be, is the problem.
ssize_t readSome(int descriptor, std::span<char> room, std::string& problem) {
    ssize_t n = -1;
    do n = ::read(descriptor, room.data(), room.size());
    while (n < 0 && errno == EINTR);
    struct stat info {};
    if (n < 0) problem = std::strerror(errno);
    else if (n > 0 && ::fstat(descriptor, &info) == 0 && S_ISCHR(info.st_mode) && ::isatty(descriptor) == 0)
        problem = "it is a device that may give data without end";
    return n;
}

/// Of a regular file.
bool isPacked(int descriptor) {
    char head[kPackedMark];
    const ssize_t n = ::pread(descriptor, head, sizeof head, 0);
    return n > 0 && makeUnpacker({head, static_cast<std::size_t>(n)}) != nullptr;
}

}  // namespace

TemporaryFile::TemporaryFile() : descriptor_(makeTemporary()) {}

TemporaryFile::~TemporaryFile() {
    if (isOpen()) ::close(descriptor_);
}

std::string TemporaryFile::path() const { return pathOfDescriptor(descriptor_); }

const std::string& standardInputFile() {
    static const std::string file = pathOfDescriptor(STDIN_FILENO);
    return file;
}

std::string fileNameProblem(const std::string& name) {
    if (name.empty()) return "the file name is empty";
    if (name.size() > kTextLength) return fmt::format("the file name is longer than {} characters", kTextLength);
    // A blank-padded text cannot hold them: another file might be taken.
    if (name.front() == ' ' || name.back() == ' ') return "the file name begins or ends with a blank";
    return {};
}

Input::Input(const std::string& name, bool quiet) : quiet_(quiet), path_(name) {
    if (name == "-") openStandardInput();
    else openNamed(name);
}

Input::~Input() {
    if (!text_.empty()) ::munmap(const_cast<char*>(text_.data()), text_.size());
}

void Input::openStandardInput() {
    // A redirected file can be opened again by name, unless part of it was consumed
    // already or it is another user's.
    const std::string& path = standardInputFile();
    struct stat info {};
    if (::fstat(STDIN_FILENO, &info) == 0 && S_ISREG(info.st_mode) && ::lseek(STDIN_FILENO, 0, SEEK_CUR) == 0 &&
        ::access(path.c_str(), R_OK) == 0 && !isPacked(STDIN_FILENO))
        path_ = path;
    else copyToTemporary(STDIN_FILENO);
}

void Input::openNamed(const std::string& name) {
    problem_ = fileNameProblem(name);
    if (!problem_.empty()) return;
    const int descriptor = ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    struct stat info {};
    if (descriptor < 0 && errno == ENOENT && isPattern(name)) problem_ = "no file matches the pattern";
    else if (descriptor < 0 || ::fstat(descriptor, &info) != 0) problem_ = std::strerror(errno);
    else if (S_ISDIR(info.st_mode)) problem_ = "the folder holds no files";
    else if (!S_ISREG(info.st_mode) || isPacked(descriptor)) copyToTemporary(descriptor);
    if (descriptor >= 0) ::close(descriptor);
}

/// Unpacked, if it is packed.
void Input::copyToTemporary(int source) {
    std::vector<char> buffer(1 << 16);
    std::unique_ptr<Unpacker> unpacker;
    std::size_t filled = 0;
    struct stat info {};
    const std::int64_t total = ::fstat(source, &info) == 0 && S_ISREG(info.st_mode) ? info.st_size : 0;
    std::int64_t done = 0;
    Progress progress(Progress::Of::copy, path_ == "-" ? std::string_view("(standard input)") : path_, quiet_);
    for (bool isFirst = true, isEnd = false; !isEnd; filled = 0) {
        // The first piece must suffice to tell whether it is packed.
        do {
            const ssize_t n = readSome(source, {buffer.data() + filled, buffer.size() - filled}, problem_);
            if (!problem_.empty()) return;
            isEnd = n == 0;
            filled += static_cast<std::size_t>(n);
        } while (isFirst && !isEnd && filled < kPackedMark);
        const std::string_view bytes(buffer.data(), filled);
        progress.tell(done += std::ssize(bytes), total);
        // After the first read, so that a directory has failed by now.
        if (std::exchange(isFirst, false)) {
            temporary_.emplace();
            unpacker = makeUnpacker(bytes);
        }
        const auto keep = [this](std::string_view unpacked) { return write(unpacked); };
        if (!(unpacker != nullptr ? unpacker->take(bytes, keep) : keep(bytes))) break;
    }
    if (!problem_.empty()) return;
    if (unpacker != nullptr) brokenOff_ = unpacker->problem();
    mapTemporary();
}

bool Input::write(std::string_view bytes) {
    if (temporary_->isOpen() && writeAll(temporary_->descriptor(), bytes)) return true;
    problem_ = fmt::format("cannot copy it to a temporary file (in the folder TMPDIR): {}", std::strerror(errno));
    return false;
}

void Input::mapTemporary() {
    struct stat info {};
    if (::fstat(temporary_->descriptor(), &info) != 0) problem_ = std::strerror(errno);
    if (!problem_.empty() || info.st_size == 0) return;
    const auto size = static_cast<std::size_t>(info.st_size);
    void* const mapped = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, temporary_->descriptor(), 0);
    if (mapped == MAP_FAILED) problem_ = std::strerror(errno);
    else text_ = {static_cast<const char*>(mapped), size};
}

std::string_view Input::text() const {
    // A line that was cut off would be taken for a bad one.
    return brokenOff_.empty() ? text_ : text_.substr(0, text_.rfind('\n') + 1);
}

std::int32_t Input::identify(std::int32_t& kind, std::int32_t& formats, std::string& kindName) const {
    Text512 name;
    const std::int32_t status =
        isText() ? ObsIdentifyText(text_.data(), static_cast<std::int64_t>(text_.size()), &kind, &formats, name.data())
                 : ObsIdentifyFile(Text512(path_).data(), &kind, &formats, name.data());
    kindName = name.str();
    return status;
}

InputLines::InputLines(const Input& input) : isText_(input.isText()), text_(input.text()) {
    if (!isText_) file_.open(input.path(), std::ios::binary);
}

bool InputLines::next(std::string& line) {
    if (isText_) {
        if (text_.empty()) return false;
        const std::size_t end = std::min(text_.find('\n'), text_.size());
        line = text_.substr(0, end);
        text_.remove_prefix(std::min(end + 1, text_.size()));
    } else if (!std::getline(file_, line)) {
        return false;
    }
    if (line.ends_with('\r')) line.pop_back();
    return true;
}

}  // namespace obstool
