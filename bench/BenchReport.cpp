#include "bench/BenchReport.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>

namespace tarnwick::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double kRoundNanoseconds = 200'000;
constexpr int kLeastRounds = 5;

double Once(const Work& work, long calls) {
    const auto start = Clock::now();
    for (long call = 0; call < calls; ++call) work();
    const std::chrono::duration<double, std::nano> spent = Clock::now() - start;
    return spent.count() / static_cast<double>(calls);
}

// Calls a round so that it lasts long enough for the clock.
long CallsPerRound(const Work& work) {
    const double first = std::max(Once(work, 1), 1.0);
    return std::max(1L, static_cast<long>(kRoundNanoseconds / first));
}

std::string WithGoal(const char* relation, double goal) {
    char text[48];
    std::snprintf(text, sizeof text, "%s %.3g", relation, goal);
    return text;
}

}  // namespace

double BestNanoseconds(const Work& work, int milliseconds) {
    return BestOfPair(
               work, [] {}, milliseconds)
        .ours;
}

PairTimes BestOfPair(const Work& ours, const Work& other, int milliseconds) {
    const long ourCalls = CallsPerRound(ours);
    const long otherCalls = CallsPerRound(other);
    constexpr double kNever = std::numeric_limits<double>::infinity();
    PairTimes best{kNever, kNever};
    const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
    for (int round = 0; round < kLeastRounds || Clock::now() < end; ++round) {
        best.ours = std::min(best.ours, Once(ours, ourCalls));
        best.other = std::min(best.other, Once(other, otherCalls));
    }
    return best;
}

void Keep(const void* value) {
    static const volatile void* volatile kept;
    kept = value;
    static_cast<void>(kept);
}

BenchReport::BenchReport(int argumentCount, char** arguments) {
    for (int at = 1; at + 1 < argumentCount; ++at) {
        if (std::string(arguments[at]) == "--json") jsonPath_ = arguments[at + 1];
    }
    std::printf("%-58s %14s %14s %8s %10s\n", "comparison", "ours", "other", "ratio", "goal");
}

void BenchReport::AtLeast(const std::string& name, double ours, double other, double goal,
                          const std::string& unit) {
    const double ratio = other / ours;
    Add(name, ours, other, ratio, WithGoal(">=", goal), ratio >= goal ? "met" : "MISSED", unit);
}

void BenchReport::AtMost(const std::string& name, double ours, double other, double goal,
                         const std::string& unit) {
    const double ratio = ours / other;
    Add(name, ours, other, ratio, WithGoal("<=", goal), ratio <= goal ? "met" : "MISSED", unit);
}

void BenchReport::Inform(const std::string& name, double ours, double other,
                         const std::string& unit) {
    Add(name, ours, other, other / ours, "", "", unit);
}

void BenchReport::Add(const std::string& name, double ours, double other, double ratio,
                      const std::string& goal, const std::string& verdict,
                      const std::string& unit) {
    std::printf("%-58s %11.0f %-2s %11.0f %-2s %8.2f %10s %s\n", name.c_str(), ours, unit.c_str(),
                other, unit.c_str(), ratio, goal.c_str(), verdict.c_str());
    std::fflush(stdout);
    if (jsonPath_.empty()) return;
    const nlohmann::json row{{"name", name},   {"ours", ours}, {"other", other},    {"unit", unit},
                             {"ratio", ratio}, {"goal", goal}, {"verdict", verdict}};
    std::ofstream(jsonPath_, std::ios::app) << row.dump() << "\n";
}

}  // namespace tarnwick::bench
