// SPDX-License-Identifier: GPL-3.0-or-later
#include "InstructionSet.h"

#include "support/InstructionSets.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace {

template <class T>
std::uint32_t sumOf(const T* samples, std::size_t count) {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < count; ++i)
        sum += samples[i];
    return sum;
}

class InstructionSetTest : public EachInstructionSet {};

INSTANTIATE_TEST_SUITE_P(Levels, InstructionSetTest, instructionSets, instructionSetName);

TEST_P(InstructionSetTest, isTheOneAskedFor) {
    EXPECT_EQ(instructionSet(), GetParam());
}

TEST_P(InstructionSetTest, everyVersionOfAKernelGivesTheSame) {
    std::array<std::uint16_t, 1001> samples{};
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<std::uint16_t>(i);
    EXPECT_EQ(forInstructionSet<&sumOf<std::uint16_t>>(samples.data(), samples.size()), 1000u * 1001 / 2);
}

TEST(InstructionSet, aLimitNeverGivesMoreThanTheMachineHas) {
    limitInstructionSet(EzInstructionSet::Avx512);
    const EzInstructionSet best = instructionSet();
    limitInstructionSet(EzInstructionSet::Portable);
    EXPECT_EQ(instructionSet(), EzInstructionSet::Portable);
    limitInstructionSet(EzInstructionSet::Avx512);
    EXPECT_EQ(instructionSet(), best);
}

} // namespace
