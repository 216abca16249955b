// The operations on one mailbox's calendars, items and days as simple as their rules, on files in
// memory.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>

#include "provider/Operations.h"
#include "tests/provider/CalendarFixture.h"
#include "tests/provider/NaiveLines.h"

namespace tarnwick {
namespace {

using testing::NaiveLine;

const std::string kStem = "Y11M08D03", kCal = kStem + ".CAL", kBak = kStem + ".BAK",
                  kFolder = "\\PO\\MAILROOT\\box\\Calendar\\", kItem = "a.itm",
                  kFlag = "_CHANGE.DTY",
                  kFlagText = "This file has been written to denote configuration change\r\n";

struct IgnoringCase {
    bool operator()(const std::string& a, const std::string& b) const {
        return _stricmp(a.c_str(), b.c_str()) < 0;
    }
};
// All that lies below a mail root, by its path from there; folders hold nothing.
using Files = std::map<std::string, std::string, IgnoringCase>;

// All that the operations take.
struct Records {
    AppointmentRecord entry{}, replacement{};
    AppointmentItemRecord item{};
    FreeBusyRecord days{};
    ListRecord list{};
    std::int32_t position = 0;
};

template <std::size_t size>
std::string Text(const char (&field)[size]) {
    return {field, strnlen(field, size)};
}
NaiveLine LineOf(const AppointmentRecord& record) {
    return {record.start, record.end, Text(record.appointmentId), false};
}

// The operations as simple as their rules, on files in memory.
class NaiveCalendar {
  public:
    Files files;
    std::int32_t position = 0;
    std::int32_t offset = -1;
    std::int32_t accessTime = 0;  // the item's

    std::uint32_t Add(Records& with) { return Change(with, 'a'); }
    std::uint32_t RemoveEntry(Records& with) { return Change(with, 'd'); }
    std::uint32_t Edit(Records& with) { return Change(with, 'r'); }

    // The last of those that match, of lines with a text.
    std::uint32_t Get(Records& with) {
        if (with.entry.postoffice[0] == '\0') return 0;
        PrepareFolder(with.entry);
        std::uint32_t found = 0;
        for (const NaiveLine& line : testing::NaiveLines(Bytes(kCal))) {
            if (!line.isBlank) found |= Take(with.entry, line);
        }
        return found;
    }

    std::uint32_t FindFirst(Records& with) {
        position = 0;
        return FindNext(with);
    }
    std::uint32_t FindNext(Records& with) {
        PrepareFolder(with.entry);
        if (with.entry.postoffice[0] == '\0') return 0;
        const auto passed = static_cast<std::size_t>(std::max(position, 0));
        for (const NaiveLine& line : testing::NaiveLines(Bytes(kCal), passed)) {
            position = std::max(position, 0) + 1;
            if (Take(with.entry, line) != 0) return 1;
        }
        return 0;
    }
    std::uint32_t SetPosition(Records& with) {
        position = with.position;
        return 1;
    }
    std::uint32_t ListLength(Records& /*with*/) { return 0; }

    std::uint32_t WriteFirst(Records& with) {
        Delete(with);
        return WriteNext(with);
    }
    std::uint32_t WriteNext(Records& with) {
        At(with.item);
        if (!files.contains(folder_)) return 1;
        const std::string data = Text(with.item.data);
        with.item.length = static_cast<std::int32_t>(data.size());
        Of(kItem) += data;
        return 1;
    }
    std::uint32_t Delete(Records& with) {
        At(with.item);
        Remove(kItem);
        return 1;
    }
    std::uint32_t ReadFirst(Records& with) {
        offset = -1;
        return ReadNext(with);
    }
    std::uint32_t ReadNext(Records& with) {
        At(with.item);
        if (!Has(kItem)) return 0;
        const std::string bytes = Bytes(kItem);
        const auto start = std::min<std::size_t>(static_cast<std::size_t>(++offset), bytes.size());
        const std::size_t count = bytes.copy(with.item.data, sizeof with.item.data, start);
        with.item.length = static_cast<std::int32_t>(count);
        offset += with.item.length;
        return count > 0 ? 1 : 0;
    }
    std::uint32_t GetSize(Records& with) {
        At(with.item);
        offset = -1;
        with.item.length = Has(kItem) ? accessTime : 0;
        return 0;
    }

    std::uint32_t ListDays(Records& with) {
        At(with.days);
        const std::string prefix = Text(with.days.namePrefix);
        std::string list;
        bool isAny = false;
        for (const auto& [path, bytes] : files) {
            const std::string name = path.substr(path.rfind('\\') + 1);
            if (_stricmp(path.c_str(), (folder_ + "\\" + name).c_str()) != 0 ||
                _strnicmp(name.c_str(), prefix.c_str(), prefix.size()) != 0 ||
                _stricmp(name.c_str() + std::min(name.rfind('.'), name.size()), ".CAL") != 0)
                continue;
            isAny = true;
            const std::size_t day = std::min(name.find('D'), name.size());
            const std::size_t dot = name.find('.', day);
            if (dot == std::string::npos) continue;
            const std::string one = (list.empty() ? "" : ",") +
                                    name.substr(day + 1, std::min<std::size_t>(dot - day - 1, 127));
            if (list.size() + one.size() >= sizeof with.days.result) break;
            list += one;
        }
        StoreField(with.days.result, list);
        if (isAny) with.days.resultLength = static_cast<std::int32_t>(list.size());
        return 1;
    }

  private:
    template <typename Record>
    void At(const Record& record) {
        const std::string postoffice = Text(record.postoffice);
        folder_ = (postoffice.empty() ? "" : "\\") + postoffice + "\\MAILROOT\\" +
                  Text(record.mailbox) + "\\Calendar";
    }
    std::string& Of(const std::string& name) { return files[folder_ + "\\" + name]; }
    bool Has(const std::string& name) const { return files.contains(folder_ + "\\" + name); }
    std::string Bytes(const std::string& name) { return Has(name) ? Of(name) : ""; }
    void Remove(const std::string& name) { files.erase(folder_ + "\\" + name); }

    void PrepareFolder(const AppointmentRecord& record) {
        At(record);
        if (files.contains(folder_.substr(0, folder_.rfind('\\')))) files[folder_];
    }
    // Adds the entry unless it matches, drops what matches, or replaces it.
    std::uint32_t Change(const Records& with, char action) {
        const bool isNamed = with.entry.postoffice[0] != '\0';
        if (isNamed || action != 'd') PrepareFolder(with.entry);
        const bool isThere = Has(kCal);
        if (!isNamed || !files.contains(folder_) || (!isThere && action != 'a')) return 0;
        std::string text;
        bool isMatched = false;
        const auto print = [&](const NaiveLine& line) { text = testing::NaiveText(text, line); };
        for (const NaiveLine& line : testing::NaiveLines(Bytes(kCal))) {
            if (line.isBlank) continue;
            const bool matches = testing::NaiveMatch(Text(with.entry.appointmentId), line.id);
            isMatched = isMatched || matches;
            if (!matches || action == 'a') print(line);
            if (matches && action == 'r') print(LineOf(with.replacement));
        }
        if (action == 'a' && !isMatched) print(LineOf(with.entry));
        if (isThere) Of(kBak) = Of(kCal);
        Of(kCal) = text;
        if (isMatched && text.empty()) Remove(kCal);
        if (isThere == (action != 'a')) Of(kFlag) = kFlagText;
        return isMatched == (action != 'a') || action == 'r' ? 1 : 0;
    }
    static std::uint32_t Take(AppointmentRecord& record, const NaiveLine& line) {
        if (!testing::NaiveMatch(Text(record.appointmentId), line.id)) return 0;
        StoreField(record.appointmentId, line.id);
        record.start = line.start;
        record.end = line.end;
        return 1;
    }

    std::string folder_;
};

}  // namespace
}  // namespace tarnwick
