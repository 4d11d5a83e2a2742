// SPDX-License-Identifier: Apache-2.0
/// @file
/// What every call from Python into the library shares: texts, failures, messages, and who may load or save.
#pragma once

#include <nanobind/nanobind.h>
#include <nanobind/ndarray.h>
#include <nanobind/stl/optional.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace obslib {

namespace nb = nanobind;

using Keys = nb::ndarray<const int64_t, nb::ndim<1>, nb::c_contig, nb::device::cpu>;
using KeyArray = nb::ndarray<nb::numpy, int64_t, nb::ndim<1>>;
using Reals = nb::ndarray<nb::numpy, double, nb::ndim<2>>;

/// Characters of every text that the library takes or gives.
inline constexpr size_t kTextLength = 512;

/// Failures as Python sees them; Module.cpp says which exception each becomes.
struct Refused : std::runtime_error {
    using runtime_error::runtime_error;
};
struct KeyUnknown : std::runtime_error {
    using runtime_error::runtime_error;
};
struct BadLine : std::runtime_error {
    BadLine(const std::string& reason, int64_t line) : runtime_error(reason), line(line) {}
    int64_t line;
};
struct SystemError : std::runtime_error {
    SystemError(int number, const std::string& name) : runtime_error(name), number(number) {}
    int number;
};

/// A text for the library, which reads to a NUL or 512 characters and passes over blanks at the end. What it would not
/// see whole is refused here.
/// @throws Refused for a text that is too long, holds a NUL or, for names, ends with a blank.
std::string lineText(std::string_view text);
std::string nameText(std::string_view text);

/// A text from the library, without the blanks that fill it up.
std::string given(const char* text);

/// The calling thread's last message of the library.
std::string lastError();

/// An array for Python that owns what it shows.
KeyArray toArray(std::vector<int64_t>&& keys);
Reals toArray(std::vector<double>&& values, size_t columns);

/// The library's messages wait here until a call is over: the library says them with locks held, under which nothing
/// may wait for the interpreter.
void collectMessages();
/// Hands the waiting messages to `logging`. Needs the interpreter lock.
void deliverMessages() noexcept;

/// The right to load, save, change settings, or list into room that was counted before; one thread has it at a time.
/// The interpreter lock is not held meanwhile. Ctrl-C ends the waiting.
/// @throws nb::python_error on Ctrl-C; Refused when this thread has it already, as in a callback.
class Exclusive {
public:
    Exclusive();
    ~Exclusive();
    Exclusive(const Exclusive&) = delete;
    Exclusive& operator=(const Exclusive&) = delete;

private:
    std::optional<nb::gil_scoped_release> released_;
};

void bindColumns(nb::module_& m);
void bindFamily(nb::module_& m);
void bindLines(nb::module_& m);
void bindLoading(nb::module_& m);
void bindPieces(nb::module_& m);
void bindStore(nb::module_& m);

/// Makes a function known to Python, with its messages delivered when it is over, however it ends.
template <class Result, class... Arguments, class... Extra>
void define(nb::module_& m, const char* name, Result (*function)(Arguments...), const Extra&... extra) {
    m.def(
        name,
        [function](Arguments... arguments) -> Result {
            struct Delivery {
                ~Delivery() { deliverMessages(); }
            } delivery;
            return function(std::forward<Arguments>(arguments)...);
        },
        extra...);
}

}  // namespace obslib
