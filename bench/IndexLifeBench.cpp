// A folder's index in life, under Wine: the stream serialiser against the DOM of the platform on
// the same index, and opening a folder whose index is still good.
#include <chrono>
#include <cstdio>
#include <string>

#include "bench/BenchReport.h"
#include "bench/MixedIndex.h"
#include "common/Files.h"
#include "common/Registry.h"
#include "common/WindowsApi.h"
#include "Library/FolderIndex.h"
#include "Library/LIBStoreIndexSerialisation/MSXMLStoreIndexSerialiser.h"
#include "Library/LIBStoreIndexSerialisation/StreamXMLStoreIndexSerialiser.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick::bench {
namespace {

// Eight properties, of which every fifth value needs escaping.
void Fill(StoreIndex& index, int entries) {
    const char* const names[] = {"ATTACHMENTS", "FROM", "MESSAGEDATE", "READ",
                                 "RECEIVED",    "SIZE", "SUBJECT",     "TO"};
    int number = 0;
    for (int at = 0; at < entries; ++at) {
        char id[24];
        std::snprintf(id, sizeof id, "%08X.MAI", static_cast<unsigned>(at) * 2654435761U);
        StoreIndex::Entry* const entry = index.Add(id);
        for (const char* const name : names) {
            const bool escaped = ++number % 5 == 0;
            index.SetProperty(*entry, name,
                              (escaped ? "R&D <value> " : "plain value ") + std::to_string(number));
        }
    }
    index.SetLoadStatus(kLoadFull);
}

double Milliseconds(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

double BestMilliseconds(const Work& work, int rounds) {
    double best = Milliseconds(work);
    for (int round = 1; round < rounds; ++round) best = std::min(best, Milliseconds(work));
    return best;
}

template <typename Serialiser>
double LoadTime(const std::string& folder, int rounds) {
    return BestMilliseconds(
        [&] {
            StoreIndex index;
            Serialiser serialiser;
            if (serialiser.Deserialise(index, folder, kMailFolder, {}) != kLoadFull)
                std::printf("failed\n");
        },
        rounds);
}

template <typename Serialiser>
double SaveTime(StoreIndex& index, const std::string& folder, int rounds) {
    return BestMilliseconds(
        [&] {
            Serialiser serialiser;
            index.InvalidateExtents();
            if (!serialiser.Serialise(index, folder, kMailFolder)) std::printf("failed\n");
        },
        rounds);
}

double OpenKeptTime(const std::string& folder) {
    FolderIndex index;
    index.folder = folder;
    if (StoreIndex_Open(&index, kOpenChecked) != kOpenLoaded) std::printf("not loaded\n");
    return BestMilliseconds(
        [&] {
            if (StoreIndex_Open(&index, kOpenChecked) != kOpenKept) std::printf("not kept\n");
        },
        50);
}

void Compare(BenchReport& report, const std::string& folder, StoreIndex& index,
             const std::string& entries, double loadGoal) {
    const int rounds = index.Count() > 10000 ? 1 : 5;
    const double domSave = SaveTime<MSXMLStoreIndexSerialiser>(index, folder, rounds);
    const double streamSave = SaveTime<StreamXMLStoreIndexSerialiser>(index, folder, 5);
    const double domLoad = LoadTime<MSXMLStoreIndexSerialiser>(folder, rounds);
    const double streamLoad = LoadTime<StreamXMLStoreIndexSerialiser>(folder, 5);
    report.AtLeast("stream load / DOM load, " + entries, streamLoad * 1e3, domLoad * 1e3, loadGoal,
                   "us");
    report.AtLeast("stream save / DOM save, " + entries, streamSave * 1e3, domSave * 1e3, 10, "us");
}

void CompareUniform(BenchReport& report, const std::string& folder, int entries, double loadGoal) {
    StoreIndex index;
    Fill(index, entries);
    Compare(report, folder, index, std::to_string(entries) + " entries", loadGoal);
}

void CompareMixed(BenchReport& report, const std::string& folder, int entries, double loadGoal) {
    StoreIndex index;
    MixedIndex(1).Fill(index, entries);
    Compare(report, folder, index, std::to_string(entries) + " mixed entries", loadGoal);
}

int Run(int argumentCount, char** arguments) {
    const testing::ScratchRegistry registry;
    for (const char* const value :
         {"Use XML Stream Index Deserialisation", "Use XML Stream Index Serialisation"}) {
        testing::ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, value, 1);
    }
    BenchReport report(argumentCount, arguments);
    char temp[MAX_PATH];
    GetTempPathA(sizeof temp, temp);
    const std::string folder = std::string(temp) + "tarnwick-index-bench";
    MakeDirectory(folder);
    CompareMixed(report, folder, 1000, 12);
    CompareMixed(report, folder, 100000, 100);
    CompareUniform(report, folder, 1000, 12);
    const double smallOpen = OpenKeptTime(folder);
    CompareUniform(report, folder, 100000, 100);
    report.AtMost("opening a kept index, 100000 / 1000 entries", OpenKeptTime(folder) * 1e3,
                  smallOpen * 1e3, 1.3, "us");
    RemoveFile(folder + "\\_index.xml");
    RemoveDirectoryA(folder.c_str());
    return 0;
}

}  // namespace
}  // namespace tarnwick::bench

int main(int argumentCount, char** arguments) {
    return tarnwick::bench::Run(argumentCount, arguments);
}
