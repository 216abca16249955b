#include "tools/admin/IndexRebuild.h"

#include <map>

#include "Library/FolderScan.h"
#include "tools/admin/Console.h"

namespace tarnwick::admin {
namespace {

// Lets an entry say what its file says. When a message was received no file tells for sure: copies
// and edits are younger.
std::vector<std::string> Refresh(StoreIndex& entries, StoreIndex::Entry& entry,
                                 const StoreIndex::Entry& fresh) {
    std::vector<std::string> changed;
    for (std::size_t at = 0; at < fresh.PropertyCount(); ++at) {
        const std::string_view name = fresh.Names().Name(at);
        const auto old = entry.Property(name);
        if (old == fresh.Value(at) || (old && name == "RECEIVED")) continue;
        if (entries.SetProperty(entry, name, fresh.Value(at))) changed.emplace_back(name);
    }
    return changed;
}

class Rebuild {
  public:
    explicit Rebuild(StoreIndex& entries) : entries_(entries) {}

    std::vector<EntryChange> Run(const std::string& folder, FolderType type) {
        const std::map<std::string, std::optional<std::uint32_t>> before = Uids();
        // What the library makes of the files where no entry is known yet.
        StoreIndex fresh;
        fresh.CountAsWhole();
        if (!AddUnknownFiles(fresh, folder, type) || !DefaultFolderScan(entries_, folder, type)) {
            throw SystemFailure("the folder " + folder + " cannot be listed");
        }
        RefreshAll(fresh);
        const auto after = Uids();
        for (const auto& [id, uid] : before) {
            if (!after.contains(id)) changes_.push_back({"dropped", id, uid});
        }
        for (const auto& [id, uid] : after) {
            if (!before.contains(id)) changes_.push_back({"added", id, uid});
        }
        return std::move(changes_);
    }

  private:
    std::map<std::string, std::optional<std::uint32_t>> Uids() const {
        std::map<std::string, std::optional<std::uint32_t>> uids;
        for (const StoreIndex::Entry& entry : entries_.InUidOrder()) {
            uids[std::string(entry.Id())] =
                entry.HasUid() ? std::optional(entry.Uid()) : std::nullopt;
        }
        return uids;
    }

    void RefreshAll(const StoreIndex& fresh) {
        std::map<std::string_view, const StoreIndex::Entry*, LessIgnoreCase> byName;
        for (const StoreIndex::Entry& entry : fresh.InPositionOrder()) byName[entry.Id()] = &entry;
        for (StoreIndex::Entry& entry : entries_.InUidOrder()) {
            const auto found = byName.find(entry.Id());
            if (found == byName.end()) continue;
            auto changed = Refresh(entries_, entry, *found->second);
            if (changed.empty()) continue;
            changes_.push_back(
                {"changed", std::string(entry.Id()), entry.Uid(), std::move(changed)});
        }
    }

    StoreIndex& entries_;
    std::vector<EntryChange> changes_;
};

}  // namespace

std::vector<EntryChange> RebuildEntries(StoreIndex& entries, const std::string& folder,
                                        FolderType type) {
    return Rebuild(entries).Run(folder, type);
}

}  // namespace tarnwick::admin
