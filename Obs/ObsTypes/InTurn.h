// SPDX-License-Identifier: Apache-2.0
/// Work in portions that several threads do at once: begun one after another, given out in the same order.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <mutex>
#include <vector>

#include "Obs/ObsTypes/Threads.h"

namespace obs {

/// A task has
/// - `Portion`, made by default and used again and again;
/// - `Hand`, what each thread has of its own, made from the task;
/// - `bool begin(Portion&)`, by one thread at a time: false at the end, what it throws ends the work and reaches `next`;
/// - `void work(Portion&, Hand&) noexcept`, by any thread, several at once.
///
/// Threads: all calls come from one thread, which works as well while the next portion in order is not ready.
template <class Task>
class InTurn {
public:
    using Portion = typename Task::Portion;

    /// With `threadCount - 1` more threads, as many as the system starts. Throws std::bad_alloc.
    InTurn(Task& task, std::int32_t threadCount)
        : task_(task),
          own_(task),
          places_(threadCount > 1 ? kPortionsEach * static_cast<std::size_t>(threadCount) + 1 : 1),
          workers_(threadCount - 1, [this] { help(); }) {}
    ~InTurn() { stop(); }
    InTurn(const InTurn&) = delete;
    InTurn& operator=(const InTurn&) = delete;

    /// The next portion, its work done, good until the next call; null after the last one.
    Portion* next() {
        Lock lock(mutex_);
        released_ = given_;
        changed_.notify_all();
        for (;;) {
            Place& place = placeOf(given_);
            if (given_ < begun_ && place.isReady) {
                ++given_;
                return &place.portion;
            }
            if (workOnOne(lock, own_)) continue;
            if (given_ < begun_) changed_.wait(lock);
            else if (failure_) std::rethrow_exception(failure_);
            else return nullptr;
        }
    }

    /// From now on no portion is begun; those that were are still given out.
    void endBeginning() {
        change([this] { isAtEnd_ = true; });
    }

    /// No portion is begun until the opposite is said.
    void setPaused(bool isPaused) {
        change([this, isPaused] { isPaused_ = isPaused; });
    }

    /// Changes what the task begins portions from.
    template <class Change>
    void change(Change changeIt) {
        {
            const Lock lock(mutex_);
            changeIt();
        }
        changed_.notify_all();
    }

    /// Ends all work, and calls `visit(portion)` for each that there was.
    template <class Visit>
    void stop(Visit visit) {
        stop();
        for (Place& place : places_) visit(place.portion);
    }

private:
    using Lock = std::unique_lock<std::mutex>;

    /// So that nobody waits for a slow portion at once.
    static constexpr std::size_t kPortionsEach = 4;

    struct Place {
        Portion portion;
        bool isReady = false;
    };

    void stop() {
        endBeginning();
        workers_.join();
    }
    Place& placeOf(std::size_t number) { return places_[number % places_.size()]; }
    bool mayBegin() const { return !isAtEnd_ && !isPaused_ && begun_ - released_ < places_.size(); }

    void help() noexcept {
        try {
            typename Task::Hand hand(task_);
            Lock lock(mutex_);
            while (!isAtEnd_)
                if (!workOnOne(lock, hand)) changed_.wait(lock, [this] { return isAtEnd_ || mayBegin(); });
        } catch (...) {  // no memory for a hand: the others do
        }
    }

    /// Begins a portion and does its work, without the lock; false when none may be begun.
    bool workOnOne(Lock& lock, typename Task::Hand& hand) {
        if (!mayBegin()) return false;
        Place& place = placeOf(begun_);
        try {
            isAtEnd_ = !task_.begin(place.portion);
        } catch (...) {
            failure_ = std::current_exception();
            isAtEnd_ = true;
        }
        if (isAtEnd_) {
            changed_.notify_all();
            return false;
        }
        ++begun_;
        place.isReady = false;
        lock.unlock();
        task_.work(place.portion, hand);
        lock.lock();
        place.isReady = true;
        changed_.notify_all();
        return true;
    }

    Task& task_;
    typename Task::Hand own_;

    std::mutex mutex_;  ///< guards all below
    std::condition_variable changed_;
    std::vector<Place> places_;  ///< of the portions from `released_` on, in turn
    std::size_t begun_ = 0, given_ = 0, released_ = 0;
    bool isAtEnd_ = false;  ///< no portion will be begun
    bool isPaused_ = false;
    std::exception_ptr failure_;

    Workers workers_;  ///< last: they use all above
};

}  // namespace obs
