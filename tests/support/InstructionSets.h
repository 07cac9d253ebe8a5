// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "InstructionSet.h"

#include <gtest/gtest.h>

#include <string>

/// A test that is run once with each instruction set; those that this machine does not have are skipped by
/// name.
class EachInstructionSet : public testing::TestWithParam<EzInstructionSet> {
protected:
    void SetUp() override {
        limitInstructionSet(GetParam());
        if (instructionSet() != GetParam())
            GTEST_SKIP() << "this machine has no such instructions";
    }
    void TearDown() override { limitInstructionSet(EzInstructionSet::Avx512); }
};

inline const auto instructionSets =
    testing::Values(EzInstructionSet::Portable, EzInstructionSet::Avx2, EzInstructionSet::Avx512);

inline std::string instructionSetName(const testing::TestParamInfo<EzInstructionSet>& info) {
    switch (info.param) {
    case EzInstructionSet::Avx512:
        return "avx512";
    case EzInstructionSet::Avx2:
        return "avx2";
    case EzInstructionSet::Portable:
        break;
    }
    return "portable";
}
