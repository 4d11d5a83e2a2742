// SPDX-License-Identifier: Apache-2.0
#include "Call.h"
#include <ObsFamily.h>

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <utility>

namespace obslib {

namespace {

using namespace std::chrono_literals;

/// More of one call are counted, not kept: a deck of a million bad lines has that many messages.
constexpr size_t kMessagesKept = 1000;

struct Message {
    int32_t severity;
    std::string text;
};

struct Waiting {
    std::mutex lock;
    std::vector<Message> messages;
    size_t lost = 0;
} waiting;

struct Turn {
    std::timed_mutex lock;
    std::atomic<std::thread::id> owner;
};
// A pointer, since a forked child leaves a lock that another thread of its parent held and takes a new one.
Turn* turn = new Turn;

void keep(int32_t severity, const char* text, void*) {
    const std::lock_guard guard(waiting.lock);
    if (waiting.messages.size() < kMessagesKept) {
        waiting.messages.push_back({severity, text});
    } else {
        ++waiting.lost;
    }
}

std::string checked(std::string_view text, const char* what) {
    if (text.size() >= kTextLength) {
        throw Refused(std::string(what) + " of " + std::to_string(text.size()) + " bytes is longer than 511");
    }
    if (text.find('\0') != std::string_view::npos) throw Refused(std::string(what) + " holds a NUL");
    return std::string(text);
}

}  // namespace

std::string lineText(std::string_view text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.remove_suffix(1);
    if (text.find('\n') != std::string_view::npos) throw Refused("a line holds a line break");
    return checked(text, "a line");
}

std::string nameText(std::string_view text) {
    if (!text.empty() && text.back() == ' ') throw Refused("a name ends with a blank");
    return checked(text, "a name");
}

std::string given(const char* text) {
    std::string_view view(text, kTextLength);
    view = view.substr(0, view.find('\0'));
    return std::string(view.substr(0, view.find_last_not_of(' ') + 1));
}

std::string lastError() {
    char text[kTextLength];
    return FamilyGetLastError(text) == 1 ? given(text) : "refused";
}

KeyArray toArray(std::vector<int64_t>&& keys) {
    auto* owned = new std::vector<int64_t>(std::move(keys));
    const nb::capsule owner(owned, [](void* p) noexcept { delete static_cast<std::vector<int64_t>*>(p); });
    return {owned->data(), {owned->size()}, owner};
}

Reals toArray(std::vector<double>&& values, size_t columns) {
    auto* owned = new std::vector<double>(std::move(values));
    const nb::capsule owner(owned, [](void* p) noexcept { delete static_cast<std::vector<double>*>(p); });
    return {owned->data(), {owned->size() / columns, columns}, owner};
}

void collectMessages() {
    FamilySetLogCallback(keep, nullptr);
    pthread_atfork([] { waiting.lock.lock(); }, [] { waiting.lock.unlock(); },
                   [] {
                       waiting.lock.unlock();
                       turn = new Turn;
                   });
}

void deliverMessages() noexcept {
    std::vector<Message> messages;
    size_t lost = 0;
    {
        const std::lock_guard guard(waiting.lock);
        messages.swap(waiting.messages);
        lost = std::exchange(waiting.lost, 0);
    }
    if (messages.empty()) return;
    try {
        const nb::object log = nb::module_::import_("obslib._log").attr("deliver");
        nb::list rows;
        for (const Message& message : messages) {
            rows.append(nb::make_tuple(
                message.severity, nb::steal<nb::str>(PyUnicode_DecodeUTF8(
                                      message.text.data(), static_cast<Py_ssize_t>(message.text.size()), "replace"))));
        }
        log(rows, lost);
    } catch (nb::python_error& error) { error.discard_as_unraisable("obslib: handing messages to logging"); }
}

Exclusive::Exclusive() {
    if (turn->owner.load() == std::this_thread::get_id()) {
        throw Refused("a load or save is under way in this thread; its callback cannot begin another");
    }
    released_.emplace();
    while (!turn->lock.try_lock_for(100ms)) {
        const nb::gil_scoped_acquire acquired;
        if (PyErr_CheckSignals() != 0) throw nb::python_error();
    }
    turn->owner = std::this_thread::get_id();
}

Exclusive::~Exclusive() {
    turn->owner = std::thread::id();
    turn->lock.unlock();
}

}  // namespace obslib
