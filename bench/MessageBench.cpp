// Message edits against the raw copy of the file: the system calls that any rewrite needs.
#include <cstdio>
#include <memory>
#include <string>

#include "bench/BenchReport.h"
#include "common/Files.h"
#include "Library/activity/messages/MessageAttachment.h"
#include "Library/activity/messages/MessageHeaders.h"

namespace {

using namespace tarnwick;
using namespace tarnwick::bench;

constexpr std::uint32_t kRawBlock = 1U << 16;

struct Bench {
    std::string folder;
    std::string message;
    std::string sibling;
    std::string master;  // what every round begins with
};

void WriteMessage(const std::string& path, const std::string& contentType, std::size_t size) {
    std::string block;
    const std::string line =
        "0123456789 the quick brown fox jumps over the lazy dog, day by day\r\n";
    while (block.size() < kRawBlock) block += line;
    File file(path, kOpenTruncate);
    file.Write("From: a@b.c\r\nSubject: a message\r\n" + contentType + "To: d@e.f\r\n\r\n");
    for (std::size_t written = 0; written < size; written += block.size()) {
        file.Write(std::string_view(block).substr(0, size - written));
    }
    file.Write("\r\n--NextPart_000_0001--\r\n");
}

// The floor: blocks of the master into the sibling, which then takes the message's place. It also
// puts the message back after a round that changed it.
void RawCopy(const Bench& bench, char* block) {
    File from(bench.master, kOpenRead);
    File to(bench.sibling, kOpenTruncate);
    while (const auto count = from.Read(block, kRawBlock)) {
        if (*count == 0) break;
        to.Write({block, *count});
    }
    from.Close();
    to.Close();
    RemoveFile(bench.message);
    MoveToName(bench.sibling, bench.message);
}

void Compare(BenchReport& report, const Bench& bench, const std::string& name, std::size_t size,
             const Work& edit) {
    const auto block = std::make_unique<char[]>(kRawBlock);
    const Work raw = [&] { RawCopy(bench, block.get()); };
    raw();
    const PairTimes times = BestOfPair(edit, raw, 2000);
    if (size >= (1U << 20)) {
        report.AtMost(name, times.ours, times.other, 2);
    } else {
        report.Inform(name, times.ours, times.other);
    }
}

void CompareSize(BenchReport& report, const Bench& bench, std::size_t size,
                 const std::string& sizeName) {
    const std::string data(1000, 'x');
    const Work attach = [&] {
        AddAttachmentToMessage(bench.message, {nullptr, "name", nullptr, nullptr, nullptr},
                               {data.data(), static_cast<std::uint32_t>(data.size())});
    };
    WriteMessage(bench.master,
                 "Content-Type: multipart/mixed;\r\n\tboundary=\"NextPart_000_0001\"\r\n", size);
    Compare(report, bench, "message " + sizeName + ": set a header field / raw copy", size,
            [&] { SetMessageHeaderField(bench.message, "X-UID", "5", false); });
    Compare(report, bench, "message " + sizeName + ": attach to parts / raw copy", size, attach);
    WriteMessage(bench.master, "Content-Type: text/plain\r\n", size);
    Compare(report, bench, "message " + sizeName + ": attach to plain text / raw copy", size,
            attach);
}

}  // namespace

int main(int argumentCount, char** arguments) {
    BenchReport report(argumentCount, arguments);
    char temp[MAX_PATH];
    GetTempPathA(sizeof temp, temp);
    Bench bench;
    bench.folder = std::string(temp) + "message-bench-" + std::to_string(GetCurrentProcessId());
    MakeDirectory(bench.folder);
    bench.message = bench.folder + "\\m";
    bench.sibling = bench.folder + "\\_m";
    bench.master = bench.folder + "\\master";
    CompareSize(report, bench, 10U << 10, "10 KB");
    CompareSize(report, bench, 1U << 20, "1 MB");
    CompareSize(report, bench, 100U << 20, "100 MB");
    RemoveFile(bench.message);
    RemoveFile(bench.master);
    RemoveDirectoryA(bench.folder.c_str());
    return 0;
}
