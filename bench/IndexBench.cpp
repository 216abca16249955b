// Loading and saving store indexes beside two general XML libraries that do the same work: expat
// filling a map of properties an entry, and pugixml building its document.
#include <expat.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <memory>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "bench/BenchReport.h"
#include "bench/HeldBytes.h"
#include "bench/MixedIndex.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "tests/support/IndexStreams.h"

namespace tarnwick::bench {
namespace {

using testing::MemoryIndexFile;
using testing::MemoryStream;

// An index of messages with eight properties each, every fifth value with characters to escape.
std::string GeneratedIndex(std::uint32_t entries) {
    const char* const names[] = {"FROM", "MESSAGEDATE", "READ",    "RECEIVED",
                                 "SIZE", "STATE",       "SUBJECT", "TO"};
    const char* const values[] = {"Ada Example [SMTP:ada.example@example.org]",
                                  "2021/03/14 15:09:26",
                                  "1",
                                  "2021/03/14 15:09:31",
                                  "48213",
                                  "0",
                                  "Re: Minutes of the meeting on the new storage layout",
                                  "Project list [SMTP:storage-project@lists.example.org]"};
    StoreIndex index;
    std::uint32_t number = 0;
    for (std::uint32_t entry = 0; entry < entries; ++entry) {
        char id[16];
        std::snprintf(id, sizeof id, "%08X.MAI", entry * 2654435761U);
        StoreIndex::Entry& added = *index.Add(id);
        for (std::size_t at = 0; at < std::size(names); ++at) {
            const std::string value = values[at];
            index.SetProperty(added, names[at], number++ % 5 == 0 ? value + " <R&D>" : value);
        }
    }
    std::string bytes;
    MemoryStream stream(bytes);
    WriteIndex(index, stream, "index", SaveKind::Full);
    return bytes;
}

std::string MixedIndexBytes(int entries) {
    StoreIndex index;
    MixedIndex(1).Fill(index, entries);
    MemoryIndexFile file;
    index.SetFileStamp(file.Stamp());
    index.InvalidateExtents();
    file.Save(index);
    MixedIndex::LeaveGaps(index);
    file.Save(index);
    return file.bytes;
}

struct MapEntry {
    std::string id;
    std::string uid;
    std::map<std::string, std::string> properties;
};

struct MapLoad {
    std::vector<MapEntry> entries;
    std::string name;
    std::string text;
};

void XMLCALL OnStart(void* data, const char* name, const char** attributes) {
    auto& load = *static_cast<MapLoad*>(data);
    load.text.clear();
    load.name = name;
    if (load.name != "ELEMENT") return;
    load.entries.emplace_back();
    for (; *attributes != nullptr; attributes += 2) {
        (attributes[0][0] == 'I' ? load.entries.back().id : load.entries.back().uid) =
            attributes[1];
    }
}

void XMLCALL OnText(void* data, const char* text, int length) {
    static_cast<MapLoad*>(data)->text.append(text, static_cast<std::size_t>(length));
}

void XMLCALL OnEnd(void* data, const char* name) {
    auto& load = *static_cast<MapLoad*>(data);
    if (load.name == name && load.name != "ELEMENT" && !load.entries.empty()) {
        load.entries.back().properties.emplace(load.name, load.text);
    }
}

void LoadWithExpat(const std::string& bytes) {
    MapLoad load;
    const XML_Parser parser = XML_ParserCreate(nullptr);
    XML_SetUserData(parser, &load);
    XML_SetElementHandler(parser, OnStart, OnEnd);
    XML_SetCharacterDataHandler(parser, OnText);
    if (XML_Parse(parser, bytes.data(), static_cast<int>(bytes.size()), 1) != XML_STATUS_OK) {
        std::abort();
    }
    XML_ParserFree(parser);
    Keep(load.entries.data());
}

void LoadWithPugixml(const std::string& bytes) {
    pugi::xml_document document;
    if (!document.load_buffer(bytes.data(), bytes.size())) std::abort();
    Keep(&document);
}

void LoadOurs(const MemoryIndexFile& file) {
    StoreIndex index;
    if (file.Load(index) != kLoadFull) std::abort();
    Keep(&index);
}

std::size_t HeldAfterLoad(const MemoryIndexFile& file) {
    auto index = std::make_unique<StoreIndex>();
    const std::size_t before = HeldBytes();
    file.Load(*index);
    return HeldBytes() - before;
}

struct StringWriter : pugi::xml_writer {
    void write(const void* data, std::size_t size) override {
        bytes.append(static_cast<const char*>(data), size);
    }
    std::string bytes;
};

double Saves(BenchReport& report, const std::string& size, const std::string& bytes) {
    MemoryIndexFile file(bytes);
    StoreIndex index;
    file.Load(index);
    pugi::xml_document document;
    document.load_buffer(bytes.data(), bytes.size());
    std::string ours;
    StringWriter theirs;
    const auto times = BestOfPair(
        [&] {
            ours.clear();
            MemoryStream stream(ours);
            WriteIndex(index, stream, "index", SaveKind::Full);
        },
        [&] {
            theirs.bytes.clear();
            document.save(theirs, "", pugi::format_raw | pugi::format_no_declaration);
        });
    if (ours != bytes) std::abort();
    report.AtLeast("full save, " + size + ", pugixml's save", times.ours, times.other, 2);
    return times.ours;
}

// How many times faster than the others a load is to be, and what the index may take of its file.
struct LoadGoals {
    double expat;
    double pugixml;
    double memory;
};

double Loads(BenchReport& report, const std::string& entries, const std::string& bytes,
             const LoadGoals& goals) {
    const MemoryIndexFile file(bytes);
    const auto expat = BestOfPair([&] { LoadOurs(file); }, [&] { LoadWithExpat(bytes); }, 1500);
    const auto pugixml = BestOfPair([&] { LoadOurs(file); }, [&] { LoadWithPugixml(bytes); }, 1500);
    report.AtLeast("load, " + entries + ", expat into maps", expat.ours, expat.other, goals.expat);
    report.AtLeast("load, " + entries + ", pugixml's document", pugixml.ours, pugixml.other,
                   goals.pugixml);
    report.AtMost("memory after load, " + entries + ", file size",
                  static_cast<double>(HeldAfterLoad(file)), static_cast<double>(bytes.size()),
                  goals.memory, "B");
    return std::min(expat.ours, pugixml.ours);
}

// Shortest time of one in-place save after `change`, which is called with a count from 0.
template <typename Change>
double InPlace(const std::string& bytes, Change change) {
    constexpr int kLoads = 5;
    constexpr int kSaves = 300;
    double best = 1e18;
    for (int load = 0; load < kLoads; ++load) {
        MemoryIndexFile file(bytes);
        StoreIndex index;
        file.Load(index);
        for (int count = 0; count < kSaves; ++count) {
            const auto start = std::chrono::steady_clock::now();
            change(index, count);
            file.Save(index);
            const std::chrono::duration<double, std::nano> spent =
                std::chrono::steady_clock::now() - start;
            best = std::min(best, spent.count());
        }
    }
    return best;
}

void ChangeLast(StoreIndex& index, int count) {
    StoreIndex::Entry* const last = index.FindByPosition(static_cast<std::uint32_t>(index.Count()));
    index.SetProperty(*last, "READ", count % 2 == 0 ? "0" : "1");
}

void DeleteOne(StoreIndex& index, int count) {
    index.Remove(*index.FindByPosition(static_cast<std::uint32_t>(count) + 100));
}

void Run(BenchReport& report) {
    constexpr LoadGoals kUniform{6, 1, 1};
    constexpr LoadGoals kMixed{10, 1.3, 1};
    const std::string small = GeneratedIndex(1'000);
    const std::string large = GeneratedIndex(100'000);
    const double smallLoad = Loads(report, "1 000 entries", small, kUniform);
    const double smallSave = Saves(report, "1 000 entries", small);
    const double largeLoad = Loads(report, "100 000 entries", large, kUniform);
    const double largeSave = Saves(report, "100 000 entries", large);
    Loads(report, "1 000 mixed entries", MixedIndexBytes(1'000), kMixed);
    Loads(report, "100 000 mixed entries", MixedIndexBytes(100'000), kMixed);
    report.AtMost("load, 100 000 entries, 100 times 1 000", largeLoad, smallLoad * 100, 2);
    report.AtMost("full save, 100 000 entries, 100 times 1 000", largeSave, smallSave * 100, 2);
    report.AtMost("save the last entry, 100 000 entries, 1 000", InPlace(large, ChangeLast),
                  InPlace(small, ChangeLast), 1.5);
    report.AtMost("save one deletion, 100 000 entries, 1 000", InPlace(large, DeleteOne),
                  InPlace(small, DeleteOne), 1.5);
}

}  // namespace
}  // namespace tarnwick::bench

int main(int argc, char** argv) {
    tarnwick::bench::BenchReport report(argc, argv);
    tarnwick::bench::Run(report);
    return 0;
}
