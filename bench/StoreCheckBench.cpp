// Looking a store through, under Wine: against reading the same files whole.
#include <cstdio>
#include <string>
#include <vector>

#include "bench/BenchReport.h"
#include "bench/MixedIndex.h"
#include "common/Files.h"
#include "common/WindowsApi.h"
#include "Library/FolderFiles.h"
#include "Library/LIBStoreIndexSerialisation/StreamXMLStoreIndexSerialiser.h"
#include "provider/CalendarBucketName.h"
#include "tests/support/WindowsFixtures.h"
#include "tools/admin/store/StoreCheck.h"

namespace tarnwick::bench {
namespace {

constexpr int kMailboxes = 100;
constexpr int kCalendarsEach = 100;
constexpr int kLines = 20;
constexpr int kEntries = 1000;
constexpr std::int32_t kFirstDay = 1767225600;  // 2026-01-01
constexpr std::int32_t kDaySeconds = 86400;

std::string Calendar(std::int32_t day) {
    std::string bytes;
    for (int line = 0; line < kLines; ++line) {
        const std::int32_t start = day + line * 1800;
        bytes += (bytes.empty() ? "" : "\r\n") + std::to_string(start) + "\t" +
                 std::to_string(start + 1800) + "\tReview " + std::to_string(line);
    }
    return bytes;
}

// Folders that are marked are not compared with their files: there are none.
void Lay(const std::string& mailbox, const std::string& index) {
    testing::MakePath(mailbox + "\\Calendar");
    for (int number = 0; number < kCalendarsEach; ++number) {
        const std::int32_t day = kFirstDay + number * kDaySeconds;
        char name[16];
        MakeCalendarBucketName(day, day, name);
        testing::WriteBytesTo(mailbox + "\\Calendar\\" + name + ".CAL", Calendar(day));
    }
    for (const char* folder : {"\\Inbox", "\\Archive"}) {
        testing::MakePath(mailbox + folder);
        testing::WriteBytesTo(mailbox + folder + "\\_index.xml", index);
        MarkFolderChanged(mailbox + folder);
    }
}

std::string IndexBytes(const std::string& folder) {
    StoreIndex index;
    MixedIndex(1).Fill(index, kEntries);
    StreamXMLStoreIndexSerialiser().Serialise(index, folder, kMailFolder);
    const std::string path = folder + "\\_index.xml";
    std::string bytes = ReadWholeFile(path).value_or("");
    RemoveFile(path);
    return bytes;
}

std::size_t ReadBelow(const std::string& folder) {
    std::size_t bytes = 0;
    std::vector<std::string> folders;
    DirectoryScan scan(folder + "\\*");
    while (const auto found = scan.Next()) {
        if ((found->attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            bytes += ReadWholeFile(folder + "\\" + found->name).value_or("").size();
        } else if (!found->name.starts_with('.')) {
            folders.push_back(found->name);
        }
    }
    for (const std::string& name : folders) bytes += ReadBelow(folder + "\\" + name);
    return bytes;
}

int Run(int count, char** arguments) {
    BenchReport report(count, arguments);
    const testing::ScratchFolder root;
    const std::string index = IndexBytes(root.Path());
    for (int number = 0; number < kMailboxes; ++number) {
        Lay(root.Path("sales\\MAILROOT\\m" + std::to_string(number)), index);
    }
    const auto check = [&] {
        if (!admin::CheckStore(root.Path(), root.Path(), {}).empty()) std::printf("not sound\n");
    };
    std::size_t bytes = 0;
    const PairTimes times = BestOfPair(check, [&] { bytes = ReadBelow(root.Path()); });
    Keep(&bytes);
    report.AtMost("check of 10 000 calendars and 200 indexes, over reading them", times.ours / 1e6,
                  times.other / 1e6, 1.5, "ms");
    return 0;
}

}  // namespace
}  // namespace tarnwick::bench

int main(int count, char** arguments) {
    return tarnwick::bench::Run(count, arguments);
}
