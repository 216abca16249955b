// Measuring two ways of doing one thing in the same run, and the table that says how they compare.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tarnwick::bench {

using Work = std::function<void()>;

// Shortest time of one call of `work` in nanoseconds, over rounds that last `milliseconds` together
// (at least five rounds; quick work is called often enough a round to be seen by the clock).
double BestNanoseconds(const Work& work, int milliseconds = 300);

struct PairTimes {
    double ours;
    double other;
};

// The same for two, in turns, so that a change of the machine's speed meets both.
PairTimes BestOfPair(const Work& ours, const Work& other, int milliseconds = 600);

// Keeps a value alive against the optimiser.
void Keep(const void* value);

// One row a comparison. A row's ratio is other/ours for AtLeast (how many times faster we are) and
// ours/other for AtMost (how many times the floor we cost).
class BenchReport {
  public:
    // Takes "--json FILE" from the arguments: there the rows go as JSON lines.
    BenchReport(int argumentCount, char** arguments);

    void AtLeast(const std::string& name, double ours, double other, double goal,
                 const std::string& unit = "ns");
    void AtMost(const std::string& name, double ours, double other, double goal,
                const std::string& unit = "ns");
    // A row without a goal.
    void Inform(const std::string& name, double ours, double other, const std::string& unit = "ns");

  private:
    void Add(const std::string& name, double ours, double other, double ratio,
             const std::string& goal, const std::string& verdict, const std::string& unit);

    std::string jsonPath_;
};

}  // namespace tarnwick::bench
