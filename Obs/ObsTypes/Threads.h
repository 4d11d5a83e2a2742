// SPDX-License-Identifier: Apache-2.0
/// How many threads a load or a save may use, and those that it starts.
#pragma once

#include <cstdint>
#include <thread>
#include <vector>

#include <signal.h>

namespace obs {

inline constexpr std::int32_t kMostThreads = 256;

/// A process-wide setting: 0 stands for all cores. 1 at the start.
void setThreads(std::int32_t number);
std::int32_t threads();

/// How many threads share a work of that many bytes, the calling one included: as many as are set, or as cores where each
/// then has enough to gain from it; never more than one for `leastShare` bytes.
std::int32_t threadsFor(std::int64_t bytes, std::int64_t leastShare);

/// Threads beside the calling one, as many of those wanted as the system starts. They get no signals. Joined at the
/// end: what they do must end by itself, and throw nothing.
class Workers {
public:
    template <class Work>
    Workers(std::int32_t number, Work work) {
        if (number <= 0) return;
        const NoSignals guard;
        try {
            threads_.reserve(static_cast<std::size_t>(number));
            for (std::int32_t i = 0; i < number; ++i) threads_.emplace_back(work);
        } catch (...) {  // the others do
        }
    }
    ~Workers() { join(); }
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    void join() {
        for (std::thread& thread : threads_) thread.join();
        threads_.clear();
    }

private:
    /// New threads take the mask of signals over.
    class NoSignals {
    public:
        NoSignals() {
            sigset_t all;
            sigfillset(&all);
            pthread_sigmask(SIG_SETMASK, &all, &before_);
        }
        ~NoSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
        NoSignals(const NoSignals&) = delete;
        NoSignals& operator=(const NoSignals&) = delete;

    private:
        sigset_t before_;
    };

    std::vector<std::thread> threads_;
};

}  // namespace obs
