// SPDX-License-Identifier: Apache-2.0
/// What tests of the exported functions share: texts of 512 characters and a store that is empty before and after.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "ObsDllExports.h"
#include "tests/CaseFile.h"
#include "tests/TestLog.h"

namespace obs::test {

/// 512 characters without a terminator, as Fortran hands them over.
struct Text {
    explicit Text(const std::string& text = "") {
        std::memset(chars, ' ', 512);
        text.copy(chars, 512);
        chars[512] = '#';
    }
    operator char*() { return chars; }
    std::string trimmed() const {
        EXPECT_EQ(chars[512], '#') << "wrote past 512";
        const std::string text(chars, 512);
        return text.substr(0, text.find_last_not_of(' ') + 1);
    }
    char chars[513];
};

struct AllFields {
    char secClass = '?', type = '?';
    std::int32_t sat = -9, sen = -9, i1 = -9, i2 = -9, a1 = -9, a2 = -9;
    double time = -9, el = -9, az = -9, range = -9, rate = -9, elRate = -9, azRate = -9, accel = -9;
    double pos[3] = {-9, -9, -9}, vel[3] = {-9, -9, -9}, cleared[128];

    std::int32_t get(std::int64_t key) {
        std::fill(std::begin(cleared), std::end(cleared), -9);
        return ObsGetAllFields(key, &secClass, &sat, &sen, &time, &el, &az, &range, &rate, &elRate, &azRate, &accel,
                               &type, &i1, &i2, &a1, &a2, pos, vel, cleared);
    }
    std::int32_t parse(const char* card) {
        return ObsB3Parse(card, &secClass, &sat, &sen, &time, &el, &az, &range, &rate, &elRate, &azRate, &accel, &type,
                          &i1, &i2, &a1, &a2, pos);
    }
    std::int32_t toCard(char* card) const {
        return ObsFieldsToB3Card(secClass, sat, sen, time, el, az, range, rate, elRate, azRate, accel, type, i1, i2, a1,
                                 a2, pos, vel, card);
    }
};

class ExportTest : public testing::Test {
protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }
    TestLog log_;

private:
    static void reset() {
        SetObsKeyMode(0);
        ObsResetSelObs();
        ObsRemoveAll();
    }
};

}  // namespace obs::test
