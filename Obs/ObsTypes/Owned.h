// SPDX-License-Identifier: Apache-2.0
/// A heap value that a record owns: absent or present, copied deeply, released with its owner.
#pragma once

#include <memory>
#include <utility>

namespace obs {

template <class T>
class Owned {
public:
    Owned() = default;
    Owned(const Owned& other) : value_(other.value_ ? std::make_unique<T>(*other.value_) : nullptr) {}
    Owned(Owned&&) noexcept = default;
    Owned& operator=(const Owned& other) {
        if (this == &other) return *this;
        if (value_ && other.value_) *value_ = *other.value_;  // no new memory for a record used again and again
        else value_ = other.value_ ? std::make_unique<T>(*other.value_) : nullptr;
        return *this;
    }
    Owned& operator=(Owned&&) noexcept = default;
    ~Owned() = default;

    explicit operator bool() const { return value_ != nullptr; }
    T* operator->() { return value_.get(); }
    const T* operator->() const { return value_.get(); }
    T& operator*() { return *value_; }
    const T& operator*() const { return *value_; }

    /// Puts a default value there, releasing what was.
    T& create() {
        value_ = std::make_unique<T>();
        return *value_;
    }
    void release() { value_.reset(); }

private:
    std::unique_ptr<T> value_;
};

}  // namespace obs
