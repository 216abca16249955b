// A product beside a naive model of it: the first case on which they differ is made as small as it
// gets before it is shown.
#pragma once

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace tarnwick::testing {

// What is left of a sequence (a text, a vector of steps) that `fails` when every part that it fails
// without is taken out: first halves, at last single elements.
template <typename Sequence, typename Fails>
Sequence Shrunk(Sequence sequence, Fails fails) {
    for (std::size_t size = sequence.size(); size > 0; size /= 2) {
        for (std::size_t at = 0; at + size <= sequence.size();) {
            const auto from = sequence.begin() + static_cast<std::ptrdiff_t>(at);
            Sequence shorter(sequence.begin(), from);
            shorter.insert(shorter.end(), from + static_cast<std::ptrdiff_t>(size), sequence.end());
            if (fails(shorter)) {
                sequence = shorter;
            } else {
                at += size;
            }
        }
    }
    return sequence;
}

// `difference` tells how product and model differ on a case; nothing when they agree.
template <typename Sequence, typename Difference>
::testing::AssertionResult Agrees(const Sequence& sequence, Difference difference) {
    if (difference(sequence).empty()) return ::testing::AssertionSuccess();
    const Sequence smallest =
        Shrunk(sequence, [&](const Sequence& shorter) { return !difference(shorter).empty(); });
    return ::testing::AssertionFailure()
           << ::testing::PrintToString(smallest) << ": " << difference(smallest);
}

// The same for the cases that `make` makes of the random numbers of each seed from 1 on.
template <typename Make, typename Difference>
void ExpectAgreement(unsigned seeds, Make make, Difference difference) {
    for (unsigned seed = 1; seed <= seeds; ++seed) {
        std::mt19937 random(seed);
        ASSERT_TRUE(Agrees(make(random), difference)) << "seed " << seed;
    }
}

}  // namespace tarnwick::testing
