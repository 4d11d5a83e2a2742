// SPDX-License-Identifier: Apache-2.0
/// What the programs that measure share: processor time, a process of its own for every engine, medians.
#pragma once

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace bench {

inline void require(bool condition, const std::string& what) {
    if (!condition) throw std::runtime_error(what);
}

inline double seconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

template <class Work>
double nsPer(std::size_t n, Work work, clockid_t clock = CLOCK_PROCESS_CPUTIME_ID) {
    const double start = seconds(clock);
    work();
    return (seconds(clock) - start) * 1e9 / static_cast<double>(n);
}

inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

/// Does work in a child process and hands back what it found. `watch`, when given, is called with the child's
/// process number every millisecond meanwhile, which costs the child a little.
template <class Found>
Found inChild(const std::string& what, const std::function<void(Found&)>& work,
              const std::function<void(const std::string&)>& watch = {}) {
    static_assert(std::is_trivially_copyable_v<Found>);  // it comes through a pipe as it stands
    int ends[2];
    require(::pipe(ends) == 0, "no pipe");
    std::fflush(nullptr);
    const pid_t child = ::fork();
    require(child >= 0, "no process");
    if (child == 0) {
        Found found;
        try {
            work(found);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "%s: %s\n", what.c_str(), error.what());
            ::_exit(1);
        }
        ::_exit(::write(ends[1], &found, sizeof found) == sizeof found ? 0 : 1);
    }
    ::close(ends[1]);
    pollfd ready{ends[0], POLLIN, 0};
    while (watch && ::poll(&ready, 1, 1) == 0) watch(std::to_string(child));
    Found found;
    const bool complete = ::read(ends[0], &found, sizeof found) == sizeof found;
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    require(complete && status == 0, what + " failed");
    return found;
}

/// In memory when the system has such a place; goes away with what is in it.
struct TemporaryDirectory {
    std::filesystem::path path;
    explicit TemporaryDirectory(const std::string& program) {
        const std::filesystem::path inMemory = "/dev/shm";
        const bool there = std::filesystem::is_directory(inMemory);
        std::string name = (there ? inMemory : std::filesystem::temp_directory_path()) / (program + "-XXXXXX");
        require(::mkdtemp(name.data()) != nullptr, "no temporary directory");
        path = name;
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

}  // namespace bench
