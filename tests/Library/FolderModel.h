// A plain version of a store folder and of what opening, scanning, committing, closing and
// recovering its index do to it, straight from their rules. It knows no locks and no failing calls.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "tests/Library/IndexFixtures.h"

namespace tarnwick::testing {

struct ModelEntry {
    std::string id;
    std::uint32_t uid = 0;
    std::map<std::string, std::string> properties;
};

// What an index file says; not whole: up to where it breaks off.
struct IndexContent {
    std::vector<ModelEntry> entries;
    std::uint32_t lastUid = 0;
    bool hasHeader = false, whole = false, oldFormat = false, exactHeader = false;
};

// Reads an index as it is written, without the entries that a deletion blanked.
inline IndexContent ReadIndex(const std::string& bytes) {
    static const std::regex root("<BASEELEMENT LASTUID=\"(x?)(\\w+)\"(/?)>");
    static const std::regex element(
        "<ELEMENT ID=\"([^\"]*)\" UID=\"([^\"]*)\"(?:/|>((?:<\\w+>[^<]*</\\w+>)*)</ELEMENT)>");
    static const std::regex property("<(\\w+)>([^<]*)</");
    IndexContent index;
    std::smatch found;
    auto at = bytes.begin();
    const auto take = [&](const std::regex& next) {
        const auto here = std::regex_constants::match_continuous;
        if (!std::regex_search(at, bytes.end(), found, next, here)) return false;
        at = found[0].second;
        return true;
    };
    const auto number = [&](const std::string& digits, int base) {
        return static_cast<std::uint32_t>(std::stoul(digits, nullptr, base));
    };
    index.hasHeader = take(root);
    if (!index.hasHeader) return index;
    index.oldFormat = found[1].length() == 0;
    index.exactHeader = found.length() == 33 && !index.oldFormat;
    index.lastUid = number(found[2], index.oldFormat ? 10 : 16);
    const bool closed = found[3].length() != 0;
    while (take(element)) {
        if (found[2].str().starts_with('-')) continue;
        index.entries.push_back({found[1], number(found[2], 10), {}});
        const std::string inside = found[3];
        for (std::sregex_iterator each(inside.begin(), inside.end(), property), end; each != end;
             ++each) {
            index.entries.back().properties[(*each)[1]] = (*each)[2];
        }
    }
    index.whole = closed || take(std::regex("</BASEELEMENT>"));
    return index;
}

inline std::string WrittenIndex(const std::vector<ModelEntry>& entries, std::uint32_t lastUid,
                                bool oldFormat = false) {
    char header[64];
    std::snprintf(header, sizeof header, oldFormat ? "%lu" : "x%08lx",
                  static_cast<unsigned long>(lastUid));
    std::string text = "<BASEELEMENT LASTUID=\"" + std::string(header) + "\">";
    for (const ModelEntry& entry : entries) {
        text += "<ELEMENT ID=\"" + entry.id + "\" UID=\"" + std::to_string(entry.uid) + "\">";
        for (const auto& [name, value] : entry.properties) {
            text += "<" + name + ">" + value + "</" + name + ">";
        }
        text += "</ELEMENT>";
    }
    return text + "</BASEELEMENT>\r\n";
}

inline std::vector<ModelEntry> EntriesOf(const StoreIndex& index) {
    std::vector<ModelEntry> entries;
    for (const StoreIndex::Entry& entry : index.InUidOrder()) {
        entries.push_back({std::string(entry.Id()), entry.Uid(), {}});
        for (std::size_t at = 0; at < entry.PropertyCount(); ++at) {
            entries.back().properties[std::string(entry.Names().Name(at))] = entry.Value(at);
        }
    }
    return entries;
}

// An index in words, so that its layout in the file does not matter; anything else as it stands.
inline std::string InWords(const std::string& bytes) {
    const IndexContent index = ReadIndex(bytes);
    return index.whole ? WrittenIndex(index.entries, index.lastUid, index.oldFormat) : bytes;
}

struct ModelFile {
    std::string bytes;
    int version = 0;  // the same for files with the same time of the last write
    int minute = 0;   // of that time
};
using ModelFolder = std::map<std::string, ModelFile>;

struct ModelObject {
    std::string folder, loadedFolder;
    std::uint32_t type = 0, loadedType = 0;
    bool open = false;
    std::vector<ModelEntry> entries;  // in order of position
    std::set<std::string> removed;
    std::uint32_t lastUid = 0, highestUid = 0;
    std::string filter;
    bool loaded = false, limited = false, damaged = false, full = false, modified = false;
    int stamp = 0;

    bool IsWhole() const { return loaded && !limited && filter.empty(); }
    void Clear() {
        const ModelObject old = *this;
        *this = {};
        folder = old.folder, loadedFolder = old.loadedFolder, open = old.open;
        type = old.type, loadedType = old.loadedType, lastUid = old.lastUid, filter = old.filter;
    }
    void WriteInFull() { full = true, filter = ""; }
    ModelEntry* Find(const std::string& id) {
        const auto at = std::find_if(entries.begin(), entries.end(),
                                     [&](const ModelEntry& entry) { return entry.id == id; });
        return at == entries.end() ? nullptr : &*at;
    }
    ModelEntry* Add(const std::string& id) {
        if (Find(id) != nullptr || (highestUid > lastUid && !IsWhole())) return nullptr;
        if (highestUid > lastUid) WriteInFull();
        entries.push_back({id, ++lastUid, {}});
        highestUid = std::max(highestUid, lastUid);
        removed.erase(id);
        modified = true;
        return &entries.back();
    }
    void Set(const std::string& id, const std::string& name, const std::string& value) {
        ModelEntry* const entry = Find(id);
        if (entry == nullptr || entry->properties[name] == value) return;
        entry->properties[name] = value;
        modified = true;
    }
    void Remove(const std::string& id) {
        const ModelEntry* const entry = Find(id);
        if (entry == nullptr) return;
        removed.insert(id);
        entries.erase(entries.begin() + (entry - entries.data()));
        modified = true;
    }
    std::vector<ModelEntry> ByUid() const {
        std::vector<ModelEntry> sorted = entries;
        std::stable_sort(sorted.begin(), sorted.end(),
                         [](const auto& left, const auto& right) { return left.uid < right.uid; });
        return sorted;
    }
};

class StoreModel {
  public:
    explicit StoreModel(const FolderSettings& settings) : settings_(settings) {}

    std::map<std::string, ModelFolder> folders;
    std::string log, detailsText;
    int minute = 0, waits = 0, scans = 0;
    bool scanFails = false;
    // What the files of each extension say: of a file with a content, by that content.
    std::map<std::string, std::map<std::string, std::string>> properties;

    void Write(const std::string& folder, const std::string& name, const std::string& bytes) {
        folders[folder][name] = {bytes, ++version_, minute};
    }

    int Open(ModelObject& object, int mode) {
        if (!IsLoadedFrom(object)) BeginLoad(object);
        const bool scanned = ScanByMode(object, mode);
        if (!scanned && IsStillValid(object)) {
            object.open = true;
            Trace("StoreIndex_Open::Using cached index for folder " + object.folder);
            return 2;
        }
        BeginLoad(object);
        object.open = Load(object, mode);
        Trace(object.open ? "StoreIndex_Open::Loaded index for folder " + object.folder
                          : "StoreIndex_Open::Error opening store index in: " + object.folder);
        return object.open ? 1 : 0;
    }

    int Commit(ModelObject& object, bool notified) {
        if (!object.open) return 2;
        const bool whole = object.IsWhole();
        const bool saved = Save(object);
        if (saved) WriteDetails(object, "", whole);
        Trace(std::string("StoreIndex_Commit::") + (notified ? "(Notified and " : "") +
              "Committed Index for folder " + object.folder);
        return saved ? 1 : 0;
    }

    void SaveAndClose(ModelObject& object, bool save, const std::string& details) {
        ModelFolder& files = folders[object.folder];
        if (save) {
            Trace("StoreIndex_SaveAndClose::Committing Index for folder " + object.folder);
            const std::string failed =
                "StoreIndex_SaveAndClose::Failed to commit index for folder " + object.folder;
            const auto before = files.find(IndexName(object.type));
            const bool overtaken =
                object.stamp != (before == files.end() ? 0 : before->second.version);
            const bool whole = object.IsWhole();
            const bool saved = Save(object);
            if (overtaken) {
                Trace(
                    failed +
                    ". Index was changed while being transacted. Folder will be marked as dirty.");
            } else if (saved && WriteDetails(object, details, whole)) {
                Trace("StoreIndex_SaveAndClose::SetCacheDetailsToFile for folder " + object.folder);
            }
            if (overtaken || !saved) {
                Trace(failed + ". Folder will be marked as dirty.");
                Write(object.folder, "_CHANGE.DTY", "");
            }
        }
        object.open = false;
        files.erase(BlockName(object.type));
    }

    static std::string IndexName(std::uint32_t type) {
        return type == kGroupsFolder ? "_groups.xml" : "_index.xml";
    }
    static std::string BlockName(std::uint32_t type) {
        return type == kGroupsFolder ? "_groups.blk" : "_index.blk";
    }

  private:
    enum class Loader { Stored, Scanning, ScanningWithoutRecovery, Nothing };

    void Trace(const std::string& text) { log += "T " + text + "\n"; }
    static bool HasOwnScan(std::uint32_t type) {
        return type != kCalendarFolder && type != kTaskFolder;
    }
    bool HasIndex(const ModelObject& object) {
        return folders[object.folder].contains(IndexName(object.type));
    }
    bool IsMarked(const ModelObject& object) {
        return folders[object.folder].contains("_CHANGE.DTY");
    }
    bool IsAlwaysScanned(std::uint32_t type) const {
        return type == kCalendarFolder && settings_.calendarsAlways;
    }
    static bool IsLoadedFrom(const ModelObject& object) {
        return object.loadedFolder == object.folder && object.loadedType == object.type;
    }
    static void BeginLoad(ModelObject& object) {
        if (!IsLoadedFrom(object)) object.lastUid = 0;
        object.Clear();
        object.open = false;
        object.loadedFolder = object.folder;
        object.loadedType = object.type;
    }
    bool IsStillValid(const ModelObject& object) {
        return IsLoadedFrom(object) && object.IsWhole() && !IsAlwaysScanned(object.type) &&
               (HasOwnScan(object.type) || !IsMarked(object)) && HasIndex(object) &&
               folders[object.folder][IndexName(object.type)].version == object.stamp;
    }

    bool ScanByMode(const ModelObject& object, int mode) {
        ModelFolder& files = folders[object.folder];
        bool wanted = mode == 2 || (!HasIndex(object) && HasOwnScan(object.type));
        if (mode != 2 && mode != 3) {
            // One that nobody holds counts as abandoned at last.
            if (files.erase(BlockName(object.type)) != 0) waits += 61;
            if (HasOwnScan(object.type)) {
                files.erase("_CACHED.DTY");
                if (files.erase("_CHANGE.DTY") != 0) wanted = true;
            }
        }
        if (!wanted) return false;
        if (!ScanFolder(object, mode == 2)) Write(object.folder, "_CHANGE.DTY", "");
        Trace(std::string("StoreIndex_Open::Performing StoreIndex_Scan(TW_STOREINDEX_") +
              (mode == 2 ? "REINDEX" : "CHECKDIRTY") + ") on folder " + object.folder);
        return true;
    }

    bool ScanFolder(const ModelObject& object, bool forced) {
        ModelObject entries;
        entries.folder = object.folder, entries.type = object.type;
        const bool loaded =
            HasIndex(object) &&
            LoadWithRecovery(entries, Loader::Stored, object.type != kGroupsFolder, false);
        if (!loaded) {
            if (HasIndex(object) && !forced) return false;
            CountAsWhole(entries);
        }
        if (!(HasOwnScan(object.type) ? Scan(entries) : AddFiles(entries))) return false;
        return !entries.modified || Save(entries);
    }

    bool Load(ModelObject& object, int mode) {
        const bool missing = !HasIndex(object);
        Loader loader = missing ? Loader::Nothing : Loader::Stored;
        const bool flagged = mode != 3 && !HasOwnScan(object.type) && IsMarked(object);
        if (!missing && (flagged || IsAlwaysScanned(object.type))) loader = Loader::Scanning;
        if (!LoadWithRecovery(object, loader, mode != 5, true)) return false;
        return !missing || object.type != kGroupsFolder || AddFiles(object);
    }

    bool LoadWithRecovery(ModelObject& object, Loader loader, bool verify, bool refresh) {
        ModelFolder& files = folders[object.folder];
        const bool recovers =
            settings_.backups && settings_.streamLoads && loader == Loader::Stored;
        const std::string failed = "Failed to deserialise index: " + object.folder;
        const auto report = [&](const std::string& what) {
            Trace(failed + what);
            log += "E " + failed + what + "\n";
        };
        object.loaded = LoadBy(object, loader, verify);
        const auto backup = files.find("_index.xml.bak");
        if (object.loaded) {
            const bool recent = backup != files.end() && minute - backup->second.minute <= 370;
            if (refresh && recovers && !recent) Copy(files, "_index.xml", "_index.xml.bak");
            return true;
        }
        if (!recovers) {
            report("");
            return false;
        }
        Copy(files, "_index.xml", "_index.xml.bad");
        if (backup == files.end()) {
            report(
                ". Unable to find recovery index. Recovering Index "
                "(there may be some flag loss)");
            files.erase("_index.xml");
            return false;
        }
        Copy(files, "_index.xml.bak", "_index.xml");
        ModelObject recovered;
        recovered.folder = object.folder, recovered.loadedFolder = object.loadedFolder;
        recovered.type = object.type, recovered.loadedType = object.loadedType;
        recovered.filter = object.filter, recovered.lastUid = object.lastUid;
        recovered.loaded =
            LoadBy(recovered,
                   object.type == kGroupsFolder ? Loader::Stored : Loader::ScanningWithoutRecovery,
                   verify);
        if (recovered.loaded) {
            object = recovered;
            report(". Successfully loaded recovery index.");
            return true;
        }
        report("");
        report(". Backup Index is also corrupt.");
        files.erase("_index.xml.bak");
        return false;
    }

    bool LoadBy(ModelObject& object, Loader loader, bool verify) {
        if (loader == Loader::Stored) {
            return settings_.streamLoads ? LoadStream(object, verify) : LoadDom(object);
        }
        object.filter = "";
        if (loader == Loader::Nothing) {
            object.Clear();
        } else if (loader == Loader::ScanningWithoutRecovery) {
            if (!LoadBy(object, Loader::Stored, verify)) return false;
        } else if (!LoadWithRecovery(object, Loader::Stored, verify, false)) {
            CountAsWhole(object);
        }
        object.loaded = true;
        if (object.type == kGroupsFolder) {
            object.Clear();
            return true;
        }
        return HasOwnScan(object.type) ? Scan(object) : AddFiles(object);
    }

    bool LoadStream(ModelObject& object, bool verify) {
        const ModelFolder& files = folders[object.folder];
        const ModelFile& file = files.at(IndexName(object.type));
        const IndexContent content = ReadIndex(file.bytes);
        const std::string wanted = object.filter;
        object.Clear();
        object.stamp = file.version;
        if (content.hasHeader) object.lastUid = content.lastUid;
        if (content.hasHeader && !content.exactHeader) object.WriteInFull();
        object.limited = !object.filter.empty();
        bool sound = content.whole;
        for (const ModelEntry& entry : content.entries) {
            if (object.limited ? entry.id != wanted : verify && !files.contains(entry.id)) continue;
            if (!content.oldFormat && entry.uid < object.highestUid) sound = false;
            object.highestUid = std::max(object.highestUid, entry.uid);
            object.entries.push_back(entry);
        }
        object.damaged = !sound;
        if (!sound || (verify && !object.limited)) object.WriteInFull();
        return sound;
    }

    bool LoadDom(ModelObject& object) {
        const ModelFile& file = folders[object.folder][IndexName(object.type)];
        const IndexContent content = ReadIndex(file.bytes);
        object.Clear();
        object.damaged = !content.whole;
        if (object.damaged) return false;
        object.lastUid = content.lastUid;
        object.entries = content.entries;
        for (const ModelEntry& entry : content.entries) {
            object.highestUid = std::max(object.highestUid, entry.uid);
        }
        object.stamp = file.version;
        object.WriteInFull();
        return true;
    }

    static void CountAsWhole(ModelObject& object) {
        object.WriteInFull();
        object.lastUid = std::max(object.lastUid, object.highestUid);
        object.loaded = object.modified = true;
    }

    bool Save(ModelObject& object) {
        ModelFolder& files = folders[object.folder];
        const std::string name = IndexName(object.type);
        const auto file = files.find(name);
        const bool same = file != files.end() && file->second.version == object.stamp;
        if (!settings_.streamSaves) {
            if (!object.IsWhole()) return false;
            Write(object.folder, name,
                  WrittenIndex(settings_.oldFormat ? object.entries : object.ByUid(),
                               object.lastUid, settings_.oldFormat));
        } else {
            if (!same && !object.IsWhole()) return false;
            if (!same) object.WriteInFull();
            if (object.full && !object.IsWhole()) return false;
            if (!object.full && !object.modified) return true;
            ModelObject written = object;
            if (!object.full) {
                // What was not loaded stays.
                for (const ModelEntry& entry : ReadIndex(file->second.bytes).entries) {
                    if (object.Find(entry.id) == nullptr && !object.removed.contains(entry.id)) {
                        written.entries.push_back(entry);
                    }
                }
            }
            Write(object.folder, name, WrittenIndex(written.ByUid(), object.lastUid));
        }
        object.stamp = version_;
        object.modified = false;
        object.full = !settings_.streamSaves;
        object.removed.clear();
        return true;
    }

    bool Scan(ModelObject& object) {
        ++scans;
        if (scanFails) return false;
        const ModelFolder& files = folders[object.folder];
        const std::vector<ModelEntry> before = object.entries;
        for (const ModelEntry& entry : before) {
            if (object.type != kGroupsFolder && !files.contains(entry.id)) object.Remove(entry.id);
        }
        return AddFiles(object);
    }

    bool AddFiles(ModelObject& object) {
        const std::string extension = std::string(".") + MessageFileExtension(object.type);
        for (const auto& [name, file] : folders[object.folder]) {
            if (!name.ends_with(extension) || object.Find(name) != nullptr) continue;
            ModelEntry* const entry = object.Add(name);
            if (entry == nullptr) continue;
            entry->properties = properties.at(file.bytes);
            entry->properties["SIZE"] = std::to_string(file.bytes.size());
            entry->properties[object.type == kMailFolder ? "RECEIVED" : "MODIFIEDDATE"] =
                "1293840000";
        }
        return true;
    }

    bool WriteDetails(const ModelObject& object, const std::string& given, bool whole) {
        if (object.folder.find("$FileRoot") != std::string::npos || (given.empty() && !whole)) {
            return false;
        }
        std::size_t unread = 0;
        long size = 0;
        for (const ModelEntry& entry : object.entries) {
            const auto value = [&](const char* name) {
                const auto at = entry.properties.find(name);
                return at == entry.properties.end() ? std::string() : at->second;
            };
            if (value("READ") != "1") ++unread;
            size += std::max(0L, std::atol(value("SIZE").c_str()));
        }
        detailsText = !given.empty()
                          ? given
                          : "ITEMS\t" + std::to_string(object.entries.size()) + "\r\nUNREAD\t" +
                                std::to_string(unread) + "\r\nSIZE\t" + std::to_string(size) +
                                "\r\nLASTUID\t" + std::to_string(object.lastUid) + "\r\n";
        return true;
    }

    static void Copy(ModelFolder& files, const std::string& from, const std::string& to) {
        if (const auto at = files.find(from); at != files.end()) files[to] = at->second;
    }

    FolderSettings settings_;
    int version_ = 0;
};

}  // namespace tarnwick::testing
