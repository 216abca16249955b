// The exported operations on local files over the C runtime, as simple as their rules: what the
// product must do to results, records and files. Nobody else may use its folder.
#pragma once

#include <cstdio>
#include <cstring>
#include <string>

#include "common/WindowsApi.h"
#include "tests/provider/NaiveLines.h"
#include "tests/support/WindowsFixtures.h"
#include "twaicp.h"

namespace tarnwick::testing {

// All that the operations take.
struct Records {
    AppointmentRecord entry{};
    AppointmentRecord replacement{};
    AppointmentItemRecord item{};
    FreeBusyRecord days{};
    std::int32_t position = 0;
};

// An export that takes one of them.
template <auto function, auto record>
std::uint32_t On(Records& with) {
    return function(&(with.*record));
}
inline std::uint32_t OnEdit(Records& with) {
    return AppointmentEdit(&with.entry, &with.replacement);
}

class NaiveCalendar {
  public:
    explicit NaiveCalendar(std::string root) : root_(std::move(root)) {}

    std::int32_t FindPosition() const { return position_; }
    std::int32_t ItemReadOffset() const { return offset_; }

    std::uint32_t Add(Records& with) {
        if (IsNowhere(with.entry)) return 0;
        const Change change = Rewrite(with.entry, 'a', with.entry);
        if (change.existed) return change.matched ? 0 : 1;
        std::FILE* const file = std::fopen(Path(with.entry, ".CAL").c_str(), "w");
        std::fprintf(file, "%ld\t%ld\t%s", long{with.entry.start}, long{with.entry.end},
                     Text(with.entry.appointmentId).c_str());
        std::fclose(file);
        Announce(with.entry);
        return 1;
    }

    std::uint32_t Remove(Records& with) {
        if (with.entry.postoffice[0] == '\0' || IsNowhere(with.entry)) return 0;
        const Change change = Rewrite(with.entry, 'd', with.entry);
        if (!change.existed) return 0;
        if (change.matched && change.lines == 0) std::remove(Path(with.entry, ".CAL").c_str());
        Announce(with.entry);
        return change.matched ? 1 : 0;
    }

    std::uint32_t Edit(Records& with) {
        if (IsNowhere(with.entry) || !Rewrite(with.entry, 'r', with.replacement).existed) return 0;
        Announce(with.entry);
        return 1;
    }

    // The last of those that match, of lines with a text.
    std::uint32_t Get(Records& with) {
        if (with.entry.postoffice[0] == '\0') return 0;
        std::uint32_t found = 0;
        for (const NaiveLine& line : Lines(with.entry)) {
            if (!line.isBlank) found |= Take(with.entry, line);
        }
        return found;
    }

    std::uint32_t FindFirst(Records& with) {
        position_ = 0;
        return FindNext(with);
    }

    // Lines that are passed over lend their fields to nobody.
    std::uint32_t FindNext(Records& with) {
        const std::vector<NaiveLine> lines = Lines(with.entry, position_);
        if (with.entry.postoffice[0] == '\0') return 0;
        for (const NaiveLine& line : lines) {
            position_ = std::max(position_, 0) + 1;
            if (Take(with.entry, line) != 0) return 1;
        }
        return 0;
    }

    std::uint32_t SetPosition(Records& with) {
        position_ = with.position;
        return 1;
    }

    std::uint32_t WriteFirst(Records& with) { return WriteItem(with.item, "wb"); }
    std::uint32_t WriteNext(Records& with) { return WriteItem(with.item, "ab"); }
    std::uint32_t Rewrite(Records& with) {
        Delete(with);
        return WriteItem(with.item, "wb");
    }

    std::uint32_t ReadFirst(Records& with) {
        offset_ = -1;
        return ReadNext(with);
    }

    std::uint32_t ReadNext(Records& with) {
        std::FILE* const file = std::fopen(ItemPath(with.item).c_str(), "rb");
        if (file == nullptr) return 0;
        std::fseek(file, ++offset_, SEEK_SET);
        with.item.length =
            static_cast<std::int32_t>(std::fread(with.item.data, 1, sizeof with.item.data, file));
        offset_ += with.item.length;
        std::fclose(file);
        return with.item.length > 0 ? 1 : 0;
    }

    std::uint32_t Delete(Records& with) {
        std::remove(ItemPath(with.item).c_str());
        return 1;
    }

    std::uint32_t ListDays(Records& with) {
        FreeBusyRecord& days = with.days;
        days.result[0] = '\0';
        WIN32_FIND_DATAA found;
        const std::string pattern = Folder(days) + "\\" + Text(days.namePrefix) + "*.CAL";
        const HANDLE search = FindFirstFileA(pattern.c_str(), &found);
        if (search == INVALID_HANDLE_VALUE) return 1;
        std::string list;
        do {
            const char* const day = std::strchr(found.cFileName, 'D');
            const char* const dot = day == nullptr ? nullptr : std::strchr(day, '.');
            if (dot == nullptr) continue;
            std::string one = (list.empty() ? "" : ",") + std::string(day + 1, dot).substr(0, 127);
            if (list.size() + one.size() >= sizeof days.result) break;
            list += one;
        } while (FindNextFileA(search, &found) != FALSE);
        FindClose(search);
        std::strcpy(days.result, list.c_str());
        days.resultLength = static_cast<std::int32_t>(list.size());
        return 1;
    }

  private:
    struct Change {
        bool existed = false;
        bool matched = false;
        int lines = 0;
    };

    template <std::size_t size>
    static std::string Text(const char (&field)[size]) {
        return {field, strnlen(field, size)};
    }
    template <typename Record>
    std::string Folder(const Record& record) const {
        return root_ + "\\" + Text(record.postoffice) + "\\MAILROOT\\" + Text(record.mailbox) +
               "\\Calendar";
    }
    std::string Path(const AppointmentRecord& record, const char* extension) const {
        return Folder(record) + "\\" + Text(record.calendarName) + extension;
    }
    std::string ItemPath(const AppointmentItemRecord& item) const {
        return Folder(item) + "\\" + Text(item.itemFileName);
    }
    // The lines of a calendar behind those passed over, after its folder was made; none if it does
    // not open.
    std::vector<NaiveLine> Lines(const AppointmentRecord& record, std::int32_t passed = 0) const {
        CreateDirectoryA(Folder(record).c_str(), nullptr);
        std::vector<NaiveLine> lines;
        std::FILE* const file = std::fopen(Path(record, ".CAL").c_str(), "r");
        if (file == nullptr) return lines;
        NaiveParser parser;
        for (char line[1024]; std::fgets(line, sizeof line, file) != nullptr;) {
            if (--passed >= 0) continue;
            std::string text = line;
            if (text.ends_with('\n')) text.pop_back();
            lines.push_back(parser.Take(text));
        }
        std::fclose(file);
        return lines;
    }
    // No postoffice, or no folder in which a block file could be made.
    bool IsNowhere(const AppointmentRecord& record) const {
        CreateDirectoryA(Folder(record).c_str(), nullptr);
        return record.postoffice[0] == '\0' || !PathExists(Folder(record));
    }
    void Announce(const AppointmentRecord& record) const {
        std::FILE* const flag = std::fopen((Folder(record) + "\\_CHANGE.DTY").c_str(), "w");
        std::fputs("This file has been written to denote configuration change\n", flag);
        std::fclose(flag);
    }
    static std::uint32_t Take(AppointmentRecord& record, const NaiveLine& line) {
        if (!NaiveMatch(Text(record.appointmentId), line.id)) return 0;
        std::snprintf(record.appointmentId, sizeof record.appointmentId, "%s", line.id.c_str());
        record.start = line.start;
        record.end = line.end;
        return 1;
    }

    // Adds `entry` unless the key matches, drops what matches, or puts `entry` in its place.
    Change Rewrite(const AppointmentRecord& key, char action,
                   const AppointmentRecord& entry) const {
        if (!PathExists(Path(key, ".CAL"))) return {};
        Change change{true};
        std::FILE* const made = std::fopen(Path(key, ".TMP").c_str(), "w");
        const auto print = [&](long start, long end, const std::string& id) {
            std::fprintf(made, "%s%ld\t%ld\t%s", change.lines++ == 0 ? "" : "\n", start, end,
                         id.c_str());
        };
        const auto printEntry = [&] { print(entry.start, entry.end, Text(entry.appointmentId)); };
        for (const NaiveLine& line : Lines(key)) {
            if (line.isBlank) continue;
            const bool matches = NaiveMatch(Text(key.appointmentId), line.id);
            change.matched = change.matched || matches;
            if (!matches || action == 'a') print(line.start, line.end, line.id);
            if (matches && action == 'r') printEntry();
        }
        if (action == 'a' && !change.matched) printEntry();
        std::fclose(made);
        CopyFileA(Path(key, ".CAL").c_str(), Path(key, ".BAK").c_str(), FALSE);
        std::remove(Path(key, ".CAL").c_str());
        std::rename(Path(key, ".TMP").c_str(), Path(key, ".CAL").c_str());
        return change;
    }

    std::uint32_t WriteItem(AppointmentItemRecord& item, const char* mode) const {
        std::FILE* const file = std::fopen(ItemPath(item).c_str(), mode);
        if (file == nullptr) return 1;
        item.length = static_cast<std::int32_t>(Text(item.data).size());
        std::fwrite(item.data, 1, static_cast<std::size_t>(item.length), file);
        std::fclose(file);
        return 1;
    }

    std::string root_;
    std::int32_t position_ = 0;
    std::int32_t offset_ = -1;
};

}  // namespace tarnwick::testing
