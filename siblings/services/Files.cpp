#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "siblings/include/Services.h"
#include "siblings/services/Descriptors.h"
#include "siblings/services/Guard.h"

namespace family {
namespace {

/// Repeats a system call that a signal interrupted.
template <class Call>
auto retried(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

class Descriptor {
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() { close(); }

    int get() const { return number_; }
    bool open() const { return number_ >= 0; }
    int release() { return std::exchange(number_, -1); }
    /// NOTE: an interrupted close has closed the descriptor on Linux and must not be repeated.
    int close() {
        const int number = release();
        return number < 0 || ::close(number) == 0 || errno == EINTR ? 0 : errno;
    }

private:
    int number_;
};

/// Holds back the signal of a broken pipe in this thread and takes away one that came meanwhile.
class PipeSignalHeld {
public:
    PipeSignalHeld() {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    }
    PipeSignalHeld(const PipeSignalHeld&) = delete;
    PipeSignalHeld& operator=(const PipeSignalHeld&) = delete;
    ~PipeSignalHeld() {
        const timespec noWait{};
        if (!wasPending_) {
            retried([&] { return sigtimedwait(&pipe_, nullptr, &noWait); });
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

private:
    sigset_t pipe_, before_;
    bool wasPending_ = false;
};

int writeBlocks(int descriptor, const char* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t written = retried([&] { return ::write(descriptor, bytes, size); });
        if (written <= 0) {
            return written < 0 ? errno : EIO;
        }
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return 0;
}

/// Opens without waiting for the other end of a pipe; later reads and writes do wait.
int openNow(int directory, const char* name, int flags, mode_t permissions, Descriptor& opened) {
    opened = Descriptor(retried(
        [&] { return ::openat(directory, name, flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, permissions); }));
    if (!opened.open()) {
        return errno;
    }
    const int status = ::fcntl(opened.get(), F_GETFL);
    return status >= 0 && ::fcntl(opened.get(), F_SETFL, status & ~O_NONBLOCK) == 0 ? 0 : errno;
}

struct PathParts {
    std::string directory;  ///< with its slash, or empty
    std::string base;
};

PathParts splitPath(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
    return {path.substr(0, start), path.substr(start)};
}

/// Follows the links of the last component, also to a file that does not exist yet.
int followLinks(std::string& path) {
    constexpr int kMostLinks = 40;  // as the system itself allows
    for (int links = 0; links < kMostLinks; ++links) {
        struct stat status {};
        if (::lstat(path.c_str(), &status) != 0) {
            return errno == ENOENT ? 0 : errno;
        }
        if (!S_ISLNK(status.st_mode)) {
            return 0;
        }
        char target[PATH_MAX];
        const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
        if (length <= 0) {
            return length < 0 ? errno : ENOENT;
        }
        const std::string next(target, static_cast<std::size_t>(length));
        path = next.front() == '/' ? next : splitPath(path).directory + next;
    }
    return ELOOP;
}

/// Standard output or error when one was redirected to this very file, else -1.
int ownOutput(const struct stat& file) {
    for (const int output : {STDOUT_FILENO, STDERR_FILENO}) {
        struct stat own {};
        if (::fstat(output, &own) == 0 && own.st_dev == file.st_dev && own.st_ino == file.st_ino) {
            return output;
        }
    }
    return -1;
}

/// A file being written beside the one whose place it takes. The directory is held open, so
/// that the application may change its working directory meanwhile.
class Replacement {
public:
    ~Replacement() {
        if (!temporary_.empty()) {
            ::unlinkat(directory_.get(), temporary_.c_str(), 0);
        }
    }

    int create(const std::string& path, Descriptor& file) {
        const PathParts parts = splitPath(path);
        if (parts.base.empty()) {
            return path.empty() ? ENOENT : EISDIR;
        }
        const char* const directory = parts.directory.empty() ? "." : parts.directory.c_str();
        directory_ = Descriptor(::open(directory, O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (!directory_.open()) {
            return errno;
        }
        target_ = parts.base;
        struct stat old {};
        const bool replaces = ::fstatat(directory_.get(), target_.c_str(), &old, 0) == 0;
        // NOTE: renaming over a write-protected file would work, and would not be what its owner wants
        if (replaces && ::faccessat(directory_.get(), target_.c_str(), W_OK, AT_EACCESS) != 0) {
            return errno;
        }
        const int error = createTemporary(replaces ? S_IRUSR | S_IWUSR : mode_t{0666}, file);
        return error != 0 || !replaces ? error : takeOver(old, file.get());
    }

    int finish() {
        if (::renameat(directory_.get(), temporary_.c_str(), directory_.get(), target_.c_str()) != 0) {
            return errno;
        }
        temporary_.clear();
        return 0;
    }

private:
    int createTemporary(mode_t permissions, Descriptor& file) {
        static std::atomic<unsigned> counter{0};
        constexpr std::size_t kBaseKept = 200;  // leaves room in the 255 bytes of a file name
        std::string stem(1, '.');
        stem.append(target_, 0, kBaseKept).append(".").append(std::to_string(::getpid())).append("-");
        int error = EEXIST;
        for (int tries = 0; error == EEXIST && tries < 100; ++tries) {
            std::string name = stem + std::to_string(counter.fetch_add(1)) + ".tmp";
            error = openNow(directory_.get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL, permissions, file);
            if (error == 0) {
                temporary_ = std::move(name);
            }
        }
        return error;
    }

    /// Permissions of the old file, and its owner as far as the system lets us.
    static int takeOver(const struct stat& old, int file) {
        struct stat own {};
        if (::fstat(file, &own) == 0 && (own.st_uid != old.st_uid || own.st_gid != old.st_gid)) {
            static_cast<void>(::fchown(file, old.st_uid, old.st_gid) == 0);
        }
        return ::fchmod(file, old.st_mode & 0777) == 0 ? 0 : errno;
    }

    Descriptor directory_;
    std::string target_;
    std::string temporary_;  ///< empty when there is nothing to remove
};

}  // namespace

int openForAppend(const std::string& name, int& descriptor) {
    Descriptor opened;
    const int error = openNow(AT_FDCWD, name.c_str(), O_WRONLY | O_APPEND | O_CREAT, 0666, opened);
    descriptor = error == 0 ? opened.release() : -1;
    return error;
}

bool isRegularFile(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

int writeAll(int descriptor, const char* bytes, std::size_t size, bool regular) {
    if (regular) {
        return writeBlocks(descriptor, bytes, size);
    }
    const PipeSignalHeld held;
    return writeBlocks(descriptor, bytes, size);
}

class OpenFile {
public:
    explicit OpenFile(std::string_view name) : name_(name) {}

    int open(std::int32_t mode) {
        if (name_.find('\0') != std::string::npos) {
            return ENOENT;
        }
        const int error = openIn(mode);
        regular_ = error == 0 && isRegularFile(file_.get());
        if (error == 0 && mode == kOpenRead && !regular_) {
            return EINVAL;
        }
        return error;
    }

    std::int64_t read(char* buffer, std::size_t size) const {
        std::size_t filled = 0;
        while (filled < size) {
            const ssize_t got = retried([&] { return ::read(file_.get(), buffer + filled, size - filled); });
            if (got < 0) {
                return -1;
            }
            if (got == 0) {
                break;
            }
            filled += static_cast<std::size_t>(got);
        }
        return static_cast<std::int64_t>(filled);
    }

    bool write(const char* bytes, std::size_t size) {
        if (error_ == 0) {
            fail("filewrite", writeAll(file_.get(), bytes, size, regular_));
        }
        return error_ == 0;
    }

    bool seek(std::int64_t position) const {
        return position >= 0 && ::lseek(file_.get(), position, SEEK_SET) == position;
    }

    std::int64_t size() const {
        struct stat status {};
        return regular_ && ::fstat(file_.get(), &status) == 0 ? status.st_size : -1;
    }

    int close() {
        fail("fileclose", file_.close());
        if (replacement_ && error_ == 0) {
            fail("fileclose", replacement_->finish());
        }
        return error_;
    }

    const std::string& name() const { return name_; }

private:
    int openIn(std::int32_t mode) {
        switch (mode) {
        case kOpenReplace: return openReplace();
        case kOpenRead: return openRead();
        case kOpenAppend: return openAppend();
        default: return ENOTSUP;
        }
    }

    int openRead() {
        if (const int error = openNow(AT_FDCWD, name_.c_str(), O_RDONLY, 0, file_); error != 0) {
            return error;
        }
        struct stat status {};
        if (::fstat(file_.get(), &status) != 0) {
            return errno;
        }
        return S_ISDIR(status.st_mode) ? EISDIR : 0;
    }

    int openAppend() {
        int descriptor = -1;
        const int error = openForAppend(name_, descriptor);
        file_ = Descriptor(descriptor);
        return error;
    }

    int openReplace() {
        struct stat status {};
        const bool exists = ::stat(name_.c_str(), &status) == 0;
        if (exists && S_ISDIR(status.st_mode)) {
            return EISDIR;
        }
        // NOTE: "/dev/stdout" may stand for a regular file. It must go on receiving the output, and
        // only the same open file has the right position in it.
        if (const int output = exists && S_ISREG(status.st_mode) ? ownOutput(status) : -1; output >= 0) {
            file_ = Descriptor(::fcntl(output, F_DUPFD_CLOEXEC, 0));
            return file_.open() ? 0 : errno;
        }
        if (exists && !S_ISREG(status.st_mode)) {
            return openNow(AT_FDCWD, name_.c_str(), O_WRONLY | O_APPEND, 0, file_);
        }
        std::string path = name_;
        if (const int error = followLinks(path); error != 0) {
            return error;
        }
        replacement_ = std::make_unique<Replacement>();
        return replacement_->create(path, file_);
    }

    void fail(const char* operation, int error) {
        if (error == 0 || error_ != 0) {
            return;
        }
        error_ = error;
        guarded([&] {
            tracelogerror(std::string(operation) + ": Cannot write file " + name_ + ": " +
                          std::strerror(error));
        });
    }

    std::string name_;
    Descriptor file_;
    std::unique_ptr<Replacement> replacement_;  ///< absent when written in place
    bool regular_ = false;
    int error_ = 0;  ///< first failure of a write
};

std::int32_t fileopen(std::string_view name, std::int32_t mode, Unit& unit) {
    unit = kNoUnit;
    try {
        auto file = std::make_unique<OpenFile>(name);
        const int error = file->open(mode);
        if (error == 0) {
            unit = file.release();
        } else {
            const char* const reason = error == EINVAL ? "Not a regular file" : std::strerror(error);
            tracelogerror("fileopen: Cannot open file " + file->name() + ": " + reason);
        }
        return error;
    } catch (...) {
        tracelogerror("fileopen: Cannot open a file: Cannot allocate memory");
        return ENOMEM;
    }
}

std::int32_t fileclose(Unit& unit) {
    const std::unique_ptr<OpenFile> file(std::exchange(unit, kNoUnit));
    return file ? file->close() : 0;
}

void filediscard(Unit& unit) {
    const std::unique_ptr<OpenFile> file(std::exchange(unit, kNoUnit));  // leaving unclosed drops a replacement
}

std::int64_t fileread(Unit unit, char* buffer, std::size_t size) {
    return unit != kNoUnit ? unit->read(buffer, size) : -1;
}

bool filewrite(Unit unit, const char* bytes, std::size_t size) {
    return unit != kNoUnit && unit->write(bytes, size);
}

bool fileseek(Unit unit, std::int64_t position) { return unit != kNoUnit && unit->seek(position); }

std::int64_t filesize(Unit unit) { return unit != kNoUnit ? unit->size() : -1; }

bool existfortdotfileunit(Unit unit) {
    if (unit == kNoUnit) {
        return false;
    }
    constexpr std::string_view kStart = "fort.";
    std::string_view base = unit->name();
    base.remove_prefix(base.rfind('/') + 1);  // from npos to 0
    return base.size() > kStart.size() && base.starts_with(kStart) &&
           base.find_first_not_of("0123456789", kStart.size()) == std::string_view::npos;
}

bool fileexists(std::string_view name) {
    return guarded(false, [&] {
        struct stat status {};
        return ::stat(std::string(name).c_str(), &status) == 0 && S_ISREG(status.st_mode);
    });
}

}  // namespace family
