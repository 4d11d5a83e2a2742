// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include <spdlog/details/null_mutex.h>
#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>

#include "siblings/include/ObsFamily.h"
#include "siblings/include/Services.h"
#include "siblings/services/Descriptors.h"
#include "siblings/services/Guard.h"

namespace family {
namespace {

using LogCallback = void (*)(std::int32_t severity, const char* text, void* user);

struct LastError {
    std::size_t length;
    char text[kTextLength];
};
constinit thread_local LastError lastError{};
constinit thread_local std::uint64_t errorCount = 0;
constinit thread_local bool insideCallback = false;

struct Message {
    std::int32_t severity;
    std::string text;
};
constinit thread_local int holds = 0;
thread_local std::vector<Message> held;

/// Appends each line with one write, so that nothing is lost when the process dies and
/// several processes can share a file. Access is guarded by `TraceLog::mutex`.
class FileSink final : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
public:
    explicit FileSink(int descriptor) : descriptor_(descriptor), regular_(isRegularFile(descriptor)) {}
    FileSink(const FileSink&) = delete;
    FileSink& operator=(const FileSink&) = delete;
    ~FileSink() override { ::close(descriptor_); }

protected:
    void sink_it_(const spdlog::details::log_msg& message) override {
        spdlog::memory_buf_t line;
        formatter_->format(message, line);
        writeAll(descriptor_, line.data(), line.size(), regular_);
    }
    void flush_() override {}

private:
    int descriptor_;
    bool regular_;
};

struct TraceLog {
    /// Recursive, so that a callback may change the log although it holds this lock.
    std::recursive_mutex mutex;
    std::shared_ptr<spdlog::logger> file;  ///< guarded by `mutex`
    LogCallback callback = nullptr;        ///< guarded by `mutex`
    void* user = nullptr;                  ///< guarded by `mutex`
};

/// True while a file or a callback listens; looked at before anything is built or locked.
constinit std::atomic<bool> listening{false};

/// Never destroyed: other threads may log while the process ends.
TraceLog& traceLog() {
    static TraceLog& log = *new TraceLog;
    return log;
}

void updateListening(const TraceLog& log) {
    listening.store(log.file != nullptr || log.callback != nullptr, std::memory_order_relaxed);
}

std::shared_ptr<spdlog::logger> makeLogger(int descriptor) {
    std::shared_ptr<FileSink> sink;
    try {
        sink = std::make_shared<FileSink>(descriptor);
    } catch (...) {
        ::close(descriptor);
        throw;
    }
    auto logger = std::make_shared<spdlog::logger>("Obs", std::move(sink));
    logger->set_formatter(std::make_unique<spdlog::pattern_formatter>("%Y-%m-%dT%H:%M:%S.%eZ %l %v",
                                                                      spdlog::pattern_time_type::utc));
    logger->set_error_handler([](const std::string&) {});  // the default one writes to stderr
    return logger;
}

/// Gives a message to the callback. One that the callback itself causes goes to the file only.
void callBack(const TraceLog& log, std::int32_t severity, const std::string& text) {
    if (log.callback == nullptr || insideCallback) {
        return;
    }
    struct Mark {
        Mark() { insideCallback = true; }
        ~Mark() { insideCallback = false; }
    } mark;
    log.callback(severity, text.c_str(), log.user);
}

void emit(std::int32_t severity, std::string_view message) noexcept {
    if (!listening.load(std::memory_order_relaxed)) {
        return;
    }
    guarded([&] {
        std::string text(message);
        std::replace(text.begin(), text.end(), '\0', ' ');
        if (holds > 0) {
            held.push_back({severity, std::move(text)});
            return;
        }
        TraceLog& log = traceLog();
        const std::lock_guard lock(log.mutex);
        if (log.file) {
            log.file->log(severity != 0 ? spdlog::level::err : spdlog::level::info,
                          spdlog::string_view_t(text.data(), text.size()));
        }
        callBack(log, severity, text);
    });
}

bool openLog(const char* fileName) {
    const std::string name(chararrtostr(fileName));
    int descriptor = -1;
    if (const int error = openForAppend(name, descriptor); error != 0) {
        tracelogerror("FamilyOpenLog: Cannot open file " + name + ": " + std::strerror(error));
        return false;
    }
    auto logger = makeLogger(descriptor);
    TraceLog& log = traceLog();
    const std::lock_guard lock(log.mutex);
    log.file = std::move(logger);
    updateListening(log);
    return true;
}

}  // namespace

void tracelogerror(std::string_view message) {
    ++errorCount;
    lastError.length = std::min(message.size(), kTextLength);
    if (lastError.length > 0) {
        std::memcpy(lastError.text, message.data(), lastError.length);
    }
    if (std::memchr(lastError.text, '\0', lastError.length) != nullptr) {
        std::replace(lastError.text, lastError.text + lastError.length, '\0', ' ');
    }
    emit(1, message);
}

std::uint64_t tracelogerrorcount() { return errorCount; }

void traceloginfo(std::string_view message) { emit(0, message); }

MessageHold::MessageHold() { ++holds; }

MessageHold::~MessageHold() {
    if (--holds > 0) {
        return;
    }
    const std::vector<Message> messages = std::exchange(held, {});
    for (const Message& message : messages) {
        emit(message.severity, message.text);
    }
}

bool traceloginfowanted() { return listening.load(std::memory_order_relaxed); }

}  // namespace family

using namespace family;

int32_t FamilyGetLastError(char text[512]) {
    if (text == nullptr) {
        tracelogerror("FamilyGetLastError: no place for the text");
        return 2;
    }
    strtochararr({lastError.text, lastError.length}, text);
    return lastError.length == 0 ? 0 : 1;
}

void FamilyClearLastError(void) { lastError.length = 0; }

int32_t FamilyOpenLog(const char* fileName) {
    if (fileName == nullptr) {
        tracelogerror("FamilyOpenLog: no file name");
        return 2;
    }
    try {
        return openLog(fileName) ? 0 : 2;
    } catch (...) {
        tracelogerror("FamilyOpenLog: Out of memory");
        return 2;
    }
}

void FamilyCloseLog(void) {
    guarded([] {
        TraceLog& log = traceLog();
        const std::lock_guard lock(log.mutex);
        log.file.reset();
        updateListening(log);
    });
}

void FamilySetLogCallback(void (*f)(int32_t severity, const char* text, void* user), void* user) {
    guarded([&] {
        TraceLog& log = traceLog();
        const std::lock_guard lock(log.mutex);
        log.callback = f;
        log.user = user;
        updateListening(log);
    });
}
