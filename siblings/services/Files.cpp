// SPDX-License-Identifier: Apache-2.0
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
#include <linux/magic.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "siblings/include/ObsFamily.h"
#include "siblings/include/Services.h"
#include "siblings/services/Descriptors.h"
#include "siblings/services/Guard.h"

namespace family {
namespace {

/// Repeats a system call that a signal interrupted.
template <class Call>
auto retried(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) { result = call(); }
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

/// Holds back a signal that a failing write sends this thread, and takes away one that came meanwhile: SIGPIPE of a
/// pipe whose reader has gone, SIGXFSZ of a file that may not grow.
class SignalHeld {
public:
    explicit SignalHeld(int signal) {
        sigemptyset(&held_);
        sigaddset(&held_, signal);
        sigset_t pending;
        sigpending(&pending);
        wasPending_ = sigismember(&pending, signal) == 1;
        pthread_sigmask(SIG_BLOCK, &held_, &before_);
    }
    SignalHeld(const SignalHeld&) = delete;
    SignalHeld& operator=(const SignalHeld&) = delete;
    ~SignalHeld() {
        const timespec noWait{};
        if (!wasPending_) {
            retried([&] { return sigtimedwait(&held_, nullptr, &noWait); });
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

private:
    sigset_t held_, before_;
    bool wasPending_ = false;
};

/// Holds back every signal in this thread.
class AllSignalsHeld {
public:
    AllSignalsHeld() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &before_);
    }
    AllSignalsHeld(const AllSignalsHeld&) = delete;
    AllSignalsHeld& operator=(const AllSignalsHeld&) = delete;
    ~AllSignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_;
};

/// How a file that is being written is given up, also by a signal handler: the temporary file is removed, a file
/// that is appended to is cut back.
class Undo {
public:
    Undo() = default;
    Undo(const Undo&) = delete;
    Undo& operator=(const Undo&) = delete;
    ~Undo() { disarm(); }

    /// The name must stay where it is while armed.
    void removing(int folder, const char* temporary) { arm(folder, temporary, 0); }
    void cuttingBack(int file, off_t length) { arm(file, nullptr, length); }
    bool armed() const { return armed_; }

    void disarm() {
        if (!armed_) { return; }
        armed_ = false;
        for (auto& place : places) {
            const Undo* self = this;
            place.compare_exchange_strong(self, nullptr);
        }
    }

    /// Returns an error number. Safe in a signal handler.
    int run() const {
        const int result = temporary_ != nullptr ? ::unlinkat(descriptor_, temporary_, 0)
                                                 : retried([&] { return ::ftruncate(descriptor_, length_); });
        return result == 0 ? 0 : errno;
    }

    static void runAll() {
        for (auto& place : places) {
            const Undo* const undo = place.exchange(nullptr);
            if (undo != nullptr && undo->process_ == ::getpid()) {  // a forked child has its parent's
                undo->run();
            }
        }
    }

    /// For a forked child: what its parent writes is not the child's to give up.
    static void forgetAll() {
        for (auto& place : places) { place.store(nullptr); }
    }

private:
    static constexpr std::size_t kMaxAtOnce = 16;  // more files at a time are not given up by a signal
    static std::atomic<const Undo*> places[kMaxAtOnce];
    static_assert(std::atomic<const Undo*>::is_always_lock_free);

    void arm(int descriptor, const char* temporary, off_t length) {
        descriptor_ = descriptor;
        temporary_ = temporary;
        length_ = length;
        process_ = ::getpid();
        armed_ = true;
        for (auto& place : places) {
            const Undo* nobody = nullptr;
            if (place.compare_exchange_strong(nobody, this)) { break; }
        }
    }

    int descriptor_ = -1;
    const char* temporary_ = nullptr;
    off_t length_ = 0;
    pid_t process_ = 0;
    bool armed_ = false;
};
constinit std::atomic<const Undo*> Undo::places[Undo::kMaxAtOnce]{};

[[maybe_unused]] const int forkHandled = pthread_atfork(nullptr, nullptr, Undo::forgetAll);

int writeBlocks(int descriptor, const char* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t written = retried([&] { return ::write(descriptor, bytes, size); });
        if (written <= 0) { return written < 0 ? errno : EIO; }
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return 0;
}

/// Opens without waiting for the other end of a pipe; later reads and writes do wait.
int openNow(int directory, const char* name, int flags, mode_t permissions, Descriptor& opened) {
    opened = Descriptor(
        retried([&] { return ::openat(directory, name, flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, permissions); }));
    if (!opened.open()) { return errno; }
    const int status = ::fcntl(opened.get(), F_GETFL);
    return status >= 0 && ::fcntl(opened.get(), F_SETFL, status & ~O_NONBLOCK) == 0 ? 0 : errno;
}

/// Until all is on the disk. Returns an error number.
int flushToDisk(int descriptor) {
    return retried([&] { return ::fsync(descriptor); }) == 0 ? 0 : errno;
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
    constexpr int kMaxLinks = 40;  // as the system itself allows
    for (int links = 0; links < kMaxLinks; ++links) {
        struct stat status {};
        if (::lstat(path.c_str(), &status) != 0) { return errno == ENOENT ? 0 : errno; }
        if (!S_ISLNK(status.st_mode)) { return 0; }
        char target[PATH_MAX];
        const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
        if (length <= 0) { return length < 0 ? errno : ENOENT; }
        const std::string next(target, static_cast<std::size_t>(length));
        path = next.front() == '/' ? next : splitPath(path).directory + next;
    }
    return ELOOP;
}

/// Standard output or error when one was redirected to this very file, else -1.
int ownOutput(const struct stat& file) {
    for (const int output : {STDOUT_FILENO, STDERR_FILENO}) {
        struct stat own {};
        if (::fstat(output, &own) == 0 && own.st_dev == file.st_dev && own.st_ino == file.st_ino) { return output; }
    }
    return -1;
}

/// The folder that holds a file, kept open, so that the application may change its working directory meanwhile.
class Folder {
public:
    int open(const std::string& path) {
        const std::string directory = splitPath(path).directory;
        const std::size_t end = directory.find_last_not_of('/');  // npos, or the root: one character is left
        name_ = directory.empty() ? "." : directory.substr(0, end == std::string::npos ? 1 : end + 1);
        descriptor_ = Descriptor(::open(name_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        return descriptor_.open() ? 0 : errno;
    }

    /// New names in it stay after a loss of power.
    int flush() const {
        const Descriptor readable(::openat(descriptor_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        return readable.open() ? flushToDisk(readable.get()) : errno;
    }

    int get() const { return descriptor_.get(); }
    const std::string& name() const { return name_; }

private:
    Descriptor descriptor_;
    std::string name_;
};

/// A file being written beside the one whose place it takes.
class Replacement {
public:
    ~Replacement() {
        if (undo_.armed()) { undo_.run(); }
    }

    /// @param path with its links followed, in the folder.
    /// @param folderFailed set when the error is the folder's.
    int create(const std::string& path, const Folder& folder, Descriptor& file, bool& folderFailed) {
        folder_ = folder.get();
        target_ = splitPath(path).base;
        struct stat old {};
        const bool replaces = ::fstatat(folder_, target_.c_str(), &old, 0) == 0;
        // NOTE: renaming over a write-protected file would work, and would not be what its owner wants
        if (replaces && ::faccessat(folder_, target_.c_str(), W_OK, AT_EACCESS) != 0) { return errno; }
        const int error = createTemporary(replaces ? S_IRUSR | S_IWUSR : mode_t{0666}, file);
        folderFailed = error != 0 && error != ENAMETOOLONG;
        return error != 0 || !replaces ? error : takeOver(old, file.get());
    }

    int finish() {
        if (::renameat(folder_, temporary_.c_str(), folder_, target_.c_str()) != 0) { return errno; }
        undo_.disarm();
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
            temporary_ = stem + std::to_string(counter.fetch_add(1)) + ".tmp";
            const AllSignalsHeld held;  // a handler must not come between the file and its undoing
            error = openNow(folder_, temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL, permissions, file);
            if (error == 0) { undo_.removing(folder_, temporary_.c_str()); }
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

    int folder_ = -1;  ///< the opener's
    std::string target_;
    std::string temporary_;
    Undo undo_;
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
    if (regular) { return writeBlocks(descriptor, bytes, size); }
    const SignalHeld held(SIGPIPE);
    return writeBlocks(descriptor, bytes, size);
}

/// Files that the kernel makes up while they are read: some have no end, others wait for something to happen.
bool isMadeUp(int descriptor) {
    struct statfs system {};
    if (::fstatfs(descriptor, &system) != 0) { return false; }
    switch (system.f_type) {
        case PROC_SUPER_MAGIC:
        case SYSFS_MAGIC:
        case DEBUGFS_MAGIC:
        case TRACEFS_MAGIC:
        case SECURITYFS_MAGIC:
        case PSTOREFS_MAGIC:
        case CGROUP_SUPER_MAGIC:
        case CGROUP2_SUPER_MAGIC: return true;
        default: return false;
    }
}

class OpenFile {
public:
    explicit OpenFile(std::string_view name) : name_(name) {}

    ~OpenFile() {
        if (undo_.armed()) { undo_.run(); }
    }

    int open(std::int32_t mode) {
        if (name_.find('\0') != std::string::npos) { return ENOENT; }
        const int error = openIn(mode);
        regular_ = error == 0 && isRegularFile(file_.get());
        if (error == 0 && mode == kOpenRead && (!regular_ || isMadeUp(file_.get()))) { return EINVAL; }
        isWritten_ = mode != kOpenRead;
        if (error == 0 && mode == kOpenAppend && regular_) { prepareAppending(); }
        return error;
    }

    /// Why it could not be opened.
    std::string openingFailure(int error) const {
        const std::string reason = error == EINVAL ? "Not a regular file" : std::strerror(error);
        if (folderFailed_) {
            return "Cannot make a file in folder " + folder_->name() + " (for " + name_ + "): " + reason;
        }
        return "Cannot open file " + name_ + ": " + reason;
    }

    std::int64_t read(char* buffer, std::size_t size) const {
        std::size_t filled = 0;
        while (filled < size) {
            const ssize_t got = retried([&] { return ::read(file_.get(), buffer + filled, size - filled); });
            if (got < 0) { return -1; }
            if (got == 0) { break; }
            filled += static_cast<std::size_t>(got);
        }
        return static_cast<std::int64_t>(filled);
    }

    bool write(const char* bytes, std::size_t size) {
        if (std::exchange(lineIsUnfinished_, false)) { write("\n", 1); }
        if (error_ == 0) {
            const SignalHeld held(regular_ ? SIGXFSZ : SIGPIPE);
            fail(writeBlocks(file_.get(), bytes, size), "filewrite: Cannot write file ", name_);
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

    /// The data are on the disk before a new name takes the old one's place, and the name after it.
    int close() {
        if (isWritten_ && regular_ && error_ == 0) { fail(flushToDisk(file_.get()), kCannotWrite, name_); }
        if (undo_.armed() && error_ != 0) { tell(undo_.run(), "fileclose: Cannot cut back file ", name_); }
        undo_.disarm();
        fail(file_.close(), kCannotWrite, name_);
        if (replacement_ && error_ == 0) { fail(replacement_->finish(), kCannotWrite, name_); }
        if (folder_ && error_ == 0) {
            fail(folder_->flush(), "fileclose: Cannot flush the folder of a file that is written, ", folder_->name());
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
        if (const int error = openNow(AT_FDCWD, name_.c_str(), O_RDONLY, 0, file_); error != 0) { return error; }
        struct stat status {};
        if (::fstat(file_.get(), &status) != 0) { return errno; }
        return S_ISDIR(status.st_mode) ? EISDIR : 0;
    }

    int openAppend() {
        struct stat status {};
        if (::stat(name_.c_str(), &status) != 0 && errno == ENOENT) {
            std::string path = name_;
            if (const int error = openFolder(path); error != 0) { return error; }
        }
        int descriptor = -1;
        const int error = openForAppend(name_, descriptor);
        folderFailed_ = error != 0 && folder_;
        file_ = Descriptor(descriptor);
        return error;
    }

    /// The folder in which the file's name will be new.
    /// @param path gets its links followed.
    int openFolder(std::string& path) {
        if (const int error = followLinks(path); error != 0) { return error; }
        if (splitPath(path).base.empty()) { return path.empty() ? ENOENT : EISDIR; }
        folder_ = std::make_unique<Folder>();
        const int error = folder_->open(path);
        folderFailed_ = error != 0;
        return error;
    }

    /// A file that cannot be read is taken to end within a line: a blank line does no harm.
    void prepareAppending() {
        const std::int64_t length = size();
        undo_.cuttingBack(file_.get(), length);
        Descriptor readable;
        char last = 0;
        lineIsUnfinished_ = length > 0 && (openNow(AT_FDCWD, name_.c_str(), O_RDONLY, 0, readable) != 0 ||
                                           ::pread(readable.get(), &last, 1, length - 1) != 1 || last != '\n');
    }

    int openReplace() {
        struct stat status {};
        const bool exists = ::stat(name_.c_str(), &status) == 0;
        if (exists && S_ISDIR(status.st_mode)) { return EISDIR; }
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
        if (const int error = openFolder(path); error != 0) { return error; }
        replacement_ = std::make_unique<Replacement>();
        return replacement_->create(path, *folder_, file_, folderFailed_);
    }

    static void tell(int error, const char* what, const std::string& name) {
        if (error != 0) {
            guarded([&] { tracelogerror(what + name + ": " + std::strerror(error)); });
        }
    }

    void fail(int error, const char* what, const std::string& name) {
        if (error_ == 0) { tell(error_ = error, what, name); }
    }

    static constexpr const char* kCannotWrite = "fileclose: Cannot write file ";

    std::string name_;
    Descriptor file_;
    std::unique_ptr<Folder> folder_;            ///< where the name of the file is new; absent when it is not
    std::unique_ptr<Replacement> replacement_;  ///< absent when written in place; goes before its folder
    Undo undo_;                                 ///< of appending; goes before its file
    bool regular_ = false;
    bool isWritten_ = false;
    bool lineIsUnfinished_ = false;  ///< the last one of a file that is appended to
    bool folderFailed_ = false;      ///< when it could not be opened
    int error_ = 0;                  ///< first failure of a write
};

std::int32_t fileopen(std::string_view name, std::int32_t mode, Unit& unit) {
    unit = kNoUnit;
    try {
        auto file = std::make_unique<OpenFile>(name);
        const int error = file->open(mode);
        if (error == 0) {
            unit = file.release();
        } else {
            tracelogerror("fileopen: " + file->openingFailure(error));
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
    const std::unique_ptr<OpenFile> file(std::exchange(unit, kNoUnit));  // what is not closed is given up
}

std::int64_t fileread(Unit unit, char* buffer, std::size_t size) {
    return unit != kNoUnit ? unit->read(buffer, size) : -1;
}

bool filewrite(Unit unit, const char* bytes, std::size_t size) { return unit != kNoUnit && unit->write(bytes, size); }

bool fileseek(Unit unit, std::int64_t position) { return unit != kNoUnit && unit->seek(position); }

std::int64_t filesize(Unit unit) { return unit != kNoUnit ? unit->size() : -1; }

bool existfortdotfileunit(Unit unit) {
    if (unit == kNoUnit) { return false; }
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

void FamilyGiveUpFiles(void) { family::Undo::runAll(); }
