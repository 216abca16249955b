// The naive parse's index with its operations: loads, changes and saves, and what they report.
#pragma once

#include <algorithm>
#include <optional>
#include <sstream>
#include <string>

#include "tests/Library/LIBStoreIndexSerialisation/NaiveIndexParse.h"

namespace tarnwick::testing {

// An index with its operations.
struct NaiveIndex : NaiveContent {
    void Clear() {
        entries.clear();
        status = kLoadFailed;
        limited = damaged = modified = changedByAnother = false;
        trusted = true;
    }
    bool Load(IndexLoad load) {
        IdSet wanted;
        std::istringstream ids(filter);
        for (std::string id; std::getline(ids, id, '|');) {
            if (!id.empty()) wanted.insert(id);
        }
        if (!filter.empty()) load.knownIds = &wanted;
        Clear();
        const std::string start = file.value_or("").substr(0, 1024);
        const std::string line = start.substr(0, start.find('\n'));
        if (load.mode == kLoadHeader && line.size() > 33) {
            const bool current = TakeNaiveLastUid(line, lastUid);
            status = current && line[0] == '<' && line.find('>') == 32 ? kLoadHeader : kLoadFailed;
            if (status == kLoadHeader) return true;
            InvalidateExtents();
            if (current && line[32] == '/') status = kLoadFull;
            if (status == kLoadFull) return true;
            load.mode = kLoadFull;
            load.knownIds = nullptr;
        }
        auto sound = NaiveParse(*this, load).Run();
        for (const std::uint32_t mode : {kLoadFull, kLoadIdentifiers}) {
            if (sound) break;
            Clear();
            filter.clear();
            load.identifiersSuffice = load.identifiersSuffice || load.mode == kLoadIdentifiers;
            load.mode = mode;
            load.knownIds = nullptr;
            sound = NaiveParse(*this, load).Run();
        }
        status = *sound ? load.mode : kLoadFailed;
        if (!*sound) InvalidateExtents();
        damaged = !*sound && file;
        return *sound;
    }

    void SetIdFilter(const std::string& ids) { filter = ids; }
    void SetLastUid(std::uint32_t uid) { lastUid = uid; }
    void ChangeFile() { changedByAnother = true; }
    void RemoveFile() { file.reset(); }
    std::string IdAt(std::size_t place) {
        const auto order = InUidOrder();
        return order.empty() ? "none" : order[place % order.size()]->id;
    }

    bool Add(const std::string& id) {
        if (lastUid == 0xFFFFFFFF || !IsStorableId(id) || Find(id) != nullptr) return false;
        const bool last = std::all_of(entries.begin(), entries.end(), [&](const NaiveEntry& entry) {
            return entry.Uid() <= lastUid;
        });
        if (!last && !IsWhole()) return false;
        const auto seq = static_cast<std::uint32_t>(InUidOrder().size() + 1);
        const std::uint32_t idx = entries.empty() ? 1 : entries.back().idx + 1;
        entries.push_back({id, ++lastUid, idx, seq, 0, 0, {}, false, true});
        modified = true;
        if (!last) InvalidateExtents();
        return true;
    }

    bool Set(const std::string& id, const std::string& name, const std::optional<std::string>& to) {
        NaiveEntry* const entry = Find(id);
        if (entry == nullptr || (status == kLoadIdentifiers && entry->offset != 0)) return false;
        const auto before = entry->properties;
        entry->properties.erase(name);
        if (to) entry->properties[name] = *to;
        if (before != entry->properties) entry->changed = modified = true;
        return true;
    }

    bool Remove(const std::string& id) {
        NaiveEntry* const entry = Find(id);
        if (entry != nullptr) entry->removed = modified = true;
        return entry != nullptr;
    }

    void CountAsWhole() {
        InvalidateExtents();
        for (const NaiveEntry* entry : InUidOrder()) lastUid = std::max(lastUid, entry->Uid());
        status = kLoadFull;
        modified = true;
    }

    bool Save() {
        const bool same = file && !changedByAnother;
        if (!same && file && !IsWhole()) {
            Report("Index file modified since load (F\\_index.xml). Index was not fully loaded: " +
                   std::string("aborting save."));
        } else if (!same && file) {
            trace += "Index file has changed: F. Cached offset information is now inaccurate. ";
            trace += "Index will be rewritten in full.";
        }
        if (!(same && trusted) && !IsWhole()) return false;
        if (!same) InvalidateExtents();
        if (trusted && !modified) return true;
        file = Written();
        for (NaiveEntry& entry : entries) {
            entry.changed = false;
            if (entry.removed) entry.offset = 0;
        }
        modified = changedByAnother = false;
        trusted = true;
        return true;
    }

    // The whole file; or the old one with the new header, removed entries blanked, and from the
    // first changed one on all entries anew, each with the old bytes behind it.
    std::string Written() {
        std::string written = Index(lastUid, "").substr(0, 33);
        std::string old = written + (trusted ? file->substr(33) : "");
        for (const NaiveEntry& entry : entries) {
            const std::string blank = entry.Start(true);
            if (trusted && entry.removed && entry.offset != 0) {
                old.replace(entry.offset, blank.size(), blank);
            }
        }
        auto order = InUidOrder();
        const auto isChanged = [this](const auto* entry) { return entry->changed || !trusted; };
        order.erase(order.begin(), std::find_if(order.begin(), order.end(), isChanged));
        if (order.empty() && trusted) return old;
        auto rootEnd = old.find("</BASEELEMENT>", std::max<std::size_t>(old.size(), 31) - 31);
        rootEnd = std::min(rootEnd, old.size());
        if (old.ends_with("</BASEELEMENT>\r\n")) rootEnd = old.size() - 16;
        if (trusted) written = old.substr(0, order[0]->offset != 0 ? order[0]->offset : rootEnd);
        std::string reports;
        std::int64_t previousUid = -1;
        for (std::size_t at = 0; at < order.size(); ++at) {
            NaiveEntry& entry = *order[at];
            const NaiveEntry* const next = at + 1 < order.size() ? order[at + 1] : nullptr;
            const auto from = entry.offset + entry.length;
            const auto to = next != nullptr && next->offset != 0 ? next->offset : rootEnd;
            const bool hasGap = trusted && from != 0 && to > from;
            const std::string gap = hasGap ? old.substr(from, to - from) : "";
            const std::string corrupting = "Corrupting index F\\_index.xml. ";
            if (gap.size() > 10 && !gap.starts_with("<ELEMENT")) {
                Report(corrupting + "Gap after " + entry.id +
                       " does not start at the start of an element.");
            } else if (gap.size() > 10 && !gap.ends_with("</ELEMENT>")) {
                Report(corrupting + "Gap " +
                       (next != nullptr ? "before " + next->id : "after " + entry.id) +
                       " does not end at the end of an element.");
            }
            if (previousUid >= entry.Uid()) {
                reports += "Serialisation Issue: UID incorrectly ordered at " +
                           std::to_string(entry.Uid()) + ".";
            }
            previousUid = entry.Uid();
            const std::string text = entry.Written();
            if (hasGap && next != nullptr && text.size() > entry.length + next->length) {
                reports += corrupting + "Item size for " + entry.id +
                           " has grown so much that the gap will overflow the next item.";
            }
            entry.offset = written.size();
            entry.length = text.size();
            written += text + gap;
        }
        Report(reports);
        return written + "</BASEELEMENT>\r\n";
    }
};

}  // namespace tarnwick::testing
