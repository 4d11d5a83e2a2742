// SPDX-License-Identifier: Apache-2.0
/// Collects what the library says while one of these lives.
#pragma once

#include <string>
#include <vector>

#include "siblings/include/ObsFamily.h"

class TestLog {
public:
    TestLog() {
        FamilySetLogCallback(
            [](int32_t severity, const char* text, void* user) {
                auto* log = static_cast<TestLog*>(user);
                (severity == 1 ? log->errors : log->informations).emplace_back(text);
            },
            this);
    }
    ~TestLog() { FamilySetLogCallback(nullptr, nullptr); }
    TestLog(const TestLog&) = delete;
    TestLog& operator=(const TestLog&) = delete;

    std::vector<std::string> errors;
    std::vector<std::string> informations;
};

/// The calling thread's last message.
inline std::string lastError() {
    char text[512];
    FamilyGetLastError(text);
    const std::string all(text, sizeof text);
    return all.substr(0, all.find_last_not_of(' ') + 1);
}
