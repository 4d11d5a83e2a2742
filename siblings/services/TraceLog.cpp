// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <pthread.h>
#include <unistd.h>

#include <fmt/format.h>
#include <spdlog/details/null_mutex.h>
#include <spdlog/formatter.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/base_sink.h>

#include "siblings/include/ForkHold.h"
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

constinit thread_local std::vector<Message>* captured = nullptr;
constinit thread_local int holds = 0;
thread_local std::vector<Message> held;

/// Time (UTC), severity and text. NOTE: the C library's conversions of time take a lock that a child process may never
/// get, if another thread had it at the fork.
class LineFormatter final : public spdlog::formatter {
public:
    void format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& line) override {
        const auto time = std::chrono::floor<std::chrono::milliseconds>(message.time);
        const auto day = std::chrono::floor<std::chrono::days>(time);
        const std::chrono::year_month_day date(day);
        const std::chrono::hh_mm_ss clock(time - day);
        fmt::format_to(std::back_inserter(line), "{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z {} {}\n",
                       static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                       static_cast<unsigned>(date.day()), clock.hours().count(), clock.minutes().count(),
                       clock.seconds().count(), clock.subseconds().count(),
                       message.level == spdlog::level::err ? "error" : "info",
                       fmt::string_view(message.payload.data(), message.payload.size()));
    }
    std::unique_ptr<spdlog::formatter> clone() const override { return std::make_unique<LineFormatter>(); }
};

/// Line ends and escape sequences in what a message quotes would make other lines, or colours, of it.
void replaceControls(char* text, std::size_t length) {
    std::replace_if(
        text, text + length, [](char c) { return (c >= '\0' && c < ' ') || c == '\x7f'; }, '?');
}

/// Appends each line with one write, so that nothing is lost when the process dies and
/// several processes can share a file. Used by one thread at a time (`Turn`).
class FileSink final : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
public:
    explicit FileSink(int descriptor)
        : base_sink(std::make_unique<LineFormatter>()), descriptor_(descriptor), regular_(isRegularFile(descriptor)) {}
    FileSink(const FileSink&) = delete;
    FileSink& operator=(const FileSink&) = delete;
    ~FileSink() override { ::close(descriptor_); }

protected:
    void sink_it_(const spdlog::details::log_msg& message) override {
        spdlog::memory_buf_t line;
        formatter_->format(message, line);
        replaceControls(line.data(), line.size() - 1);  // all but its own end
        writeAll(descriptor_, line.data(), line.size(), regular_);
    }
    void flush_() override {}

private:
    int descriptor_;
    bool regular_;
};

/// Held while a message is given out, which may take its time: a callback is the application's. A callback may change
/// the log, or cause messages.
constinit std::mutex turnMutex;
constinit thread_local int turns = 0;
class Turn {
public:
    Turn() {
        if (turns++ == 0) { turnMutex.lock(); }
    }
    ~Turn() {
        if (--turns == 0) { turnMutex.unlock(); }
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
};

struct Listeners {
    std::shared_ptr<spdlog::logger> file;
    LogCallback callback = nullptr;
    void* user = nullptr;
};

constinit std::mutex listenersMutex;

/// True while a file or a callback listens; looked at before anything is built or locked.
constinit std::atomic<bool> listening{false};

/// Guarded by `listenersMutex`. Never destroyed: other threads may log while the process ends.
Listeners& listeners = *new Listeners;

/// A fork does not wait for messages.
void freeTurnInChild() {
    new (&turnMutex) std::mutex;
    if (turns > 0) {  // the fork came from a callback
        turnMutex.lock();
    }
}
[[maybe_unused]] const int forkHandled[] = {holdAtForks<listenersMutex>(),
                                            pthread_atfork(nullptr, nullptr, freeTurnInChild)};

Listeners currentListeners() {
    const std::lock_guard lock(listenersMutex);
    return listeners;
}

/// No message is given out meanwhile.
template <class Change>
void changeListeners(Change change) {
    const Turn turn;
    const std::lock_guard lock(listenersMutex);
    change(listeners);
    listening.store(listeners.file != nullptr || listeners.callback != nullptr, std::memory_order_relaxed);
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
    logger->set_error_handler([](const std::string&) {});  // the default one writes to stderr
    return logger;
}

/// Gives a message to the callback. One that the callback itself causes goes to the file only.
void callBack(const Listeners& log, std::int32_t severity, const std::string& text) {
    if (log.callback == nullptr || insideCallback) { return; }
    struct Mark {
        Mark() { insideCallback = true; }
        ~Mark() { insideCallback = false; }
    } mark;
    log.callback(severity, text.c_str(), log.user);
}

void emit(std::int32_t severity, std::string_view message) noexcept {
    if (!listening.load(std::memory_order_relaxed)) { return; }
    guarded([&] {
        std::string text(message);
        std::replace(text.begin(), text.end(), '\0', ' ');
        if (holds > 0) {
            held.push_back({severity, std::move(text)});
            return;
        }
        const Turn turn;
        const Listeners log = currentListeners();
        if (log.file) {
            log.file->log(severity != 0 ? spdlog::level::err : spdlog::level::info,
                          spdlog::string_view_t(text.data(), text.size()));
        }
        callBack(log, severity, text);
    });
}

void capture(std::int32_t severity, std::string_view message) noexcept {
    guarded([&] {
        if (!listening.load(std::memory_order_relaxed)) {
            if (severity == 0) { return; }
            captured->clear();
        }
        captured->push_back({severity, std::string(message)});
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
    changeListeners([&](Listeners& log) { log.file.swap(logger); });
    return true;
}

}  // namespace

void tracelogerror(std::string_view message) {
    if (captured != nullptr) {
        capture(1, message);
        return;
    }
    ++errorCount;
    lastError.length = std::min(message.size(), kTextLength);
    if (lastError.length > 0) { std::memcpy(lastError.text, message.data(), lastError.length); }
    if (std::memchr(lastError.text, '\0', lastError.length) != nullptr) {
        std::replace(lastError.text, lastError.text + lastError.length, '\0', ' ');
    }
    emit(1, message);
}

std::uint64_t tracelogerrorcount() { return errorCount; }

void traceloginfo(std::string_view message) {
    if (captured != nullptr) {
        capture(0, message);
    } else {
        emit(0, message);
    }
}

MessageCapture::MessageCapture(std::vector<Message>& messages) : before_(std::exchange(captured, &messages)) {}

MessageCapture::~MessageCapture() { captured = before_; }

void saymessages(const std::vector<Message>& messages) {
    for (const Message& message : messages) {
        if (message.severity != 0) {
            tracelogerror(message.text);
        } else {
            traceloginfo(message.text);
        }
    }
}

MessageHold::MessageHold() { ++holds; }

MessageHold::~MessageHold() {
    if (--holds > 0) { return; }
    const std::vector<Message> messages = std::exchange(held, {});
    for (const Message& message : messages) { emit(message.severity, message.text); }
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
        std::shared_ptr<spdlog::logger> none;
        changeListeners([&](Listeners& log) { log.file.swap(none); });
    });
}

void FamilySetLogCallback(void (*f)(int32_t severity, const char* text, void* user), void* user) {
    guarded([&] {
        changeListeners([&](Listeners& log) {
            log.callback = f;
            log.user = user;
        });
    });
}
