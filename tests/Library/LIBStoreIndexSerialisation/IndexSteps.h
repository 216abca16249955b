// Loads, changes and saves that letters stand for, done by the product and by the naive index.
#pragma once

#include "tests/Library/LIBStoreIndexSerialisation/NaiveIndex.h"
#include "tests/support/IndexStreams.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick::testing {

// The product with the naive index's operations.
struct RealIndex : StoreIndex {
    explicit RealIndex(const std::string& bytes) : file(bytes) {}

    bool Load(const IndexLoad& load) { return file.Load(*this, load) != kLoadFailed; }
    bool Save() { return file.Save(*this); }
    bool Set(const std::string& id, const std::string& name, const std::optional<std::string>& to) {
        Entry* const entry = FindById(id);
        if (entry == nullptr) return false;
        return to ? SetProperty(*entry, name, *to) : RemoveProperty(*entry, name);
    }
    bool Remove(const std::string& id) {
        Entry* const entry = FindById(id);
        if (entry != nullptr) StoreIndex::Remove(*entry);
        return entry != nullptr;
    }
    void ChangeFile() { ++file.version; }
    void RemoveFile() { file.exists = false; }
    std::string IdAt(std::size_t place) const {
        auto entry = InUidOrder().begin();
        if (Count() == 0) return "none";
        for (place %= Count(); place > 0; --place) ++entry;
        return std::string(entry->Id());
    }

    // What a caller sees of the index, what stands in the file, and what was reported.
    std::string State() const {
        std::string state = Joined(LoadStatus(), LastUid(), IdFilter(), ExtentsTrusted(),
                                   IsDamaged(), IsModified(), IsWhole());
        for (const Entry& entry : InUidOrder()) {
            const bool isFound =
                FindByPosition(entry.Idx()) == &entry && FindById(entry.Id()) == &entry;
            ByteBuffer text;
            AppendIndexElement(text, entry);
            state += Joined(entry.Idx(), entry.Seq(), entry.ItemOffset(), entry.ItemLength(),
                            isFound ? text.View() : "lost");
        }
        return state + Joined(reports.Joined(ReportChannel::Trace), "|",
                              reports.Joined(ReportChannel::EventLogError), "|",
                              file.exists ? file.bytes : "no file");
    }

    ReportRecorder reports;
    MemoryIndexFile file;
};

// One step of either index; `number` (from 0) makes one step with a letter differ from the next.
//   l h i f k v   load the whole, the header, the identifiers; by filter, by known IDs, verified
//   a x y z u r m add; set in the first, second, third entry; unset, remove the first, remove any
//   s c g n w d   save; another changes the file, removes it; distrust, count as whole, lower UID
template <typename AnyIndex>
bool Do(AnyIndex& index, char step, std::size_t number) {
    static const IdSet known{"a", "C"};
    static const std::string values[] = {"", "v", "&<>\"';#x\r\n\x01\x7F\x80\xFF",
                                         std::string("a\0b", 3), std::string(3000, 'w')};
    const auto is = [step](std::string_view letters) { return letters.find(step) != letters.npos; };
    const std::string name(1, "PQ"[number % 2]);
    const std::string& value = values[number % std::size(values)];
    if (is("a")) return static_cast<bool>(index.Add(number % 3 == 0 ? "b" : "N"));
    if (is("xyz")) return index.Set(index.IdAt(static_cast<std::size_t>(step - 'x')), name, value);
    if (is("u")) return index.Set(index.IdAt(number), name, std::nullopt);
    if (is("rm")) return index.Remove(index.IdAt(is("r") ? 0 : number));
    if (is("s")) return index.Save();
    if (is("c")) index.ChangeFile();
    if (is("g")) index.RemoveFile();
    if (is("n")) index.InvalidateExtents();
    if (is("w")) index.CountAsWhole();
    if (is("d")) index.SetLastUid(1);
    if (!is("lhifkv")) return true;
    IndexLoad load;
    load.mode = is("h") ? kLoadHeader : is("i") ? kLoadIdentifiers : kLoadFull;
    load.knownIds = is("k") ? &known : nullptr;
    if (is("v")) load.fileExists = [](std::string_view id) { return id != "B"; };
    load.garbageThreshold = 2;
    index.SetIdFilter(is("f") ? "|b||C|" : "");
    return index.Load(load);
}

// How the product differs from the naive index after the first of the steps where it does. The file
// is loaded twice before them: in blocks, and byte by byte, where nothing is taken in a quick way.
inline std::string Difference(const std::string& bytes, const std::string& steps) {
    static constexpr std::size_t kReadSizes[] = {8192, 1, 37};
    RealIndex real(bytes);
    NaiveIndex naive;
    naive.file = bytes;
    for (std::size_t number = 0; number < steps.size() + 2; ++number) {
        real.file.step = kReadSizes[number % std::size(kReadSizes)];
        const char step = number < 2 ? 'l' : steps[number - 2];
        const bool same = Do(real, step, number) == Do(naive, step, number);
        const bool isChange = std::string_view("axyzurmnwd").find(step) != std::string_view::npos;
        if (same && isChange && number < steps.size() + 1) continue;
        const std::string is = real.State();
        const std::string expected = naive.State();
        if (same && is == expected) continue;
        return "after " + std::to_string(number) + " steps " + is + "\ninstead of " + expected;
    }
    return {};
}

}  // namespace tarnwick::testing
