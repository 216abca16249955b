// A product beside a naive model of it: the first case on which they differ is made as small as it
// gets before it is shown.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/AllTexts.h"

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

// Numbers that follow from their seed alone (splitmix64).
class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed) {}
    std::size_t Below(std::size_t limit) {
        std::uint64_t bits = state_ += 0x9E3779B97F4A7C15;
        bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9;
        bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EB;
        return static_cast<std::size_t>((bits ^ (bits >> 31)) % limit);
    }

  private:
    std::uint64_t state_;
};

// Lets `differs` (text -> what differs, empty for nothing) see all texts of up to `allUpTo` letters
// over `alphabet` and `randoms` random ones of up to `longest`. A letter that stands in the
// alphabet n times comes n times as often.
template <typename Differs>
void CompareWithModel(std::string_view alphabet, std::size_t allUpTo, std::size_t randoms,
                      std::size_t longest, Differs differs) {
    std::string letters(alphabet);
    std::sort(letters.begin(), letters.end());
    letters.erase(std::unique(letters.begin(), letters.end()), letters.end());
    std::vector<std::string> cases = AllTexts(letters, allUpTo);
    for (std::size_t seed = 1; seed <= randoms; ++seed) {
        Random random(seed);
        std::string text;
        for (std::size_t left = random.Below(longest) + 1; left > 0; --left) {
            text += alphabet[random.Below(alphabet.size())];
        }
        cases.push_back(text);
    }
    for (const std::string& text : cases) ASSERT_TRUE(Agrees(text, differs));
}

}  // namespace tarnwick::testing
